#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <shared_mutex>
#include <string>
#include <vector>

#include "ZAR_DAWControl/platform/EventPoster.h"
#include "ZAR_DAWControl/platform/Platform.h"

namespace dawctl {

/// What the framework does to Pro Tools, seen at the platform's seam: the services through which
/// it pauses, types, clicks, presses, runs scripts, warns and sends MIDI are wrapped, every call
/// is passed on unchanged and the listener is told of it first. Whatever desktop the services
/// belong to, the demo's timeline comes from here.
class FrameworkTap : public std::enable_shared_from_this<FrameworkTap> {
 public:
  struct Action {
    enum class Kind { pause, key, mouse, press, script, warning, midi };
    explicit Action(Kind what) : kind(what) {}
    Kind kind;
    /// Platform clock time of the call.
    double time = 0;
    /// pause: its length in seconds.
    double seconds = 0;
    zar::platform::KeyboardEvent key;
    zar::platform::MouseEvent mouse;
    /// press: the element's title and its parent's; warning: the message and informative texts.
    std::string title;
    std::string parentTitle;
    /// midi: the bytes the framework sent on a MIDI port.
    std::vector<std::uint8_t> bytes;
  };
  /// Called on the thread of the call (MIDI replies come from the MIDI thread), before it is
  /// passed on; for a script, once it has run (so what it typed can be seen), with the time it
  /// started.
  using Listener = std::function<void(const Action&)>;

  explicit FrameworkTap(Listener listener);

  /// Replaces the platform's clock, event poster, accessibility, scripts, alerts and MIDI ports
  /// with wrappers of them.
  void wrap(zar::platform::Platform& platform);
  /// The listener is never called again once this returns (the wrappers may outlive it in the
  /// framework's singletons). Not from the listener.
  void detach();

 private:
  class Clock;
  class EventPoster;
  class Accessibility;
  class AppleScript;
  class Alerts;
  class MidiPorts;
  class MidiPortPair;

  /// Stamps the action with `time`, or now, and tells the listener.
  void tell(Action action, std::optional<double> time = std::nullopt) const;

  std::shared_ptr<zar::platform::Clock> _clock;
  // Held shared while the listener runs, exclusively to detach it.
  mutable std::shared_mutex _listenerMutex;
  Listener _listener;
};

}  // namespace dawctl
