#include "ZAR_DAWControl/platform/midi/hui/HUILampDebouncer.h"

#include <utility>

#include "ZAR_DAWControl/platform/midi/hui/HUIProtocol.h"

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
  expireToggle(track, lamp, entry, now, changes);
  if (entry.toggledAt) {
    if (entry.state != reported) {
      entry.shownInstead = reported;
      return;  // sent before the host saw the press, or the press was lost
    }
    entry.toggledAt.reset();
    entry.shownInstead.reset();
  }
  if (on == winningValue(lamp)) {
    entry.pendingSince.reset();
    if (entry.state != reported) {
      entry.state = reported;
      changes.push_back(Change{track, lamp, on});
    }
  } else if (entry.state == reported) {
    entry.pendingSince.reset();
  } else if (!entry.pendingSince) {
    entry.pendingSince = now;
  }
  sweep(now, changes);
}

void HUILampDebouncer::expireToggle(int track, HUILamp lamp, Lamp& entry, double now, std::vector<Change>& changes) {
  if (!entry.toggledAt || now - *entry.toggledAt + kTimeTolerance < _window) {
    return;
  }
  entry.toggledAt.reset();
  if (const auto shown = std::exchange(entry.shownInstead, std::nullopt); shown && *shown != entry.state) {
    entry.state = *shown;
    changes.push_back(Change{track, lamp, *shown == State::on});
  }
}

void HUILampDebouncer::sweep(double now, std::vector<Change>& changes) {
  for (std::size_t track = 0; track < _lamps.size(); ++track) {
    for (std::size_t index = 0; index < 2; ++index) {
      Lamp& entry = _lamps[track][index];
      expireToggle(static_cast<int>(track), static_cast<HUILamp>(index), entry, now, changes);
      if (entry.pendingSince && now - *entry.pendingSince + kTimeTolerance >= _window) {
        const auto lamp = static_cast<HUILamp>(index);
        const bool value = !winningValue(lamp);
        entry.pendingSince.reset();
        entry.state = value ? State::on : State::off;
        changes.push_back(Change{static_cast<int>(track), lamp, value});
      }
    }
  }
}

std::optional<double> HUILampDebouncer::nextDeadline() const {
  std::optional<double> earliest;
  for (const auto& lamps : _lamps) {
    for (const Lamp& entry : lamps) {
      for (const auto& since : {entry.pendingSince, entry.shownInstead ? entry.toggledAt : std::nullopt}) {
        if (since && (!earliest || *since + _window < *earliest)) {
          earliest = *since + _window;
        }
      }
    }
  }
  return earliest;
}

void HUILampDebouncer::keepPendingOnlyFor(int first, int last, double now) {
  for (std::size_t track = 0; track < _lamps.size(); ++track) {
    const int index = static_cast<int>(track);
    if (index < first || index > last) {
      for (Lamp& entry : _lamps[track]) {
        if (entry.pendingSince && now - *entry.pendingSince + kTimeTolerance < _window) {
          entry.pendingSince.reset();
        }
        entry.shownInstead.reset();
      }
    }
  }
}

std::optional<bool> HUILampDebouncer::toggled(int track, HUILamp lamp, double now) {
  if (track < 0 || track >= kTrackCount) {
    return std::nullopt;
  }
  Lamp& entry = _lamps[static_cast<std::size_t>(track)][static_cast<std::size_t>(lamp)];
  entry.pendingSince.reset();
  entry.shownInstead.reset();
  if (entry.state == State::unknown) {
    entry.toggledAt.reset();
    return std::nullopt;
  }
  entry.state = entry.state == State::on ? State::off : State::on;
  entry.toggledAt = now;
  return entry.state == State::on;
}

void HUILampDebouncer::reset() { _lamps = {}; }

std::vector<HUILampDebouncer::Change> HUILampDebouncer::known() const {
  std::vector<Change> states;
  for (std::size_t track = 0; track < _lamps.size(); ++track) {
    for (std::size_t index = 0; index < 2; ++index) {
      const State state = _lamps[track][index].state;
      if (state != State::unknown) {
        states.push_back(Change{static_cast<int>(track), static_cast<HUILamp>(index), state == State::on});
      }
    }
  }
  return states;
}

}  // namespace zar::hui
