#include "ZAR_DAWControl/accessibility/UIElementUtilities.h"

#include <fmt/format.h>
#include <fmt/printf.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <unordered_set>

#include "ZAR_DAWControl/accessibility/AXNames.h"
#include "ZAR_DAWControl/passes/BlackBox.h"
#include "ZAR_DAWControl/platform/Platform.h"

using zar::platform::AXError;
using zar::platform::AXRange;
using zar::platform::AXTypedValue;
using zar::platform::AXValueList;
using zar::platform::AXValueType;
using zar::platform::Point;
using zar::platform::Rect;
using zar::platform::Size;

namespace {

zar::platform::Accessibility& accessibility() { return *zar::platform::Platform::current()->accessibility; }

std::vector<Rect> screenFrames() { return zar::platform::Platform::current()->screens->screenFrames(); }

const char* errorName(AXError error) {
  switch (error) {
    case AXError::success: return "success";
    case AXError::failure: return "failure";
    case AXError::illegalArgument: return "illegal argument";
    case AXError::invalidUIElement: return "invalid element";
    case AXError::invalidUIElementObserver: return "invalid observer";
    case AXError::cannotComplete: return "cannot complete";
    case AXError::attributeUnsupported: return "attribute unsupported";
    case AXError::actionUnsupported: return "action unsupported";
    case AXError::notificationUnsupported: return "notification unsupported";
    case AXError::notImplemented: return "not implemented";
    case AXError::notificationAlreadyRegistered: return "notification already registered";
    case AXError::notificationNotRegistered: return "notification not registered";
    case AXError::apiDisabled: return "accessibility disabled";
    case AXError::noValue: return "no value";
    case AXError::parameterizedAttributeUnsupported: return "parameterized attribute unsupported";
    case AXError::notEnoughPrecision: return "not enough precision";
  }
  return "unknown error";
}

// Tells the black box of a pass in progress that an accessibility call failed, and returns its
// result. An element that doesn't have what was asked (unsupported, no value) answered; a read of
// no element asked nothing. Every action that fails counts, with or without an element: a press
// that didn't happen is what a pass's record must show.
AXError checked(AXError result, const UIElementUtilities::Element& element, const char* call, const std::string& what,
                bool action = false) {
  if (result == AXError::success) return result;
  if (!action) {
    if (!element || result == AXError::attributeUnsupported || result == AXError::noValue ||
        result == AXError::parameterizedAttributeUnsupported || result == AXError::notImplemented) {
      return result;
    }
  }
  auto& box = zar::passes::BlackBox::shared();
  if (box.recording()) {
    box.record(ZAR_DAWPassRecord::Event{
        .kind = ZAR_DAWPassRecord::EventKind::accessibilityFailure,
        .text = what.empty() ? std::string(call) : fmt::format("{} {}", call, what),
        .detail = element ? fmt::format("{} ({})", errorName(result), static_cast<int>(result)) : "no element"});
  }
  return result;
}

// The text an object prints as where a format places it; "(null)" for a missing one.
std::string textOrNull(const std::optional<std::string>& text) { return text ? *text : "(null)"; }

// The text form of a plain value: a text is itself, a number its decimal text.
std::string textForm(const UIElementUtilities::Value& value) {
  if (const auto* s = value.get<std::string>()) return *s;
  if (const auto* d = value.get<double>()) return fmt::format("{}", *d);
  if (const auto* b = value.get<bool>()) return *b ? "1" : "0";
  if (const auto* e = value.get<zar::platform::AXUIElementRef>()) return accessibility().genericDescription(*e);
  if (const auto* list = value.get<AXValueList>()) return fmt::format("<array of size {}>", list->size());
  if (const auto* typed = value.get<AXTypedValue>()) return UIElementUtilities::stringDescriptionOfAXValue(*typed, true);
  return {};
}

// Reads the text with a scanf pattern into exactly `count` floats; partial matches read nothing.
template <std::size_t count>
bool scanFloats(const std::string& text, const char* pattern, float (&values)[count]) {
  int matched = 0;
  if constexpr (count == 2) {
    matched = std::sscanf(text.c_str(), pattern, &values[0], &values[1]);
  } else {
    matched = std::sscanf(text.c_str(), pattern, &values[0], &values[1], &values[2], &values[3]);
  }
  return matched == static_cast<int>(count);
}

// The typed value that the text describes in the form of `kind`, or nothing when it doesn't match
// the whole pattern. Components pass through 32-bit floats, as the platform's reader does.
std::optional<AXTypedValue> typedValueFromText(AXValueType kind, const std::string& text) {
  switch (kind) {
    case AXValueType::point: {
      float v[2];
      if (!scanFloats(text, "x=%g y=%g", v)) return std::nullopt;
      return AXTypedValue::point(Point{v[0], v[1]});
    }
    case AXValueType::size: {
      float v[2];
      if (!scanFloats(text, "w=%g h=%g", v)) return std::nullopt;
      return AXTypedValue::size(Size{v[0], v[1]});
    }
    case AXValueType::rect: {
      float v[4];
      if (!scanFloats(text, "x=%g y=%g w=%g h=%g", v)) return std::nullopt;
      return AXTypedValue::rect(Rect{Point{v[0], v[1]}, Size{v[2], v[3]}});
    }
    case AXValueType::range: {
      long position = 0;
      long length = 0;
      if (std::sscanf(text.c_str(), "pos=%ld len=%ld", &position, &length) != 2) return std::nullopt;
      return AXTypedValue::range(AXRange{position, length});
    }
    default:
      return std::nullopt;
  }
}

// "<role: “title”>", or "<role>" without a title; the platform's generic text without a role.
std::string elementDescription(const UIElementUtilities::Element& element) {
  UIElementUtilities::Value role;
  if (accessibility().copyAttributeValue(element, zar::ax::kRoleAttribute, role) != AXError::success) {
    return accessibility().genericDescription(element);
  }
  if (const auto title = UIElementUtilities::valueOfAttribute(zar::ax::kTitleAttribute, element)) {
    return fmt::format("<{}: \u201c{}\u201d>", textForm(role), textForm(*title));
  }
  return fmt::format("<{}>", textForm(role));
}

}  // namespace

