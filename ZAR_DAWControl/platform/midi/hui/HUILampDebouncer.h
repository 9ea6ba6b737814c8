#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "ZAR_DAWControl/platform/midi/hui/HUIProtocol.h"

namespace zar::hui {

/// The two lamps of a channel strip that the framework follows.
enum class HUILamp : std::uint8_t { mute = 0, recordReady = 1 };

/// Turns lamp reports of tracks into state changes. Pro Tools flashes lamps, so one report is not a
/// change: record-ready flashes on an armed track while not recording (armed all the same), mute
/// flashes on a track muted only because another track is soloed (its own mute is off). So for
/// each lamp one value wins during flashing, on for record-ready and off for mute: a report of
/// that value is a change at once, while the other value is reported only once it held for the
/// whole window without the winning value coming back. The window must be longer than the host's
/// dark (or lit) half of a flash and is best kept under a second, so that a real change is known
/// within a second of its last lamp; whatever the window, a value that lasts longer is reported.
///
/// The owner keeps it in step with the surface's own presses (`toggled`): a known lamp takes the
/// toggled value at once, and reports of the old value are taken for what was already on its way
/// before the host saw the press, until the host shows the new value or a window has passed; from
/// then on every report counts again, so a user's change right after the press is reported. A host
/// that showed the old value while the lamp was in view and never the new one within the window
/// didn't take the press (it was lost, or went to a host that quit): the lamp goes back to what the
/// host showed, or the surface would believe the toggled value for as long as the host has no
/// reason to send that lamp again. A lamp whose state was unknown stays unknown: whatever the host
/// shows next is reported.
/// Time is passed in; `nextDeadline` says when a sweep is due.
/// Not thread-safe; the owner locks.
class HUILampDebouncer {
 public:
  struct Change {
    int track = 0;
    HUILamp lamp = HUILamp::mute;
    bool on = false;
    friend bool operator==(const Change&, const Change&) = default;
  };

  explicit HUILampDebouncer(double window) : _window(window) {}

  /// A report of one lamp at `now`; tracks outside 0..63 are ignored.
  void report(int track, HUILamp lamp, bool on, double now, std::vector<Change>& changes);
  /// Reports lamps whose losing value has held for the window by `now`.
  void sweep(double now, std::vector<Change>& changes);
  /// When the earliest pending report, or a press the host answered with the old value, becomes a
  /// change; nothing when none is pending.
  std::optional<double> nextDeadline() const;
  /// Drops pending reports of tracks outside [first, last] that are not due by `now`: out of view,
  /// a flashing lamp would otherwise settle on the losing value because its next winning report
  /// never comes. Reports already due stay for the next sweep. A press of a track out of view keeps
  /// its toggled value: the host's answer may have come after the bank moved.
  void keepPendingOnlyFor(int first, int last, double now);
  /// The surface pressed the button of one lamp at `now`: a known state flips. Returns the new
  /// state, or nothing when it is not known.
  std::optional<bool> toggled(int track, HUILamp lamp, double now);
  /// Forgets every state: all lamps unknown.
  void reset();
  /// Every lamp whose state is known, by track and lamp.
  std::vector<Change> known() const;

 private:
  enum class State : std::uint8_t { unknown, on, off };
  struct Lamp {
    State state = State::unknown;
    std::optional<double> pendingSince;
    std::optional<double> toggledAt;  // until the host shows the toggled value
    std::optional<State> shownInstead;  // what the host showed meanwhile, while in view
  };

  /// A press unanswered for the window by `now` goes back to what the host showed instead.
  void expireToggle(int track, HUILamp lamp, Lamp& entry, double now, std::vector<Change>& changes);

  double _window;
  std::array<std::array<Lamp, 2>, kTrackCount> _lamps{};
};

}  // namespace zar::hui
