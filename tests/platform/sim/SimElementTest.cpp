#include <gtest/gtest.h>

#include "ZAR_DAWControl/platform/sim/SimElement.h"

namespace {

using zar::platform::AXAttributeValue;
using zar::platform::AXError;
using zar::platform::AXTypedValue;
using zar::platform::AXUIElementRef;
using zar::platform::AXValueList;
using zar::platform::Point;
using zar::platform::Rect;
using zar::sim::SimElement;

std::vector<std::string> namesOf(const SimElement& element) {
  std::vector<std::string> names;
  EXPECT_EQ(element.copyAttributeNames(names), AXError::success);
  return names;
}

TEST(SimElement, ListedAndUnlistedAttributes) {
  auto button = SimElement::create(42, "AXButton");
  button->setAttribute("AXTitle", "Record");
  button->setAttribute("AXFrame", AXTypedValue::rect(Rect{{1, 2}, {3, 4}}), false);

  EXPECT_EQ(namesOf(*button), (std::vector<std::string>{"AXRole", "AXTitle", "AXChildren"}));
  AXAttributeValue value;
  ASSERT_EQ(button->copyAttributeValue("AXFrame", value), AXError::success);
  EXPECT_EQ(value, AXAttributeValue(AXTypedValue::rect(Rect{{1, 2}, {3, 4}})));
  ASSERT_EQ(button->copyAttributeValue("AXRole", value), AXError::success);
  EXPECT_EQ(value, AXAttributeValue("AXButton"));
  EXPECT_EQ(button->copyAttributeValue("AXValue", value), AXError::attributeUnsupported);

  // Listing it later keeps its place among the names.
  button->setAttribute("AXFrame", AXTypedValue::rect(Rect{}), true);
  EXPECT_EQ(namesOf(*button), (std::vector<std::string>{"AXRole", "AXTitle", "AXFrame", "AXChildren"}));
  EXPECT_TRUE(button->removeAttribute("AXTitle"));
  EXPECT_FALSE(button->removeAttribute("AXTitle"));
  EXPECT_EQ(button->copyAttributeValue("AXTitle", value), AXError::attributeUnsupported);
}

TEST(SimElement, SettableAttributesTakeValuesOfTheirKindAndTellTheHook) {
  auto field = SimElement::create(1, "AXTextField");
  field->setAttribute("AXValue", "00:00:00:00").setAttribute("AXTitle", "Start");
  std::vector<AXAttributeValue> told;
  field->setSettable("AXValue", true, [&](const AXAttributeValue& v) { told.push_back(v); });

  bool settable = true;
  ASSERT_EQ(field->isAttributeSettable("AXTitle", settable), AXError::success);
  EXPECT_FALSE(settable);
  ASSERT_EQ(field->isAttributeSettable("AXValue", settable), AXError::success);
  EXPECT_TRUE(settable);
  ASSERT_EQ(field->isAttributeSettable("AXChildren", settable), AXError::success);
  EXPECT_FALSE(settable);
  EXPECT_EQ(field->isAttributeSettable("AXNothing", settable), AXError::attributeUnsupported);

  EXPECT_EQ(field->setAttributeValue("AXTitle", "End"), AXError::attributeUnsupported);
  EXPECT_EQ(field->setAttributeValue("AXNothing", "x"), AXError::attributeUnsupported);
  EXPECT_EQ(field->setAttributeValue("AXValue", 3.0), AXError::illegalArgument);
  EXPECT_TRUE(told.empty());
  EXPECT_EQ(field->setAttributeValue("AXValue", "01:00:00:00"), AXError::success);
  EXPECT_EQ(field->attribute("AXValue"), AXAttributeValue("01:00:00:00"));
  EXPECT_EQ(field->title(), "Start");
  ASSERT_EQ(told.size(), 1u);
  EXPECT_EQ(told[0], AXAttributeValue("01:00:00:00"));
}

TEST(SimElement, TypedValuesMustKeepTheirKind) {
  auto element = SimElement::create(1, "AXGroup");
  element->setFrame(Rect{{10, 20}, {30, 40}});
  element->setSettable("AXPosition", true);
  EXPECT_EQ(element->setAttributeValue("AXPosition", AXTypedValue::size({1, 1})), AXError::illegalArgument);
  EXPECT_EQ(element->setAttributeValue("AXPosition", AXTypedValue::point({5, 6})), AXError::success);
  EXPECT_EQ(element->frame(), (Rect{{5, 6}, {30, 40}}));
  // The frame attribute is supported but not listed, as on the platform.
  EXPECT_EQ(namesOf(*element), (std::vector<std::string>{"AXRole", "AXPosition", "AXSize", "AXChildren"}));
  EXPECT_FALSE(SimElement::create(1, "AXGroup")->frame().has_value());
}

TEST(SimElement, ChildrenAndParentAreComputed) {
  auto window = SimElement::create(7, "AXWindow");
  auto group = window->addChild(SimElement::create(7, "AXGroup"));
  auto button = window->addChild(SimElement::create(7, "AXButton"));

  AXAttributeValue value;
  ASSERT_EQ(window->copyAttributeValue("AXChildren", value), AXError::success);
  ASSERT_NE(value.get<AXValueList>(), nullptr);
  EXPECT_EQ(*value.get<AXValueList>(), (AXValueList{AXUIElementRef(group), AXUIElementRef(button)}));
  long count = 0;
  ASSERT_EQ(window->getAttributeValueCount("AXChildren", count), AXError::success);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(window->getAttributeValueCount("AXRole", count), AXError::illegalArgument);
  EXPECT_EQ(window->getAttributeValueCount("AXRows", count), AXError::attributeUnsupported);

  EXPECT_EQ(namesOf(*button), (std::vector<std::string>{"AXRole", "AXParent", "AXChildren"}));
  ASSERT_EQ(button->copyAttributeValue("AXParent", value), AXError::success);
  EXPECT_EQ(value, AXAttributeValue(AXUIElementRef(window)));
  EXPECT_EQ(window->copyAttributeValue("AXParent", value), AXError::attributeUnsupported);

  // Moving a child takes it from its old parent.
  group->addChild(button);
  EXPECT_EQ(window->children(), (std::vector<std::shared_ptr<SimElement>>{group}));
  EXPECT_EQ(button->parent(), group);
  EXPECT_TRUE(group->removeChild(button));
  EXPECT_EQ(button->parent(), nullptr);
  EXPECT_FALSE(group->removeChild(button));
}

TEST(SimElement, RefusesToMakeAStructuralCycle) {
  auto root = SimElement::create(1, "AXWindow");
  auto child = root->addChild(SimElement::create(1, "AXGroup"));
  EXPECT_EQ(child->addChild(root), nullptr);
  EXPECT_EQ(root->addChild(root), nullptr);
  EXPECT_EQ(root->addChild(nullptr), nullptr);
  EXPECT_TRUE(child->children().empty());
  EXPECT_EQ(root->parent(), nullptr);
}

TEST(SimElement, AnExplicitParentOverridesTheStructuralOneSoALoopCanBeBuilt) {
  auto a = SimElement::create(1, "AXGroup");
  auto b = a->addChild(SimElement::create(1, "AXGroup"));
  a->setAttribute("AXParent", AXUIElementRef(b));

  // Walking up from b: a, then b again, for ever.
  AXAttributeValue value;
  ASSERT_EQ(b->copyAttributeValue("AXParent", value), AXError::success);
  ASSERT_NE(value.get<AXUIElementRef>(), nullptr);
  const auto up = std::dynamic_pointer_cast<SimElement>(*value.get<AXUIElementRef>());
  ASSERT_EQ(up, a);
  ASSERT_EQ(up->copyAttributeValue("AXParent", value), AXError::success);
  EXPECT_EQ(value, AXAttributeValue(AXUIElementRef(b)));
  EXPECT_EQ(namesOf(*a), (std::vector<std::string>{"AXRole", "AXParent", "AXChildren"}));
}

TEST(SimElement, ActionsRunTheirHandlers) {
  auto button = SimElement::create(1, "AXButton");
  int presses = 0;
  button->addAction("AXPress", "press", [&] { ++presses; });
  button->addAction("AXShowMenu", "show menu", nullptr);

  std::vector<std::string> names;
  ASSERT_EQ(button->copyActionNames(names), AXError::success);
  EXPECT_EQ(names, (std::vector<std::string>{"AXPress", "AXShowMenu"}));
  std::string description;
  ASSERT_EQ(button->copyActionDescription("AXShowMenu", description), AXError::success);
  EXPECT_EQ(description, "show menu");
  EXPECT_EQ(button->copyActionDescription("AXCancel", description), AXError::actionUnsupported);
  EXPECT_EQ(button->performAction("AXPress"), AXError::success);
  EXPECT_EQ(button->performAction("AXShowMenu"), AXError::success);
  EXPECT_EQ(button->performAction("AXCancel"), AXError::actionUnsupported);
  EXPECT_EQ(presses, 1);
  EXPECT_TRUE(button->removeAction("AXPress"));
  EXPECT_EQ(button->performAction("AXPress"), AXError::actionUnsupported);
}

TEST(SimElement, HandlersMayChangeTheTreeTheyBelongTo) {
  auto window = SimElement::create(1, "AXWindow");
  auto button = window->addChild(SimElement::create(1, "AXButton"));
  button->addAction("AXPress", "close", [&] { window->removeChild(button); window->invalidate(); });
  button->setAttribute("AXValue", 0.0).setSettable("AXValue", true, [&](const AXAttributeValue&) {
    button->setAttribute("AXTitle", "changed");
  });
  EXPECT_EQ(button->setAttributeValue("AXValue", 1.0), AXError::success);
  EXPECT_EQ(button->title(), "changed");
  EXPECT_EQ(button->performAction("AXPress"), AXError::success);
  EXPECT_TRUE(window->children().empty());
  EXPECT_FALSE(window->isValid());
  EXPECT_TRUE(button->isValid());  // it had left the window before the window died
}

TEST(SimElement, InjectedFailureAnswersEveryCall) {
  auto element = SimElement::create(9, "AXButton");
  element->addAction("AXPress", "press", nullptr);
  element->setFailure(AXError::cannotComplete);
  std::vector<std::string> names;
  AXAttributeValue value;
  long count = 0;
  bool settable = false;
  std::string description;
  std::int32_t pid = 0;
  EXPECT_EQ(element->copyAttributeNames(names), AXError::cannotComplete);
  EXPECT_EQ(element->copyAttributeValue("AXRole", value), AXError::cannotComplete);
  EXPECT_EQ(element->getAttributeValueCount("AXChildren", count), AXError::cannotComplete);
  EXPECT_EQ(element->isAttributeSettable("AXRole", settable), AXError::cannotComplete);
  EXPECT_EQ(element->setAttributeValue("AXRole", "x"), AXError::cannotComplete);
  EXPECT_EQ(element->copyActionNames(names), AXError::cannotComplete);
  EXPECT_EQ(element->copyActionDescription("AXPress", description), AXError::cannotComplete);
  EXPECT_EQ(element->performAction("AXPress"), AXError::cannotComplete);
  EXPECT_EQ(element->getPid(pid), AXError::cannotComplete);
  EXPECT_EQ(pid, 0);
  // The builder still sees it.
  EXPECT_EQ(element->attribute("AXRole"), AXAttributeValue("AXButton"));

  element->setFailure(std::nullopt);
  ASSERT_EQ(element->getPid(pid), AXError::success);
  EXPECT_EQ(pid, 9);
}

TEST(SimElement, InvalidationKillsTheSubtreeAndWinsOverInjectedFailure) {
  auto window = SimElement::create(3, "AXWindow");
  auto group = window->addChild(SimElement::create(3, "AXGroup"));
  auto field = group->addChild(SimElement::create(3, "AXTextField"));
  auto outside = SimElement::create(3, "AXButton");
  field->setFailure(AXError::cannotComplete);
  window->invalidate();
  AXAttributeValue value;
  std::int32_t pid = 0;
  EXPECT_EQ(window->copyAttributeValue("AXRole", value), AXError::invalidUIElement);
  EXPECT_EQ(group->getPid(pid), AXError::invalidUIElement);
  EXPECT_EQ(field->copyAttributeValue("AXRole", value), AXError::invalidUIElement);
  EXPECT_TRUE(outside->isValid());
  EXPECT_EQ(outside->copyAttributeValue("AXRole", value), AXError::success);
}

}  // namespace
