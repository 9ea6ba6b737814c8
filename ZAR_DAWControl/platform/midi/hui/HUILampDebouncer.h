#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace zar::hui {

/// The two lamps of a channel strip that the framework follows.
enum class HUILamp : std::uint8_t { mute = 0, recordReady = 1 };

/// Turns lamp reports into state changes. Pro Tools flashes lamps, so one report is not a change:
/// record-ready flashes on an armed track while not recording (armed all the same), mute flashes
/// on a track muted only because another track is soloed (its own mute is off). So for each lamp
/// one value wins during flashing, on for record-ready and off for mute: a report of that value
/// is a change at once, while the other value is reported only once it held for the whole window
/// without the winning value coming back. That is noticed when the next report or sweep comes (the
/// host pings every second), so changes are still reported on the thread that feeds the debouncer.
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

  /// A report of one lamp at `now`.
  void report(int track, HUILamp lamp, bool on, double now, std::vector<Change>& changes);
  /// Reports lamps whose losing value has held for the window by `now`.
  void sweep(double now, std::vector<Change>& changes);
  /// Drops pending reports of tracks outside [first, last]: out of view, a flashing lamp would
  /// otherwise settle on the losing value because its next winning report never comes.
  void keepPendingOnlyFor(int first, int last);
  /// Forgets every state: all lamps unknown.
  void reset();

 private:
  enum class State : std::uint8_t { unknown, on, off };
  struct Lamp {
    State state = State::unknown;
    std::optional<double> pendingSince;
  };

  double _window;
  std::array<std::array<Lamp, 2>, kTrackCount> _lamps{};
};

}  // namespace zar::hui
