#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ZAR_DAWControl/platform/AXTypes.h"

/// The text of an element without a description.
inline constexpr const char* UIElementUtilitiesNoDescription = "No Description";

/// Class-level helpers over the accessibility elements of other applications: attribute and action
/// access, coordinate conversions, and readable descriptions. Stateless; usable from any thread,
/// before or after the framework is enabled. Each call blocks for the accessibility calls it makes
/// through the installed platform (a few per call; the lineage a few per ancestor); the coordinate
/// conversions read the screens' frames. Every failure of the accessibility calls becomes nothing,
/// 0, false or the zero rectangle. The names of attributes, roles and actions are in AXNames.h.
class UIElementUtilities {
 public:
  using Element = zar::platform::AXUIElementRef;
  using Value = zar::platform::AXAttributeValue;

  UIElementUtilities() = delete;

  // Access

  /// The owning process id; 0 when the call fails.
  static std::int32_t processIdentifierOfUIElement(const Element& element);
  static std::optional<std::vector<std::string>> attributeNamesOfUIElement(const Element& element);
  static std::optional<std::vector<std::string>> actionNamesOfUIElement(const Element& element);
  static std::optional<std::string> descriptionOfAction(const std::string& action, const Element& element);
  /// Performs the action; the result is ignored.
  static void performAction(const std::string& action, const Element& element);
  /// The value of an attribute that the element lists; nothing for one it doesn't list, even when
  /// the element would answer it, and nothing when the read fails.
  static std::optional<Value> valueOfAttribute(const std::string& attribute, const Element& element);
  static bool canSetAttribute(const std::string& attribute, const Element& element);
  /// Sets an attribute from text, read in the form of the attribute's current value: "x=%g y=%g"
  /// for a point, "w=%g h=%g" for a size, "x=%g y=%g w=%g h=%g" for a rectangle, "pos=%ld len=%ld"
  /// for a range, the text itself for a text, its leading number for a number.
  static void setStringValue(const std::string& text, const std::optional<std::string>& attribute,
                             const Element& element);
  static Element parentOfUIElement(const Element& element);
  static std::optional<std::string> roleOfUIElement(const Element& element);
  static std::optional<std::string> titleOfUIElement(const Element& element);
  static bool isApplicationUIElement(const Element& element);

  // Coordinates

  /// A Cocoa point (origin bottom left, y up) in accessibility coordinates (origin top left, y
  /// down), by the last screen that contains it; (0, 0) when none does.
  static zar::platform::Point carbonScreenPointFromCocoaScreenPoint(zar::platform::Point point);
  /// A rectangle flipped between the two systems about the primary screen's top.
  static zar::platform::Rect flippedScreenBounds(zar::platform::Rect bounds);
  /// The element's frame in Cocoa coordinates; the zero rectangle without position or size.
  static zar::platform::Rect frameOfUIElement(const Element& element);

  // Descriptions

  static std::string stringDescriptionOfAXValue(const zar::platform::AXTypedValue& value, bool beingVerbose);
  static std::optional<std::string> descriptionOfValue(const std::optional<Value>& value, bool beingVerbose);
  static std::optional<std::string> descriptionForUIElement(const Element& element, const std::string& attribute,
                                                            bool beingVerbose);
  /// Texts of the element's ancestors, the top-most first, ending with the element's own.
  static std::vector<std::string> lineageOfUIElement(const Element& element);
  static std::string lineageDescriptionOfUIElement(const Element& element);
  static std::string stringDescriptionOfUIElement(const Element& element);
  static std::string descriptionOfAXDescriptionOfUIElement(const Element& element);

  /// Ancestors beyond this many are not walked: a parent chain that loops must not hang a caller.
  static constexpr std::size_t maximumLineageDepth = 256;
};
