#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace zar::hui {

/// The two lamps of a channel strip that the framework follows.
enum class HUILamp : std::uint8_t { mute = 0, recordReady = 1 };

/// Turns lamp reports into state changes. Pro Tools flashes a lamp to say "armed while not
/// recording" or "muted because another track is soloed", so one off report is not a change: a
/// lamp counts as on while it was on at any time within the window, and it is reported off only
/// once it stayed off for the whole window. Off is noticed when the next report or sweep comes
/// (the host pings every second), so changes are still reported on the thread that feeds it.
/// Not thread-safe; the owner locks.
class HUILampDebouncer {
 public:
  static constexpr int kTrackCount = 64;

  struct Change {
    int track = 0;
    HUILamp lamp = HUILamp::mute;
    bool on = false;
    friend bool operator==(const Change&, const Change&) = default;
  };

  /// `window` must be longer than the host's flash period.
  explicit HUILampDebouncer(double window) : _window(window) {}

  /// A report of one lamp at `now`; an on report of a lamp not on yet is a change at once.
  void report(int track, HUILamp lamp, bool on, double now, std::vector<Change>& changes);
  /// Reports lamps that have stayed off for the window by `now`.
  void sweep(double now, std::vector<Change>& changes);
  /// Drops pending off reports of tracks outside [first, last]: out of view, a flashing lamp
  /// would otherwise read as off because its next on report never comes.
  void keepPendingOnlyFor(int first, int last);
  /// Forgets every state: all lamps unknown.
  void reset();

 private:
  enum class State : std::uint8_t { unknown, on, off };
  struct Lamp {
    State state = State::unknown;
    std::optional<double> offSince;
  };

  double _window;
  std::array<std::array<Lamp, 2>, kTrackCount> _lamps{};
};

}  // namespace zar::hui