std::int32_t UIElementUtilities::processIdentifierOfUIElement(const Element& element) {
  std::int32_t pid = 0;
  return checked(accessibility().getPid(element, pid), element, "getPid", {}) == AXError::success ? pid : 0;
}

std::optional<std::vector<std::string>> UIElementUtilities::attributeNamesOfUIElement(const Element& element) {
  std::vector<std::string> names;
  if (checked(accessibility().copyAttributeNames(element, names), element, "copyAttributeNames", {}) !=
      AXError::success) {
    return std::nullopt;
  }
  return names;
}

std::optional<std::vector<std::string>> UIElementUtilities::actionNamesOfUIElement(const Element& element) {
  std::vector<std::string> names;
  if (checked(accessibility().copyActionNames(element, names), element, "copyActionNames", {}) != AXError::success) {
    return std::nullopt;
  }
  return names;
}

std::optional<std::string> UIElementUtilities::descriptionOfAction(const std::string& action,
                                                                   const Element& element) {
  std::string description;
  if (checked(accessibility().copyActionDescription(element, action, description), element, "copyActionDescription",
              action) != AXError::success) {
    return std::nullopt;
  }
  return description;
}

void UIElementUtilities::performAction(const std::string& action, const Element& element) {
  checked(accessibility().performAction(element, action), element, "performAction", action, true);
}

std::optional<UIElementUtilities::Value> UIElementUtilities::valueOfAttribute(const std::string& attribute,
                                                                            const Element& element) {
  auto& ax = accessibility();
  std::vector<std::string> names;
  if (checked(ax.copyAttributeNames(element, names), element, "copyAttributeNames for", attribute) !=
          AXError::success ||
      std::find(names.begin(), names.end(), attribute) == names.end()) {
    return std::nullopt;
  }
  Value value;
  if (checked(ax.copyAttributeValue(element, attribute, value), element, "copyAttributeValue", attribute) !=
      AXError::success) {
    return std::nullopt;
  }
  return value;
}

bool UIElementUtilities::canSetAttribute(const std::string& attribute, const Element& element) {
  bool settable = false;
  return checked(accessibility().isAttributeSettable(element, attribute, settable), element, "isAttributeSettable",
                 attribute) == AXError::success &&
         settable;
}

