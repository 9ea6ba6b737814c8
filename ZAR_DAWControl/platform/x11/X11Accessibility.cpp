#include "ZAR_DAWControl/platform/x11/X11Accessibility.h"

#include <atspi/atspi.h>
#include <fmt/format.h>
#include <signal.h>

#include <cerrno>
#include <string>
#include <utility>

#include "ZAR_DAWControl/accessibility/AXNames.h"
#include "ZAR_DAWControl/platform/x11/AtspiBus.h"
#include "ZAR_DAWControl/platform/x11/AtspiElement.h"

namespace zar::x11 {

using platform::AXAttributeValue;
using platform::AXError;

namespace {

bool processRuns(std::int32_t pid) { return pid > 0 && (::kill(pid, 0) == 0 || errno == EPERM); }

// The parts of one element's answer, read under the bus's lock.
class Reader {
 public:
  Reader(AtspiBus& bus, AtspiElement& element, AtspiAccessible* accessible)
      : _bus(bus), _element(element), _accessible(accessible) {}

  AXError fail(GError* error) { return _bus.errorLocked(_accessible, error); }

  AXError role(AtspiRole& role) {
    GError* error = nullptr;
    role = atspi_accessible_get_role(_accessible, &error);
    return error != nullptr ? fail(error) : AXError::success;
  }

  // The element's states (bits of `AtspiStateType`); a defunct element is gone.
  AXError states(std::uint64_t& states) {
    AXError result = AXError::success;
    const auto bits = _bus.statesLocked(_accessible, result);
    if (!bits) return result;
    states = *bits;
    return has(states, ATSPI_STATE_DEFUNCT) ? AXError::invalidUIElement : AXError::success;
  }

  static bool has(std::uint64_t states, AtspiStateType state) { return (states >> state) & 1U; }

  AXError text(gchar* (*get)(AtspiAccessible*, GError**), AXAttributeValue& value) {
    GError* error = nullptr;
    gchar* text = get(_accessible, &error);
    std::string taken;
    const AXError result = take(text, error, taken);
    if (result == AXError::success) value = std::move(taken);
    return result;
  }

  /// A string AT-SPI handed over, freed here, or the error that came with it.
  AXError take(gchar* text, GError* error, std::string& out) {
    if (error != nullptr) {
      g_free(text);
      return fail(error);
    }
    out = text != nullptr ? text : "";
    g_free(text);
    return AXError::success;
  }

  AXError children(AXAttributeValue& value, bool windowsOnly) {
    GError* error = nullptr;
    const gint count = atspi_accessible_get_child_count(_accessible, &error);
    if (error != nullptr) return fail(error);
    platform::AXValueList list;
    for (gint i = 0; i < count; ++i) {
      AtspiAccessible* child = atspi_accessible_get_child_at_index(_accessible, i, &error);
      if (error != nullptr) return fail(error);
      if (child == nullptr) continue;
      if (windowsOnly) {
        GError* roleError = nullptr;
        const AtspiRole role = atspi_accessible_get_role(child, &roleError);
        if (roleError != nullptr) g_error_free(roleError);
        if (roleError != nullptr || !X11Accessibility::isWindowRole(role)) {
          g_object_unref(child);
          continue;
        }
      }
      list.emplace_back(platform::AXUIElementRef(std::make_shared<AtspiElement>(child, _element.pid(), false)));
    }
    value = std::move(list);
    return AXError::success;
  }

  AXError parent(AXAttributeValue& value) {
    GError* error = nullptr;
    AtspiAccessible* parent = atspi_accessible_get_parent(_accessible, &error);
    if (error != nullptr) return fail(error);
    if (parent == nullptr) return AXError::noValue;
    const AtspiRole role = atspi_accessible_get_role(parent, nullptr);
    value = platform::AXUIElementRef(
        std::make_shared<AtspiElement>(parent, _element.pid(), role == ATSPI_ROLE_APPLICATION));
    return AXError::success;
  }

