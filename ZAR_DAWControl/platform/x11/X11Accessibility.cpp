#include "ZAR_DAWControl/platform/x11/X11Accessibility.h"

#include <atspi/atspi-constants.h>
#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <utility>

#include "ZAR_DAWControl/accessibility/AXNames.h"

namespace zar::x11 {

using platform::AXAttributeValue;
using platform::AXError;

namespace {

bool has(std::uint64_t bits, int bit) { return ((bits >> bit) & 1U) != 0; }

}  // namespace

X11Accessibility::X11Accessibility(std::shared_ptr<X11Display> display, std::shared_ptr<AtspiMirror> mirror)
    : _display(std::move(display)), _mirror(std::move(mirror)) {}

std::string X11Accessibility::roleFor(int atspiRole) {
  switch (atspiRole) {
    case ATSPI_ROLE_APPLICATION: return ax::kApplicationRole;
    case ATSPI_ROLE_FRAME:
    case ATSPI_ROLE_WINDOW:
    case ATSPI_ROLE_DIALOG:
    case ATSPI_ROLE_ALERT: return ax::kWindowRole;
    case ATSPI_ROLE_PANEL:
    case ATSPI_ROLE_FILLER:
    case ATSPI_ROLE_GROUPING:
    case ATSPI_ROLE_SECTION: return ax::kGroupRole;
    case ATSPI_ROLE_TOOL_BAR: return ax::kToolbarRole;
    case ATSPI_ROLE_PUSH_BUTTON:
    case ATSPI_ROLE_TOGGLE_BUTTON: return ax::kButtonRole;
    case ATSPI_ROLE_CHECK_BOX: return "AXCheckBox";
    case ATSPI_ROLE_RADIO_BUTTON: return "AXRadioButton";
    case ATSPI_ROLE_TEXT:
    case ATSPI_ROLE_ENTRY:
    case ATSPI_ROLE_PASSWORD_TEXT:
    case ATSPI_ROLE_SPIN_BUTTON: return ax::kTextFieldRole;
    case ATSPI_ROLE_LABEL:
    case ATSPI_ROLE_STATIC: return "AXStaticText";
    case ATSPI_ROLE_MENU_BAR: return "AXMenuBar";
    case ATSPI_ROLE_MENU: return "AXMenu";
    case ATSPI_ROLE_MENU_ITEM:
    case ATSPI_ROLE_CHECK_MENU_ITEM:
    case ATSPI_ROLE_RADIO_MENU_ITEM: return "AXMenuItem";
    case ATSPI_ROLE_SCROLL_PANE: return "AXScrollArea";
    case ATSPI_ROLE_SLIDER: return "AXSlider";
    case ATSPI_ROLE_LIST: return "AXList";
    case ATSPI_ROLE_TABLE: return "AXTable";
    default: return "AXUnknown";
  }
}

bool X11Accessibility::isToggleRole(int atspiRole) {
  return atspiRole == ATSPI_ROLE_TOGGLE_BUTTON || atspiRole == ATSPI_ROLE_CHECK_BOX ||
         atspiRole == ATSPI_ROLE_RADIO_BUTTON || atspiRole == ATSPI_ROLE_CHECK_MENU_ITEM ||
         atspiRole == ATSPI_ROLE_RADIO_MENU_ITEM;
}

bool X11Accessibility::isWindowRole(int atspiRole) {
  return atspiRole == ATSPI_ROLE_FRAME || atspiRole == ATSPI_ROLE_WINDOW || atspiRole == ATSPI_ROLE_DIALOG ||
         atspiRole == ATSPI_ROLE_ALERT;
}


AtspiElement* X11Accessibility::mine(const platform::AXUIElementRef& element) const {
  auto* atspiElement = dynamic_cast<AtspiElement*>(element.get());
  return atspiElement != nullptr && atspiElement->owner() == _mirror.get() ? atspiElement : nullptr;
}

AXError X11Accessibility::readLive(AtspiElement& element, std::initializer_list<AtspiField> fields, Answer& answer) {
  const AXError result = _mirror->read(element, fields, answer);
  if (result != AXError::success) return result;
  const bool statesRead = std::find(fields.begin(), fields.end(), AtspiField::states) != fields.end();
  return statesRead && has(answer.states, ATSPI_STATE_DEFUNCT) ? AXError::invalidUIElement : AXError::success;
}

platform::AXUIElementRef X11Accessibility::createApplication(std::int32_t pid) {
  return _mirror->applicationOfProcess(pid);
}

AXError X11Accessibility::copyAttributeNames(const platform::AXUIElementRef& element, std::vector<std::string>& names) {
  AtspiElement* e = mine(element);
  if (e == nullptr) return AXError::illegalArgument;
  Answer answer;
  const AXError result = readLive(*e, {AtspiField::states, AtspiField::role, AtspiField::interfaces}, answer);
  if (result != AXError::success) return result;
  names = {ax::kRoleAttribute, ax::kTitleAttribute, ax::kDescriptionAttribute, ax::kChildrenAttribute};
  if (e->isApplication()) {
    names.emplace_back(ax::kWindowsAttribute);
    return AXError::success;
  }
  names.emplace_back(ax::kParentAttribute);
  if (isToggleRole(static_cast<int>(answer.role)) || (answer.interfaces & (kAtspiText | kAtspiValue)) != 0) {
    names.emplace_back(ax::kValueAttribute);
  }
  if ((answer.interfaces & kAtspiComponent) != 0) {
    names.emplace_back(ax::kPositionAttribute);
    names.emplace_back(ax::kSizeAttribute);
  }
  return AXError::success;
}

AXError X11Accessibility::copyAttributeValue(const platform::AXUIElementRef& element, const std::string& attribute,
                                             AXAttributeValue& value) {
  AtspiElement* e = mine(element);
  if (e == nullptr) return AXError::illegalArgument;
  const bool application = e->isApplication();
  Answer answer;
  if (attribute == ax::kRoleAttribute) {
    const AXError result = _mirror->read(*e, {AtspiField::role}, answer);
    if (result == AXError::success) value = roleFor(static_cast<int>(answer.role));
    return result;
  }
  if (attribute == ax::kTitleAttribute) {
    const AXError result = _mirror->read(*e, {AtspiField::name}, answer);
    if (result == AXError::success) value = std::move(answer.name);
    return result;
  }
  if (attribute == ax::kDescriptionAttribute) {
    const AXError result = _mirror->read(*e, {AtspiField::description}, answer);
    if (result == AXError::success) value = std::move(answer.description);
    return result;
  }
  if (attribute == ax::kChildrenAttribute || (attribute == ax::kWindowsAttribute && application)) {
    const AXError result = _mirror->read(*e, {AtspiField::children}, answer);
    if (result != AXError::success) return result;
    platform::AXValueList list;
    list.reserve(answer.children.size());
    for (auto& child : answer.children) {
      if (attribute == ax::kWindowsAttribute) {
        Answer kind;
        if (_mirror->read(*child, {AtspiField::role}, kind) != AXError::success || !isWindowRole(static_cast<int>(kind.role))) {
          continue;
        }
      }
      list.emplace_back(platform::AXUIElementRef(std::move(child)));
    }
    value = std::move(list);
    return AXError::success;
  }
  if (application) return AXError::attributeUnsupported;
  if (attribute == ax::kValueAttribute) {
    // Toggles (a monitor button) are answered with one look.
    if (const AXError result = readLive(*e, {AtspiField::role, AtspiField::interfaces, AtspiField::states}, answer);
        result != AXError::success) {
      return result;
    }
    if (isToggleRole(static_cast<int>(answer.role))) {
      value = std::string(has(answer.states, ATSPI_STATE_CHECKED) || has(answer.states, ATSPI_STATE_PRESSED) ? "on" : "off");
      return AXError::success;
    }
    if ((answer.interfaces & kAtspiText) != 0) {
      const AXError result = _mirror->read(*e, {AtspiField::text}, answer);
      if (result == AXError::success) value = std::move(answer.text);
      return result;
    }
    if ((answer.interfaces & kAtspiValue) != 0) {
      const AXError result = _mirror->read(*e, {AtspiField::value}, answer);
      if (result == AXError::success) value = answer.value;
      return result;
    }
    return AXError::attributeUnsupported;
  }
  if (attribute == ax::kParentAttribute) {
    const AXError result = _mirror->read(*e, {AtspiField::parent}, answer);
    if (result != AXError::success) return result;
    auto parent = _mirror->element(answer.parent);
    if (!parent) return AXError::noValue;
    value = platform::AXUIElementRef(std::move(parent));
    return AXError::success;
  }
  const bool position = attribute == ax::kPositionAttribute;
  const bool size = attribute == ax::kSizeAttribute;
  if (position || size || attribute == ax::kFrameAttribute) {
    if (const AXError result = _mirror->read(*e, {AtspiField::interfaces}, answer); result != AXError::success) return result;
    if ((answer.interfaces & kAtspiComponent) == 0) return AXError::attributeUnsupported;
    if (const AXError result = _mirror->read(*e, {AtspiField::extents}, answer); result != AXError::success) return result;
    const platform::Point origin = _display ? _display->primaryOrigin() : platform::Point{};
    const platform::Rect frame{{answer.extents.x - origin.x, answer.extents.y - origin.y},
                               {static_cast<double>(answer.extents.width), static_cast<double>(answer.extents.height)}};
    if (position) {
      value = platform::AXTypedValue::point(frame.origin);
    } else if (size) {
      value = platform::AXTypedValue::size(frame.size);
    } else {
      value = platform::AXTypedValue::rect(frame);
    }
    return AXError::success;
  }
  return AXError::attributeUnsupported;
}

AXError X11Accessibility::getAttributeValueCount(const platform::AXUIElementRef& element, const std::string& attribute,
                                                 long& count) {
  AXAttributeValue value;
  const AXError result = copyAttributeValue(element, attribute, value);
  if (result != AXError::success) return result;
  const auto* list = value.get<platform::AXValueList>();
  if (list == nullptr) return AXError::illegalArgument;
  count = static_cast<long>(list->size());
  return AXError::success;
}

AXError X11Accessibility::isAttributeSettable(const platform::AXUIElementRef& element, const std::string& attribute,
                                              bool& settable) {
  AtspiElement* e = mine(element);
  if (e == nullptr) return AXError::illegalArgument;
  settable = false;
  if (attribute != ax::kValueAttribute || e->isApplication()) {
    static const std::vector<std::string> known{ax::kRoleAttribute,     ax::kTitleAttribute,   ax::kDescriptionAttribute,
                                                ax::kChildrenAttribute, ax::kWindowsAttribute, ax::kParentAttribute,
                                                ax::kPositionAttribute, ax::kSizeAttribute,    ax::kFrameAttribute};
    if (!_mirror->reachable()) return AXError::apiDisabled;
    return std::find(known.begin(), known.end(), attribute) != known.end() ? AXError::success
                                                                            : AXError::attributeUnsupported;
  }
  Answer answer;
  if (const AXError result = readLive(*e, {AtspiField::states, AtspiField::interfaces}, answer); result != AXError::success) {
    return result;
  }
  settable = (has(answer.states, ATSPI_STATE_EDITABLE) && (answer.interfaces & kAtspiEditableText) != 0) ||
             (answer.interfaces & kAtspiValue) != 0;
  return AXError::success;
}

AXError X11Accessibility::setAttributeValue(const platform::AXUIElementRef& element, const std::string& attribute,
                                            const AXAttributeValue& value) {
  AtspiElement* e = mine(element);
  if (e == nullptr) return AXError::illegalArgument;
  if (attribute != ax::kValueAttribute || e->isApplication()) {
    return _mirror->reachable() ? AXError::attributeUnsupported : AXError::apiDisabled;
  }
  if (const auto* text = value.get<std::string>()) return _mirror->setText(*e, *text);
  if (const auto* number = value.get<double>()) return _mirror->setValue(*e, *number);
  return AXError::illegalArgument;
}

AXError X11Accessibility::copyActionNames(const platform::AXUIElementRef& element, std::vector<std::string>& names) {
  AtspiElement* e = mine(element);
  if (e == nullptr) return AXError::illegalArgument;
  Answer answer;
  if (const AXError result = _mirror->read(*e, {AtspiField::interfaces}, answer); result != AXError::success) return result;
  if ((answer.interfaces & kAtspiAction) != 0) {
    if (const AXError result = _mirror->read(*e, {AtspiField::actionCount}, answer); result != AXError::success) return result;
  }
  names.clear();
  if (answer.actionCount > 0) names.emplace_back(ax::kPressAction);
  return AXError::success;
}

AXError X11Accessibility::copyActionDescription(const platform::AXUIElementRef& element, const std::string& action,
                                                std::string& description) {
  std::vector<std::string> names;
  if (const AXError result = copyActionNames(element, names); result != AXError::success) return result;
  if (action != ax::kPressAction || names.empty()) return AXError::actionUnsupported;
  return _mirror->actionText(*mine(element), 0, description);
}

AXError X11Accessibility::performAction(const platform::AXUIElementRef& element, const std::string& action) {
  std::vector<std::string> names;
  if (const AXError result = copyActionNames(element, names); result != AXError::success) return result;
  if (action != ax::kPressAction || names.empty()) return AXError::actionUnsupported;
  return _mirror->doAction(*mine(element), 0);
}

AXError X11Accessibility::getPid(const platform::AXUIElementRef& element, std::int32_t& pid) {
  AtspiElement* e = mine(element);
  if (e == nullptr) return AXError::illegalArgument;
  return _mirror->pid(*e, pid);
}

std::string X11Accessibility::genericDescription(const platform::AXUIElementRef& element) {
  if (!element) return "<AXUIElement (null)>";
  if (AtspiElement* e = mine(element)) {
    std::int32_t pid = 0;
    _mirror->pid(*e, pid);
    return fmt::format("<AXUIElement {} pid={}>", fmt::ptr(e), pid);
  }
  return fmt::format("<AXUIElement {}>", fmt::ptr(element.get()));
}

}  // namespace zar::x11