void UIElementUtilities::setStringValue(const std::string& text, const std::optional<std::string>& attribute,
                                        const Element& element) {
  if (!attribute) return;
  auto& ax = accessibility();
  Value current;
  if (checked(ax.copyAttributeValue(element, *attribute, current), element, "copyAttributeValue", *attribute) !=
      AXError::success) {
    return;
  }

  if (const auto* typed = current.get<AXTypedValue>()) {
    // A text that doesn't match the whole pattern of the value's kind sets nothing: a half-read
    // value would move or resize the element to an arbitrary place.
    if (const auto value = typedValueFromText(typed->type(), text)) {
      checked(ax.setAttributeValue(element, *attribute, Value(*value)), element, "setAttributeValue", *attribute);
    }
  } else if (current.get<std::string>() != nullptr) {
    const AXError result =
        checked(ax.setAttributeValue(element, *attribute, Value(text)), element, "setAttributeValue", *attribute);
    zar::platform::logStatement(zar::platform::LogFlag::info, __FILE__, __func__, __LINE__,
                                fmt::format("Error: {}", static_cast<int>(result)));
  } else if (current.get<double>() != nullptr || current.get<bool>() != nullptr) {
    const float number = std::strtof(text.c_str(), nullptr);
    checked(ax.setAttributeValue(element, *attribute, Value(static_cast<double>(number))), element,
            "setAttributeValue", *attribute);
  }
}

UIElementUtilities::Element UIElementUtilities::parentOfUIElement(const Element& element) {
  const auto value = valueOfAttribute(zar::ax::kParentAttribute, element);
  if (!value) return nullptr;
  const auto* parent = value->get<Element>();
  return parent != nullptr ? *parent : nullptr;
}

std::optional<std::string> UIElementUtilities::roleOfUIElement(const Element& element) {
  const auto value = valueOfAttribute(zar::ax::kRoleAttribute, element);
  if (!value) return std::nullopt;
  const auto* role = value->get<std::string>();
  return role != nullptr ? std::optional(*role) : std::nullopt;
}

std::optional<std::string> UIElementUtilities::titleOfUIElement(const Element& element) {
  const auto value = valueOfAttribute(zar::ax::kTitleAttribute, element);
  if (!value) return std::nullopt;
  const auto* title = value->get<std::string>();
  return title != nullptr ? std::optional(*title) : std::nullopt;
}

bool UIElementUtilities::isApplicationUIElement(const Element& element) {
  return roleOfUIElement(element) == zar::ax::kApplicationRole;
}

Point UIElementUtilities::carbonScreenPointFromCocoaScreenPoint(Point point) {
  const Rect* containing = nullptr;
  const auto frames = screenFrames();
  for (const Rect& frame : frames) {
    if (zar::platform::pointInRect(point, frame)) containing = &frame;  // later screens win
  }
  if (containing == nullptr) return Point{0, 0};
  return Point{point.x, containing->size.height - point.y - 1};
}

Rect UIElementUtilities::flippedScreenBounds(Rect bounds) {
  const auto frames = screenFrames();
  const float top = frames.empty() ? 0.0f : static_cast<float>(frames.front().origin.y + frames.front().size.height);
  bounds.origin.y = static_cast<double>(top) - (bounds.origin.y + bounds.size.height);
  return bounds;
}

Rect UIElementUtilities::frameOfUIElement(const Element& element) {
  const auto position = valueOfAttribute(zar::ax::kPositionAttribute, element);
  const auto size = valueOfAttribute(zar::ax::kSizeAttribute, element);
  if (!position || !size) return zar::platform::zeroRect;
  const auto* positionValue = position->get<AXTypedValue>();
  const auto* sizeValue = size->get<AXTypedValue>();
  const Point* origin = positionValue != nullptr ? positionValue->pointValue() : nullptr;
  const Size* extent = sizeValue != nullptr ? sizeValue->sizeValue() : nullptr;
  if (origin == nullptr || extent == nullptr) return zar::platform::zeroRect;
  return flippedScreenBounds(Rect{*origin, *extent});
}

