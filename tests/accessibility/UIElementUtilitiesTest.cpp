#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "ZAR_DAWControl/accessibility/AXNames.h"
#include "ZAR_DAWControl/accessibility/UIElementUtilities.h"
#include "ZAR_DAWControl/platform/sim/SimElement.h"
#include "support/SimPlatform.h"

namespace {

using zar::platform::AXAttributeValue;
using zar::platform::AXError;
using zar::platform::AXRange;
using zar::platform::AXTypedValue;
using zar::platform::AXValueList;
using zar::platform::AXValueType;
using zar::platform::Point;
using zar::platform::Rect;
using zar::platform::Size;
using zar::sim::SimElement;

class UIElementUtilitiesTest : public testing::Test {
 protected:
  std::shared_ptr<SimElement> element(const std::string& role, std::optional<std::string> title = {}) {
    auto e = SimElement::create(_pid, role);
    if (title) e->setAttribute(zar::ax::kTitleAttribute, *title);
    return e;
  }
  void setScreens(std::vector<Rect> frames) { _sim.desktop->screens()->setScreenFrames(std::move(frames)); }

  zar::test::SimPlatform _sim;
  std::int32_t _pid = 4242;
};

TEST_F(UIElementUtilitiesTest, ReadsOnlyListedAttributesAndTurnsFailuresIntoNothing) {
  auto field = element(zar::ax::kTextFieldRole, "Edit Selection Start");
  field->setAttribute(zar::ax::kValueAttribute, "01:00:00:00");
  field->setAttribute("AXHidden", "secret", /*listed=*/false);

  EXPECT_EQ(UIElementUtilities::valueOfAttribute(zar::ax::kValueAttribute, field), AXAttributeValue("01:00:00:00"));
  // The element answers a direct read of the unlisted attribute, but the utility doesn't ask.
  AXAttributeValue direct;
  ASSERT_EQ(field->copyAttributeValue("AXHidden", direct), AXError::success);
  EXPECT_FALSE(UIElementUtilities::valueOfAttribute("AXHidden", field).has_value());
  EXPECT_FALSE(UIElementUtilities::valueOfAttribute("AXMissing", field).has_value());
  EXPECT_EQ(UIElementUtilities::titleOfUIElement(field), "Edit Selection Start");
  EXPECT_EQ(UIElementUtilities::roleOfUIElement(field), zar::ax::kTextFieldRole);
  EXPECT_EQ(UIElementUtilities::processIdentifierOfUIElement(field), _pid);
  EXPECT_FALSE(UIElementUtilities::isApplicationUIElement(field));

  field->setFailure(AXError::cannotComplete);
  EXPECT_FALSE(UIElementUtilities::titleOfUIElement(field).has_value());
  EXPECT_EQ(UIElementUtilities::processIdentifierOfUIElement(field), 0);
  EXPECT_FALSE(UIElementUtilities::attributeNamesOfUIElement(field).has_value());
  EXPECT_FALSE(UIElementUtilities::canSetAttribute(zar::ax::kValueAttribute, field));
  EXPECT_FALSE(UIElementUtilities::titleOfUIElement(nullptr).has_value());
}

TEST_F(UIElementUtilitiesTest, SetsTypedValuesFromTextThroughFloats) {
  auto window = element(zar::ax::kWindowRole, "Edit: Reel 1");
  window->setAttribute(zar::ax::kPositionAttribute, AXTypedValue::point({0, 0}));
  window->setAttribute(zar::ax::kSizeAttribute, AXTypedValue::size({1, 1}));
  window->setAttribute("AXBounds", AXTypedValue::rect({}));
  window->setAttribute("AXSelectedTextRange", AXTypedValue::range({}));
  for (const char* name : {zar::ax::kPositionAttribute, zar::ax::kSizeAttribute, "AXBounds", "AXSelectedTextRange"}) {
    window->setSettable(name, true);
  }

  // A text that doesn't match the whole pattern of the value's kind (a position's text for a size,
  // a size with only its first component) sets nothing. Components pass through 32-bit floats.
  const std::tuple<const char*, const char*, AXTypedValue> sets[] = {
      {"x=10 y=20", zar::ax::kPositionAttribute, AXTypedValue::point({10, 20})},
      {"x=10 y=20", zar::ax::kSizeAttribute, AXTypedValue::size({1, 1})},
      {"w=5 h=oops", zar::ax::kSizeAttribute, AXTypedValue::size({1, 1})},
      {"x=0.1 y=-2.5 w=800 h=600.25", "AXBounds", AXTypedValue::rect({{static_cast<double>(0.1f), -2.5}, {800, 600.25}})},
      {"pos=9000000000 len=-3", "AXSelectedTextRange", AXTypedValue::range({9000000000, -3})}};
  for (const auto& [text, name, value] : sets) {
    UIElementUtilities::setStringValue(text, std::string(name), window);
    EXPECT_EQ(window->attribute(name), AXAttributeValue(value)) << text << " for " << name;
  }
  // No attribute name: nothing happens at all.
  UIElementUtilities::setStringValue("x=1 y=1", std::nullopt, window);
  EXPECT_EQ(window->attribute(zar::ax::kPositionAttribute), AXAttributeValue(AXTypedValue::point({10, 20})));
}

TEST_F(UIElementUtilitiesTest, SetsTextsAndNumbersAndLogsTheTextResult) {
  auto field = element(zar::ax::kTextFieldRole, "Track name");
  field->setAttribute(zar::ax::kValueAttribute, "Dialog 1");
  field->setSettable(zar::ax::kValueAttribute, true);
  field->setAttribute("AXLocked", "no");  // a text that can't be set
  field->setAttribute("AXFontSize", 12.0);
  field->setSettable("AXFontSize", true);

  UIElementUtilities::setStringValue("JO_2_101", std::string(zar::ax::kValueAttribute), field);
  EXPECT_EQ(field->attribute(zar::ax::kValueAttribute), AXAttributeValue("JO_2_101"));
  UIElementUtilities::setStringValue("yes", std::string("AXLocked"), field);
  EXPECT_EQ(field->attribute("AXLocked"), AXAttributeValue("no"));
  EXPECT_EQ(_sim.logger->messages(), (std::vector<std::string>{"Error: 0", "Error: -25205"}));

  UIElementUtilities::setStringValue("14.5pt", std::string("AXFontSize"), field);
  EXPECT_EQ(field->attribute("AXFontSize"), AXAttributeValue(14.5));
  UIElementUtilities::setStringValue("large", std::string("AXFontSize"), field);
  EXPECT_EQ(field->attribute("AXFontSize"), AXAttributeValue(0.0));
}

TEST_F(UIElementUtilitiesTest, ConvertsPointsByTheLastScreenThatHoldsThemAndRectanglesAboutThePrimaryScreen) {
  setScreens({Rect{{0, 0}, {1920, 1080}}, Rect{{1000, 0}, {1920, 1200}}});
  // On the primary screen only.
  EXPECT_EQ(UIElementUtilities::carbonScreenPointFromCocoaScreenPoint({100, 0}), (Point{100, 1079}));
  // On both screens: the later one's height counts, not its origin.
  EXPECT_EQ(UIElementUtilities::carbonScreenPointFromCocoaScreenPoint({1500, 100}), (Point{1500, 1099}));
  // Right and top edges lie outside a screen; a point on no screen gives the zero point.
  EXPECT_EQ(UIElementUtilities::carbonScreenPointFromCocoaScreenPoint({2920, 100}), (Point{0, 0}));
  EXPECT_EQ(UIElementUtilities::carbonScreenPointFromCocoaScreenPoint({-1, 5}), (Point{0, 0}));

  setScreens({Rect{{0, 0}, {1440, 900}}, Rect{{1440, -300}, {1920, 1200}}});
  const Rect bounds{{100, 50}, {300, 200}};
  const Rect flipped = UIElementUtilities::flippedScreenBounds(bounds);
  EXPECT_EQ(flipped, (Rect{{100, 650}, {300, 200}}));
  EXPECT_EQ(UIElementUtilities::flippedScreenBounds(flipped), bounds);

  setScreens({});
  EXPECT_EQ(UIElementUtilities::flippedScreenBounds(bounds), (Rect{{100, -250}, {300, 200}}));

  // An element's frame is in Cocoa coordinates.
  setScreens({Rect{{0, 0}, {1920, 1080}}});
  auto group = element(zar::ax::kGroupRole, "Dialog 1 - Audio Track ");
  group->setFrame(Rect{{0, 100}, {800, 60}});
  EXPECT_EQ(UIElementUtilities::frameOfUIElement(group), (Rect{{0, 920}, {800, 60}}));
  group->removeAttribute(zar::ax::kSizeAttribute);
  EXPECT_EQ(UIElementUtilities::frameOfUIElement(group), zar::platform::zeroRect);
}

TEST_F(UIElementUtilitiesTest, DescribesValuesOfEveryKindPlainAndVerbose) {
  const auto rect = AXTypedValue::rect({{1.5, 2}, {3, 4}});
  const std::tuple<AXTypedValue, bool, const char*> typed[] = {
      {rect, false, "x=1.5 y=2 w=3 h=4"},
      {rect, true, "<AXRectValue  x=1.5 y=2 w=3 h=4>"},
      {AXTypedValue::point({0.1, 1e7}), true, "<AXPointValue x=0.1 y=1e+07>"},
      {AXTypedValue::size({640, 480}), false, "w=640 h=480"},
      {AXTypedValue::range({3, 12}), true, "<AXRangeValue pos=3 len=12>"},
      {AXTypedValue::opaque(AXValueType::axError), true, "AXValue???"}};
  for (const auto& [value, verbose, text] : typed) {
    EXPECT_EQ(UIElementUtilities::stringDescriptionOfAXValue(value, verbose), text);
  }
  auto broken = element(zar::ax::kGroupRole, "Broken");
  broken->setFailure(AXError::cannotComplete);
  const std::pair<std::optional<AXAttributeValue>, std::optional<std::string>> values[] = {
      {std::nullopt, std::nullopt},
      {AXAttributeValue("text"), "text"},
      {AXAttributeValue(42.0), "42"},
      {AXAttributeValue(true), "1"},
      {AXAttributeValue(zar::platform::AXUIElementRef{}), "<AXUIElement (null)>"},
      {AXAttributeValue(AXValueList{"a", "b", "c"}), "<array of size 3>"},
      {AXAttributeValue(AXTypedValue::point({1, 2})), "x=1 y=2"},
      {AXAttributeValue(element(zar::ax::kButtonRole, "Mute")), "<AXButton: \u201cMute\u201d>"},
      {AXAttributeValue(element(zar::ax::kGroupRole)), "<AXGroup>"},
      {AXAttributeValue(element(zar::ax::kGroupRole, "")), "<AXGroup: \u201c\u201d>"}};
  for (const auto& [value, text] : values) EXPECT_EQ(UIElementUtilities::descriptionOfValue(value, false), text);
  const auto generic = UIElementUtilities::descriptionOfValue(AXAttributeValue(broken), false);
  EXPECT_EQ(generic.value_or("").rfind("<AXUIElement", 0), 0u) << generic.value_or("");

  auto window = element(zar::ax::kWindowRole, "Edit: Reel 1");
  window->addChild(element(zar::ax::kGroupRole, "Dialog 1 - Audio Track "));
  window->addChild(element(zar::ax::kGroupRole, "Dialog 2 - Audio Track "));
  window->setAttribute(zar::ax::kPositionAttribute, AXTypedValue::point({5, 6}));
  EXPECT_EQ(UIElementUtilities::descriptionForUIElement(window, zar::ax::kChildrenAttribute, false),
            "<array of size 2>");
  EXPECT_EQ(UIElementUtilities::descriptionForUIElement(window, zar::ax::kPositionAttribute, true),
            "<AXPointValue x=5 y=6>");
  EXPECT_FALSE(UIElementUtilities::descriptionForUIElement(window, "AXMissing", false).has_value());
}

TEST_F(UIElementUtilitiesTest, LineageRunsFromTheTopWithGrowingIndent) {
  auto window = element(zar::ax::kWindowRole, "Edit: Reel 1");
  auto row = window->addChild(element(zar::ax::kGroupRole, "Dialog 1 - Audio Track "));
  auto mute = row->addChild(element(zar::ax::kButtonRole, "Mute"));

  EXPECT_EQ(UIElementUtilities::parentOfUIElement(mute), row);
  EXPECT_EQ(UIElementUtilities::lineageOfUIElement(mute),
            (std::vector<std::string>{"<AXWindow: \u201cEdit: Reel 1\u201d>",
                                      "<AXGroup: \u201cDialog 1 - Audio Track \u201d>", "<AXButton: \u201cMute\u201d>"}));
  EXPECT_EQ(UIElementUtilities::lineageDescriptionOfUIElement(mute),
            "<AXWindow: \u201cEdit: Reel 1\u201d>\n"
            " <AXGroup: \u201cDialog 1 - Audio Track \u201d>\n"
            "  <AXButton: \u201cMute\u201d>\n");
  EXPECT_EQ(UIElementUtilities::lineageOfUIElement(window).size(), 1u);

  // The walk stops at an ancestor already seen.
  auto a = element(zar::ax::kGroupRole, "A");
  auto b = element(zar::ax::kGroupRole, "B");
  a->setAttribute(zar::ax::kParentAttribute, AXAttributeValue(b));
  b->setAttribute(zar::ax::kParentAttribute, AXAttributeValue(a));
  EXPECT_EQ(UIElementUtilities::lineageOfUIElement(a),
            (std::vector<std::string>{"<AXGroup: \u201cB\u201d>", "<AXGroup: \u201cA\u201d>"}));
  a->removeAttribute(zar::ax::kParentAttribute);  // break the cycle so both can be freed
}

TEST_F(UIElementUtilitiesTest, FullDescriptionListsAttributesAndActions) {
  auto window = element(zar::ax::kWindowRole, "Edit: Reel 1");
  auto button = window->addChild(element(zar::ax::kButtonRole, "Mute"));
  button->setAttribute(zar::ax::kValueAttribute, "off");
  button->setSettable(zar::ax::kValueAttribute, true);
  button->addAction(zar::ax::kPressAction, "press", {});

  using testing::HasSubstr;
  EXPECT_THAT(UIElementUtilities::stringDescriptionOfUIElement(button),
              testing::AllOf(testing::StartsWith("<AXWindow: \u201cEdit: Reel 1\u201d>\n <AXButton: \u201cMute\u201d>\n\n"
                                                 "Attributes:\n"),
                             HasSubstr("   AXValue (W):  \u201coff\u201d\n"), HasSubstr("   AXTitle:  \u201cMute\u201d\n"),
                             HasSubstr("   AXParent:  \u201c<AXWindow: \u201cEdit: Reel 1\u201d>\u201d\n"),
                             HasSubstr("\nActions:\n   AXPress - press\n")));
  EXPECT_FALSE(UIElementUtilities::descriptionOfAction("AXShowMenu", button).has_value());

  EXPECT_EQ(UIElementUtilities::descriptionOfAXDescriptionOfUIElement(button), "No Description");
  // A description of another kind is shown in its text form.
  const std::pair<AXAttributeValue, const char*> descriptions[] = {{"", "No Description"},
                                                                   {"mute button", "mute button"},
                                                                   {AXValueList{"a"}, "<array of size 1>"},
                                                                   {AXTypedValue::point({1, 2}), "<AXPointValue x=1 y=2>"}};
  for (const auto& [value, text] : descriptions) {
    button->setAttribute(zar::ax::kDescriptionAttribute, value);
    EXPECT_EQ(UIElementUtilities::descriptionOfAXDescriptionOfUIElement(button), text);
  }
}

}  // namespace