  AXError extents(platform::Rect& frame, platform::Point origin) {
    AtspiComponent* component = atspi_accessible_get_component_iface(_accessible);
    if (component == nullptr) return AXError::attributeUnsupported;
    GError* error = nullptr;
    AtspiRect* rect = atspi_component_get_extents(component, ATSPI_COORD_TYPE_SCREEN, &error);
    g_object_unref(component);
    if (error != nullptr) {
      g_free(rect);
      return fail(error);
    }
    frame = {{rect->x - origin.x, rect->y - origin.y}, {static_cast<double>(rect->width), static_cast<double>(rect->height)}};
    g_free(rect);
    return AXError::success;
  }

  AXError value(AXAttributeValue& value) {
    AtspiRole role = ATSPI_ROLE_INVALID;
    if (const AXError result = this->role(role); result != AXError::success) return result;
    if (X11Accessibility::isToggleRole(role)) {
      std::uint64_t set = 0;
      if (const AXError result = states(set); result != AXError::success) return result;
      const bool on = has(set, ATSPI_STATE_CHECKED) || has(set, ATSPI_STATE_PRESSED);
      value = std::string(on ? "on" : "off");
      return AXError::success;
    }
    if (AtspiText* text = atspi_accessible_get_text_iface(_accessible)) {
      GError* error = nullptr;
      gchar* contents = atspi_text_get_text(text, 0, -1, &error);
      g_object_unref(text);
      std::string taken;
      const AXError result = take(contents, error, taken);
      if (result == AXError::success) value = std::move(taken);
      return result;
    }
    if (AtspiValue* number = atspi_accessible_get_value_iface(_accessible)) {
      GError* error = nullptr;
      const double current = atspi_value_get_current_value(number, &error);
      g_object_unref(number);
      if (error != nullptr) return fail(error);
      value = current;
      return AXError::success;
    }
    return AXError::attributeUnsupported;
  }

  bool hasValue(AtspiRole role) {
    return X11Accessibility::isToggleRole(role) || has(atspi_accessible_get_text_iface(_accessible)) ||
           has(atspi_accessible_get_value_iface(_accessible));
  }

  // Whether an interface is there; drops the reference.
  static bool has(gpointer interface) {
    if (interface == nullptr) return false;
    g_object_unref(interface);
    return true;
  }

  AXError actionCount(gint& count) {
    count = 0;
    AtspiAction* action = atspi_accessible_get_action_iface(_accessible);
    if (action == nullptr) return AXError::success;
    GError* error = nullptr;
    count = atspi_action_get_n_actions(action, &error);
    g_object_unref(action);
    return error != nullptr ? fail(error) : AXError::success;
  }

  AtspiAccessible* accessible() const { return _accessible; }