std::string UIElementUtilities::stringDescriptionOfAXValue(const AXTypedValue& value, bool beingVerbose) {
  if (const Point* p = value.pointValue(); p != nullptr && value.type() == AXValueType::point) {
    return fmt::sprintf(beingVerbose ? "<AXPointValue x=%g y=%g>" : "x=%g y=%g", p->x, p->y);
  }
  if (const Size* s = value.sizeValue(); s != nullptr && value.type() == AXValueType::size) {
    return fmt::sprintf(beingVerbose ? "<AXSizeValue w=%g h=%g>" : "w=%g h=%g", s->width, s->height);
  }
  if (const Rect* r = value.rectValue(); r != nullptr && value.type() == AXValueType::rect) {
    return fmt::sprintf(beingVerbose ? "<AXRectValue  x=%g y=%g w=%g h=%g>" : "x=%g y=%g w=%g h=%g", r->origin.x,
                        r->origin.y, r->size.width, r->size.height);
  }
  if (const AXRange* r = value.rangeValue(); r != nullptr && value.type() == AXValueType::range) {
    return fmt::sprintf(beingVerbose ? "<AXRangeValue pos=%ld len=%ld>" : "pos=%ld len=%ld",
                        static_cast<long>(r->location), static_cast<long>(r->length));
  }
  return "AXValue???";
}

std::optional<std::string> UIElementUtilities::descriptionOfValue(const std::optional<Value>& value,
                                                                  bool beingVerbose) {
  if (!value) return std::nullopt;
  if (const auto* typed = value->get<AXTypedValue>()) return stringDescriptionOfAXValue(*typed, beingVerbose);
  if (const auto* list = value->get<AXValueList>()) return fmt::format("<array of size {}>", list->size());
  if (const auto* element = value->get<Element>()) return elementDescription(*element);
  return textForm(*value);
}

std::optional<std::string> UIElementUtilities::descriptionForUIElement(const Element& element,
                                                                       const std::string& attribute,
                                                                       bool beingVerbose) {
  auto& ax = accessibility();
  if (attribute == zar::ax::kChildrenAttribute || attribute == zar::ax::kRowsAttribute) {
    long count = 0;
    if (ax.getAttributeValueCount(element, attribute, count) == AXError::success) {
      return fmt::format("<array of size {}>", count);
    }
  }
  Value value;
  if (ax.copyAttributeValue(element, attribute, value) != AXError::success) return std::nullopt;
  return descriptionOfValue(value, beingVerbose);
}

std::vector<std::string> UIElementUtilities::lineageOfUIElement(const Element& element) {
  // Walk up from the element, stopping at the top, at an ancestor already seen (a parent chain
  // that loops) or at the depth bound; then list the texts top-most first.
  std::vector<Element> chain{element};
  std::unordered_set<const zar::platform::AXUIElement*> seen{element.get()};
  while (chain.size() < maximumLineageDepth) {
    Element parent = parentOfUIElement(chain.back());
    if (!parent || !seen.insert(parent.get()).second) break;
    chain.push_back(std::move(parent));
  }
  std::vector<std::string> lineage;
  lineage.reserve(chain.size());
  for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
    lineage.push_back(elementDescription(*it));
  }
  return lineage;
}

std::string UIElementUtilities::lineageDescriptionOfUIElement(const Element& element) {
  std::string description;
  std::string indent;
  for (const std::string& entry : lineageOfUIElement(element)) {
    description += indent + entry + "\n";
    indent += " ";
  }
  return description;
}

std::string UIElementUtilities::stringDescriptionOfUIElement(const Element& element) {
  std::string description = lineageDescriptionOfUIElement(element);
  const auto attributes = attributeNamesOfUIElement(element);
  if (attributes && !attributes->empty()) {
    description += "\nAttributes:\n";
    for (const std::string& attribute : *attributes) {
      description += fmt::format("   {}{}:  \u201c{}\u201d\n", attribute,
                                 canSetAttribute(attribute, element) ? " (W)" : "",
                                 textOrNull(descriptionForUIElement(element, attribute, false)));
    }
  }
  const auto actions = actionNamesOfUIElement(element);
  if (actions && !actions->empty()) {
    description += "\nActions:\n";
    for (const std::string& action : *actions) {
      description += fmt::format("   {} - {}\n", action, textOrNull(descriptionOfAction(action, element)));
    }
  }
  return description;
}

std::string UIElementUtilities::descriptionOfAXDescriptionOfUIElement(const Element& element) {
  const auto value = valueOfAttribute(zar::ax::kDescriptionAttribute, element);
  if (!value) return UIElementUtilitiesNoDescription;
  const std::string text = textForm(*value);
  return text.empty() ? UIElementUtilitiesNoDescription : text;
}
