#include "ZAR_DAWControl/platform/hui/HUILampDebouncer.h"

namespace zar::hui {

void HUILampDebouncer::report(int track, HUILamp lamp, bool on, double now, std::vector<Change>& changes) {
  if (track < 0 || track >= kTrackCount) {
    return;
  }
  Lamp& entry = _lamps[static_cast<std::size_t>(track)][static_cast<std::size_t>(lamp)];
  if (on) {
    entry.offSince.reset();
    if (entry.state != State::on) {
      entry.state = State::on;
      changes.push_back(Change{track, lamp, true});
    }
    return;
  }
  if (entry.state != State::off && !entry.offSince) {
    entry.offSince = now;
  }
  sweep(now, changes);
}

void HUILampDebouncer::sweep(double now, std::vector<Change>& changes) {
  for (std::size_t track = 0; track < _lamps.size(); ++track) {
    for (std::size_t lamp = 0; lamp < 2; ++lamp) {
      Lamp& entry = _lamps[track][lamp];
      if (entry.offSince && now - *entry.offSince >= _window) {
        entry.offSince.reset();
        entry.state = State::off;
        changes.push_back(Change{static_cast<int>(track), static_cast<HUILamp>(lamp), false});
      }
    }
  }
}

void HUILampDebouncer::keepPendingOnlyFor(int first, int last) {
  for (std::size_t track = 0; track < _lamps.size(); ++track) {
    const int index = static_cast<int>(track);
    if (index < first || index > last) {
      for (Lamp& entry : _lamps[track]) {
        entry.offSince.reset();
      }
    }
  }
}

void HUILampDebouncer::reset() { _lamps = {}; }

}  // namespace zar::hui
