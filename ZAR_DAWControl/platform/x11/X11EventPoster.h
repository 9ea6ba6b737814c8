#pragma once

#include <memory>
#include <optional>

#include "ZAR_DAWControl/platform/EventPoster.h"
#include "ZAR_DAWControl/platform/x11/AtspiMirror.h"
#include "ZAR_DAWControl/platform/x11/X11Display.h"
#include "ZAR_DAWControl/platform/x11/X11Keyboard.h"

namespace zar::x11 {

/// Synthesised input through XTest.
///
/// A keyboard event goes to one process: its serial number holds the process id (see
/// `X11Workspace::getProcessForPID`), its top-level windows are found by `_NET_WM_PID`, and the key
/// is typed while one of them has the focus (moved there for the event and given back, under a
/// server grab), so it never lands in another program's window. The key is the one that types the
/// event's characters, or for a bare key code the character the Mac layout gives it. A process
/// that shows no window loses the event, as a serial number that reaches no process does.
/// Posting returns once the process has handled the key, so what the caller asks next over
/// accessibility (another channel into the same program) comes after it.
///
/// A mouse event moves the pointer to its point (accessibility coordinates) and presses or releases
/// the button there; the receiving toolkit counts the clicks of a double-click by itself. Without a
/// window manager a mouse-down also raises and focuses the window under the pointer, as a
/// click-to-focus window manager would. A button release returns once the window under the
/// pointer has handled the click.
class X11EventPoster final : public platform::EventPoster {
 public:
  /// The mirror hears of every event posted: what it knew may have changed.
  X11EventPoster(std::shared_ptr<X11Display> display, std::shared_ptr<X11Keyboard> keyboard,
                 std::shared_ptr<AtspiMirror> mirror);

  platform::EventSourceRef createEventSource(std::int32_t stateID) override;
  void postKeyboardEvent(const platform::ProcessSerialNumber& psn, const platform::KeyboardEvent& event) override;
  void postMouseEvent(const platform::MouseEvent& event) override;

  /// The keysym an event types: its first character's, else its key code's on the Mac layout.
  static std::optional<X11Keyboard::Keysym> keysymForEvent(const platform::KeyboardEvent& event);

 private:
  const std::shared_ptr<X11Display> _display;
  const std::shared_ptr<X11Keyboard> _keyboard;
  const std::shared_ptr<AtspiMirror> _mirror;
};

}  // namespace zar::x11
