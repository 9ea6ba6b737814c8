#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "ZAR_DAWControl/platform/Clock.h"
#include "ZAR_DAWControl/platform/EventPoster.h"
#include "ZAR_DAWControl/platform/sim/SimScreens.h"
#include "ZAR_DAWControl/platform/sim/SimWorkspace.h"

namespace zar::sim {

/// Synthesised input on the simulated desktop. Every posted event is logged with the clock time.
/// Keyboard events go to the application with the serial number; mouse events move the pointer and
/// go to the applications front to back until one handles them, and a handled mouse-down makes
/// that application active.
class SimEventPoster final : public platform::EventPoster {
 public:
  struct PostedKeyboardEvent {
    platform::ProcessSerialNumber psn;
    platform::KeyboardEvent event;
    double time = 0;
    /// Whether an application had that serial number.
    bool delivered = false;
  };
  struct PostedMouseEvent {
    platform::MouseEvent event;
    double time = 0;
    /// The application that handled it, 0 when none did.
    std::int32_t handledBy = 0;
  };

  SimEventPoster(std::shared_ptr<platform::Clock> clock, std::shared_ptr<SimWorkspace> workspace,
                 std::shared_ptr<SimScreens> screens);

  platform::EventSourceRef createEventSource(std::int32_t stateID) override;
  void postKeyboardEvent(const platform::ProcessSerialNumber& psn, const platform::KeyboardEvent& event) override;
  void postMouseEvent(const platform::MouseEvent& event) override;

  /// The posted events in posting order (an event posted by a reaction comes after the one that
  /// caused it).
  std::vector<PostedKeyboardEvent> keyboardEvents() const;
  std::vector<PostedMouseEvent> mouseEvents() const;
  void clearLog();
  /// Called on the posting thread once a keyboard event has been delivered (or lost), with the
  /// number of keyboard events posted so far: a point at which a test makes something happen
  /// between two keystrokes. Empty: none.
  void setKeyboardHook(std::function<void(std::size_t posted)> hook);

 private:
  const std::shared_ptr<platform::Clock> _clock;
  const std::shared_ptr<SimWorkspace> _workspace;
  const std::shared_ptr<SimScreens> _screens;
  mutable std::mutex _mutex;
  std::vector<PostedKeyboardEvent> _keyboardEvents;
  std::vector<PostedMouseEvent> _mouseEvents;
  // Entries dropped by clearLog before the current ones, so a pending delivery finds its entry.
  std::size_t _mouseEventsCleared = 0;
  std::size_t _keyboardEventsPosted = 0;
  std::function<void(std::size_t)> _keyboardHook;
};

}  // namespace zar::sim
