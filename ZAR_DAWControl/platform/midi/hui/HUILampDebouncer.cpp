#include "ZAR_DAWControl/platform/midi/hui/HUILampDebouncer.h"

namespace zar::hui {

namespace {
/// The value that wins while a lamp flashes.
bool winningValue(HUILamp lamp) { return lamp == HUILamp::recordReady; }
}  // namespace

void HUILampDebouncer::report(int track, HUILamp lamp, bool on, double now, std::vector<Change>& changes) {
  if (track < 0 || track >= kTrackCount) {
    return;
  }
  Lamp& entry = _lamps[static_cast<std::size_t>(track)][static_cast<std::size_t>(lamp)];
  const State reported = on ? State::on : State::off;
  if (on == winningValue(lamp)) {
    entry.pendingSince.reset();
    if (entry.state != reported) {
      entry.state = reported;
      changes.push_back(Change{track, lamp, on});
    }
    return;
  }
  if (entry.state != reported && !entry.pendingSince) {
    entry.pendingSince = now;
  }
  sweep(now, changes);
}

void HUILampDebouncer::sweep(double now, std::vector<Change>& changes) {
  for (std::size_t track = 0; track < _lamps.size(); ++track) {
    for (std::size_t index = 0; index < 2; ++index) {
      Lamp& entry = _lamps[track][index];
      if (entry.pendingSince && now - *entry.pendingSince >= _window) {
        const auto lamp = static_cast<HUILamp>(index);
        const bool value = !winningValue(lamp);
        entry.pendingSince.reset();
        entry.state = value ? State::on : State::off;
        changes.push_back(Change{static_cast<int>(track), lamp, value});
      }
    }
  }
}

void HUILampDebouncer::keepPendingOnlyFor(int first, int last) {
  for (std::size_t track = 0; track < _lamps.size(); ++track) {
    const int index = static_cast<int>(track);
    if (index < first || index > last) {
      for (Lamp& entry : _lamps[track]) {
        entry.pendingSince.reset();
      }
    }
  }
}

void HUILampDebouncer::reset() { _lamps = {}; }

}  // namespace zar::hui