 private:
  AtspiBus& _bus;
  AtspiElement& _element;
  AtspiAccessible* const _accessible;
};

}  // namespace

X11Accessibility::X11Accessibility(std::shared_ptr<X11Display> display) : _display(std::move(display)) {}

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

template <typename Call>
AXError X11Accessibility::answer(const platform::AXUIElementRef& element, Call call) {
  const auto atspiElement = std::dynamic_pointer_cast<AtspiElement>(element);
  if (!atspiElement) return AXError::illegalArgument;
  AtspiBus& bus = AtspiBus::shared();
  AXError result = AXError::apiDisabled;
  bus.run([&] {
    AtspiAccessible* accessible = atspiElement->accessibleLocked();
    if (accessible == nullptr) {
      accessible = bus.applicationLocked(atspiElement->pid());
      if (accessible == nullptr) {
        result = processRuns(atspiElement->pid()) ? AXError::cannotComplete : AXError::invalidUIElement;
        return;
      }
      atspiElement->resolveLocked(accessible);
    }
    Reader reader(bus, *atspiElement, accessible);
    result = call(*atspiElement, reader);
  });
  return result;
}

platform::AXUIElementRef X11Accessibility::createApplication(std::int32_t pid) {
  return std::make_shared<AtspiElement>(nullptr, pid, true);
}

AXError X11Accessibility::copyAttributeNames(const platform::AXUIElementRef& element, std::vector<std::string>& names) {
  return answer(element, [&](AtspiElement& e, Reader& reader) {
    std::uint64_t states = 0;
    if (const AXError result = reader.states(states); result != AXError::success) return result;
    AtspiRole role = ATSPI_ROLE_INVALID;
    if (const AXError result = reader.role(role); result != AXError::success) return result;
    names = {ax::kRoleAttribute, ax::kTitleAttribute, ax::kDescriptionAttribute, ax::kChildrenAttribute};
    if (e.isApplication()) {
      names.emplace_back(ax::kWindowsAttribute);
      return AXError::success;
    }
    names.emplace_back(ax::kParentAttribute);
    if (reader.hasValue(role)) names.emplace_back(ax::kValueAttribute);
    if (Reader::has(atspi_accessible_get_component_iface(reader.accessible()))) {
      names.emplace_back(ax::kPositionAttribute);
      names.emplace_back(ax::kSizeAttribute);
    }
    return AXError::success;
  });
}

AXError X11Accessibility::copyAttributeValue(const platform::AXUIElementRef& element, const std::string& attribute,
                                             AXAttributeValue& value) {
  return answer(element, [&](AtspiElement& e, Reader& reader) {
    if (attribute == ax::kRoleAttribute) {
      AtspiRole role = ATSPI_ROLE_INVALID;
      const AXError result = reader.role(role);
      if (result == AXError::success) value = roleFor(role);
      return result;
    }
    if (attribute == ax::kTitleAttribute) return reader.text(atspi_accessible_get_name, value);
    if (attribute == ax::kDescriptionAttribute) return reader.text(atspi_accessible_get_description, value);
    if (attribute == ax::kValueAttribute) return e.isApplication() ? AXError::attributeUnsupported : reader.value(value);
    if (attribute == ax::kChildrenAttribute) return reader.children(value, false);
    if (attribute == ax::kWindowsAttribute) {
      return e.isApplication() ? reader.children(value, true) : AXError::attributeUnsupported;
    }
    if (attribute == ax::kParentAttribute) return e.isApplication() ? AXError::attributeUnsupported : reader.parent(value);
    const bool position = attribute == ax::kPositionAttribute;
    const bool size = attribute == ax::kSizeAttribute;
    if (!e.isApplication() && (position || size || attribute == ax::kFrameAttribute)) {
      platform::Rect frame;
      const platform::Point origin = _display ? _display->primaryOrigin() : platform::Point{};
      const AXError result = reader.extents(frame, origin);
      if (result != AXError::success) return result;
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
  });
}

AXError X11Accessibility::getAttributeValueCount(const platform::AXUIElementRef& element, const std::string& attribute,
                                                 long& count) {
  if (attribute != ax::kChildrenAttribute && attribute != ax::kWindowsAttribute) {
    AXAttributeValue value;
    const AXError result = copyAttributeValue(element, attribute, value);
    return result == AXError::success ? AXError::illegalArgument : result;
  }
  AXAttributeValue value;
  const AXError result = copyAttributeValue(element, attribute, value);
  if (result == AXError::success) count = static_cast<long>(value.get<platform::AXValueList>()->size());
  return result;
}

AXError X11Accessibility::isAttributeSettable(const platform::AXUIElementRef& element, const std::string& attribute,
                                              bool& settable) {
  return answer(element, [&](AtspiElement& e, Reader& reader) {
    settable = false;
    if (attribute != ax::kValueAttribute || e.isApplication()) {
      static const std::vector<std::string> known{ax::kRoleAttribute,     ax::kTitleAttribute,    ax::kDescriptionAttribute,
                                                  ax::kChildrenAttribute, ax::kWindowsAttribute,  ax::kParentAttribute,
                                                  ax::kPositionAttribute, ax::kSizeAttribute,     ax::kFrameAttribute};
      return std::find(known.begin(), known.end(), attribute) != known.end() ? AXError::success
                                                                              : AXError::attributeUnsupported;
    }
    std::uint64_t states = 0;
    if (const AXError result = reader.states(states); result != AXError::success) return result;
    const bool editable = Reader::has(states, ATSPI_STATE_EDITABLE);
    settable = (editable && Reader::has(atspi_accessible_get_editable_text_iface(reader.accessible()))) ||
               Reader::has(atspi_accessible_get_value_iface(reader.accessible()));
    return AXError::success;
  });
}

AXError X11Accessibility::setAttributeValue(const platform::AXUIElementRef& element, const std::string& attribute,
                                            const AXAttributeValue& value) {
  return answer(element, [&](AtspiElement& e, Reader& reader) {
    if (attribute != ax::kValueAttribute || e.isApplication()) return AXError::attributeUnsupported;
    GError* error = nullptr;
    if (const auto* text = value.get<std::string>()) {
      AtspiEditableText* editable = atspi_accessible_get_editable_text_iface(reader.accessible());
      if (editable == nullptr) return AXError::illegalArgument;
      const gboolean done = atspi_editable_text_set_text_contents(editable, text->c_str(), &error);
      g_object_unref(editable);
      if (error != nullptr) return reader.fail(error);
      return done ? AXError::success : AXError::cannotComplete;
    }
    if (const auto* number = value.get<double>()) {
      AtspiValue* numeric = atspi_accessible_get_value_iface(reader.accessible());
      if (numeric == nullptr) return AXError::illegalArgument;
      const gboolean done = atspi_value_set_current_value(numeric, *number, &error);
      g_object_unref(numeric);
      if (error != nullptr) return reader.fail(error);
      return done ? AXError::success : AXError::cannotComplete;
    }
    return AXError::illegalArgument;
  });
}

AXError X11Accessibility::copyActionNames(const platform::AXUIElementRef& element, std::vector<std::string>& names) {
  return answer(element, [&](AtspiElement&, Reader& reader) {
    gint count = 0;
    const AXError result = reader.actionCount(count);
    if (result == AXError::success) {
      names.clear();
      if (count > 0) names.emplace_back(ax::kPressAction);
    }
    return result;
  });
}

AXError X11Accessibility::copyActionDescription(const platform::AXUIElementRef& element, const std::string& action,
                                                std::string& description) {
  return answer(element, [&](AtspiElement&, Reader& reader) {
    gint count = 0;
    if (const AXError result = reader.actionCount(count); result != AXError::success) return result;
    if (action != ax::kPressAction || count == 0) return AXError::actionUnsupported;
    AtspiAction* actions = atspi_accessible_get_action_iface(reader.accessible());
    GError* error = nullptr;
    gchar* text = atspi_action_get_action_description(actions, 0, &error);
    if (error == nullptr && (text == nullptr || *text == 0)) {
      g_free(text);
      text = atspi_action_get_action_name(actions, 0, &error);
    }
    g_object_unref(actions);
    return reader.take(text, error, description);
  });
}

AXError X11Accessibility::performAction(const platform::AXUIElementRef& element, const std::string& action) {
  return answer(element, [&](AtspiElement&, Reader& reader) {
    gint count = 0;
    if (const AXError result = reader.actionCount(count); result != AXError::success) return result;
    if (action != ax::kPressAction || count == 0) return AXError::actionUnsupported;
    AtspiAction* actions = atspi_accessible_get_action_iface(reader.accessible());
    GError* error = nullptr;
    const gboolean done = atspi_action_do_action(actions, 0, &error);
    g_object_unref(actions);
    if (error != nullptr) return reader.fail(error);
    return done ? AXError::success : AXError::cannotComplete;
  });
}

AXError X11Accessibility::getPid(const platform::AXUIElementRef& element, std::int32_t& pid) {
  const auto atspiElement = std::dynamic_pointer_cast<AtspiElement>(element);
  if (!atspiElement) return AXError::illegalArgument;
  pid = atspiElement->pid();
  return AXError::success;
}

std::string X11Accessibility::genericDescription(const platform::AXUIElementRef& element) {
  if (!element) return "<AXUIElement (null)>";
  if (const auto atspiElement = std::dynamic_pointer_cast<AtspiElement>(element)) {
    return fmt::format("<AXUIElement {} pid={}>", fmt::ptr(atspiElement.get()), atspiElement->pid());
  }
  return fmt::format("<AXUIElement {}>", fmt::ptr(element.get()));
}

}  // namespace zar::x11
