#include "ZAR_DAWControl/platform/sim/SimElement.h"

#include <gtest/gtest.h>

namespace {

using zar::platform::AXAttributeValue;
using zar::platform::AXError;
using zar::platform::AXTypedValue;
using zar::platform::AXUIElementRef;
using zar::platform::AXValueList;
using zar::platform::Rect;
using zar::sim::SimElement;
using Names = std::vector<std::string>;

Names namesOf(const SimElement& element) {
  Names names;
  EXPECT_EQ(element.copyAttributeNames(names), AXError::success);
  return names;
}

TEST(SimElement, AttributesAreListedOrNotAndSettableOnlyWithValuesOfTheirKind) {
  auto field = SimElement::create(1, "AXTextField");
  field->setAttribute("AXValue", "00:00").setAttribute("AXTitle", "Start").setAttribute("AXSecret", 1.0, false);
  field->setFrame(Rect{{10, 20}, {30, 40}});
  EXPECT_EQ(namesOf(*field), (Names{"AXRole", "AXValue", "AXTitle", "AXPosition", "AXSize", "AXChildren"}))
      << "AXFrame and unlisted attributes are supported, not listed";
  AXAttributeValue value;
  EXPECT_EQ(field->copyAttributeValue("AXSecret", value), AXError::success);
  EXPECT_EQ(field->copyAttributeValue("AXNothing", value), AXError::attributeUnsupported);

  std::vector<AXAttributeValue> told;
  field->setSettable("AXValue", true, [&](const AXAttributeValue& v) { told.push_back(v); });
  field->setSettable("AXPosition", true);
  bool settable = true;
  EXPECT_EQ(field->isAttributeSettable("AXChildren", settable), AXError::success);
  EXPECT_FALSE(settable);
  EXPECT_EQ(field->isAttributeSettable("AXNothing", settable), AXError::attributeUnsupported);
  EXPECT_EQ(field->setAttributeValue("AXTitle", "End"), AXError::attributeUnsupported);
  EXPECT_EQ(field->setAttributeValue("AXValue", 3.0), AXError::illegalArgument);
  EXPECT_EQ(field->setAttributeValue("AXPosition", AXTypedValue::size({1, 1})), AXError::illegalArgument);
  EXPECT_EQ(field->setAttributeValue("AXValue", "01:00"), AXError::success);
  EXPECT_EQ(told, (std::vector<AXAttributeValue>{AXAttributeValue("01:00")}));
  EXPECT_EQ(field->setAttributeValue("AXPosition", AXTypedValue::point({5, 6})), AXError::success);
  EXPECT_EQ(field->frame(), (Rect{{5, 6}, {30, 40}}));

  field->setAttribute("AXSecret", 2.0, true);  // listed later, it keeps its place
  EXPECT_TRUE(field->removeAttribute("AXTitle"));
  EXPECT_FALSE(field->removeAttribute("AXTitle"));
  EXPECT_EQ(namesOf(*field), (Names{"AXRole", "AXValue", "AXSecret", "AXPosition", "AXSize", "AXChildren"}));
}

TEST(SimElement, ChildrenAndParentAreComputedAndNoStructuralCycleIsMade) {
  auto window = SimElement::create(7, "AXWindow");
  auto group = window->addChild(SimElement::create(7, "AXGroup"));
  auto button = window->addChild(SimElement::create(7, "AXButton"));
  long count = 0;
  ASSERT_EQ(window->getAttributeValueCount("AXChildren", count), AXError::success);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(window->getAttributeValueCount("AXRole", count), AXError::illegalArgument);
  EXPECT_EQ(window->getAttributeValueCount("AXRows", count), AXError::attributeUnsupported);
  EXPECT_EQ(namesOf(*button), (Names{"AXRole", "AXParent", "AXChildren"}));
  AXAttributeValue value;
  EXPECT_EQ(window->copyAttributeValue("AXParent", value), AXError::attributeUnsupported);

  group->addChild(button);  // moving a child takes it from its old parent
  EXPECT_EQ(window->children(), (std::vector<std::shared_ptr<SimElement>>{group}));
  EXPECT_EQ(button->parent(), group);
  for (const auto& refused : {window, group, std::shared_ptr<SimElement>()}) EXPECT_EQ(group->addChild(refused), nullptr);
  EXPECT_TRUE(group->removeChild(button));
  EXPECT_FALSE(group->removeChild(button));
  EXPECT_EQ(button->parent(), nullptr);
  // A stored parent overrides the structural one, so a loop can be built for the lineage walk.
  window->setAttribute("AXParent", AXUIElementRef(group));
  ASSERT_EQ(window->copyAttributeValue("AXParent", value), AXError::success);
  EXPECT_EQ(value, AXAttributeValue(AXUIElementRef(group)));
  window->removeAttribute("AXParent");
}

TEST(SimElement, ActionHandlersAndSetHooksMayChangeTheTreeTheyBelongTo) {
  auto window = SimElement::create(1, "AXWindow");
  auto button = window->addChild(SimElement::create(1, "AXButton"));
  button->addAction("AXPress", "close", [&] {
    window->removeChild(button);
    window->invalidate();
  });
  button->addAction("AXShowMenu", "show menu", nullptr);
  button->setAttribute("AXValue", 0.0).setSettable("AXValue", true, [&](const AXAttributeValue&) {
    button->setAttribute("AXTitle", "changed");
  });
  std::string description;
  EXPECT_EQ(button->copyActionDescription("AXCancel", description), AXError::actionUnsupported);
  EXPECT_EQ(button->performAction("AXShowMenu"), AXError::success);
  EXPECT_EQ(button->setAttributeValue("AXValue", 1.0), AXError::success);
  EXPECT_EQ(button->title(), "changed");
  EXPECT_EQ(button->performAction("AXPress"), AXError::success);
  EXPECT_FALSE(window->isValid());
  EXPECT_TRUE(button->isValid()) << "it had left the window before the window died";
  EXPECT_TRUE(button->removeAction("AXPress"));
  EXPECT_FALSE(button->removeAction("AXPress"));
  EXPECT_EQ(button->performAction("AXPress"), AXError::actionUnsupported);
}

TEST(SimElement, AnInjectedFailureAnswersEveryCallAndInvalidationWinsOverIt) {
  auto window = SimElement::create(9, "AXWindow");
  auto element = window->addChild(SimElement::create(9, "AXButton"));
  element->addAction("AXPress", "press", nullptr);
  element->setFailure(AXError::cannotComplete);
  Names names;
  AXAttributeValue value;
  long count = 0;
  bool settable = false;
  std::string description;
  std::int32_t pid = 0;
  for (const auto result :
       {element->copyAttributeNames(names), element->copyAttributeValue("AXRole", value),
        element->getAttributeValueCount("AXChildren", count), element->isAttributeSettable("AXRole", settable),
        element->setAttributeValue("AXRole", "x"), element->copyActionNames(names),
        element->copyActionDescription("AXPress", description), element->performAction("AXPress"),
        element->getPid(pid)}) {
    EXPECT_EQ(result, AXError::cannotComplete);
  }
  EXPECT_EQ(element->attribute("AXRole"), AXAttributeValue("AXButton")) << "the builder still sees it";
  window->invalidate();
  EXPECT_EQ(element->getPid(pid), AXError::invalidUIElement);
  ASSERT_EQ(SimElement::create(9, "AXButton")->getPid(pid), AXError::success);
  EXPECT_EQ(pid, 9);
}

}  // namespace
