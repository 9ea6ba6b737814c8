#pragma once

#include <memory>
#include <string>

#include "ZAR_DAWControl/platform/Accessibility.h"
#include "ZAR_DAWControl/platform/x11/AtspiMirror.h"
#include "ZAR_DAWControl/platform/x11/X11Display.h"

namespace zar::x11 {

/// The accessibility interface over AT-SPI: elements are other processes' accessible objects.
///
/// | Attribute | AT-SPI |
/// |---|---|
/// | "AXRole" | the role, mapped by `roleFor` |
/// | "AXTitle" | the accessible name |
/// | "AXDescription" | the accessible description |
/// | "AXValue" | a toggle's checked or pressed state as "on"/"off"; else the Text interface's text; else the Value interface's current value |
/// | "AXChildren" | the children, in order |
/// | "AXWindows" | (applications) the children whose role is a frame, window, dialog or alert |
/// | "AXParent" | (not applications) the parent |
/// | "AXPosition", "AXSize", "AXFrame" | the Component interface's extents on the screen, in accessibility coordinates; "AXFrame" is read but not listed |
/// | action "AXPress" | the element's first action (AT-SPI's default one: "click", "activate", "toggle" ...) |
///
/// An element lists only what it has: "AXValue" when it is a toggle or has text or a value,
/// "AXPosition" and "AXSize" when it has a Component, "AXPress" when it has an action. "AXValue" is
/// settable when the text is editable or the element has a Value. A handle that isn't an AT-SPI
/// element gives illegalArgument; every call gives apiDisabled while the bus can't be reached; a
/// call on an element whose application left the bus, or whose object is gone or defunct, gives
/// invalidUIElement; other failures of the bus give cannotComplete.
///
/// What the bus answers comes through the mirror (`AtspiMirror`), which keeps it and forgets it
/// when the application announces a change.
class X11Accessibility final : public platform::Accessibility {
 public:
  /// The display places accessibility coordinates (the top left of its primary monitor is 0, 0);
  /// without one the root window's origin is used.
  X11Accessibility(std::shared_ptr<X11Display> display, std::shared_ptr<AtspiMirror> mirror);

  /// The element of the application with that process id. It finds the application when it is
  /// first used; until the process joins the bus every call answers cannotComplete, and once no
  /// such process runs, invalidUIElement.
  platform::AXUIElementRef createApplication(std::int32_t pid) override;
  platform::AXError copyAttributeNames(const platform::AXUIElementRef& element,
                                       std::vector<std::string>& names) override;
  platform::AXError copyAttributeValue(const platform::AXUIElementRef& element, const std::string& attribute,
                                       platform::AXAttributeValue& value) override;
  platform::AXError getAttributeValueCount(const platform::AXUIElementRef& element, const std::string& attribute,
                                           long& count) override;
  platform::AXError isAttributeSettable(const platform::AXUIElementRef& element, const std::string& attribute,
                                        bool& settable) override;
  platform::AXError setAttributeValue(const platform::AXUIElementRef& element, const std::string& attribute,
                                      const platform::AXAttributeValue& value) override;
  platform::AXError copyActionNames(const platform::AXUIElementRef& element, std::vector<std::string>& names) override;
  platform::AXError copyActionDescription(const platform::AXUIElementRef& element, const std::string& action,
                                          std::string& description) override;
  platform::AXError performAction(const platform::AXUIElementRef& element, const std::string& action) override;
  platform::AXError getPid(const platform::AXUIElementRef& element, std::int32_t& pid) override;
  const std::shared_ptr<AtspiMirror>& mirror() const { return _mirror; }

  /// "<AXUIElement 0x... pid=N>" for an AT-SPI element.
  std::string genericDescription(const platform::AXUIElementRef& element) override;

  /// The platform's role name for an AT-SPI role (`AtspiRole`); "AXUnknown" for roles without one.
  static std::string roleFor(int atspiRole);
  /// Whether elements of an AT-SPI role show a toggle state as their value.
  static bool isToggleRole(int atspiRole);
  /// Whether elements of an AT-SPI role are windows.
  static bool isWindowRole(int atspiRole);

 private:
  /// The element as this mirror's, or null (a handle of another kind or of another desktop).
  AtspiElement* mine(const platform::AXUIElementRef& element) const;
  using Answer = AtspiMirror::Answer;
  /// Reads through the mirror; when the states are among the fields, a defunct object counts as gone.
  platform::AXError readLive(AtspiElement& element, std::initializer_list<AtspiField> fields, Answer& answer);

  const std::shared_ptr<X11Display> _display;
  const std::shared_ptr<AtspiMirror> _mirror;
};

}  // namespace zar::x11
