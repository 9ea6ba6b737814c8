#include "ZAR_DAWControl/platform/midi/hui/HUIBankSurvey.h"

#include <algorithm>

#include "ZAR_DAWControl/platform/midi/hui/HUIProtocol.h"

namespace zar::hui {

void HUIBankSurvey::start(std::optional<int> trackCount) {
  _trackCount = trackCount;
  _active = banks() > 0;
  _nextBank = 0;
  _dwellUntil.reset();
}

void HUIBankSurvey::extend(int trackCount) {
  const int before = banks();
  _trackCount = trackCount;
  if (!_active && banks() > before) {
    _active = true;
    _nextBank = before;
    _dwellUntil.reset();
  }
}

void HUIBankSurvey::stop() {
  _active = false;
  _dwellUntil.reset();
}

int HUIBankSurvey::banks() const {
  if (!_trackCount) {
    return 1;
  }
  const int tracks = std::clamp(*_trackCount, 0, kTrackCount);
  return (tracks + kStripsPerBank - 1) / kStripsPerBank;
}

std::optional<int> HUIBankSurvey::target() const {
  if (!_active || _nextBank >= banks()) {
    return std::nullopt;
  }
  // The bank's last track on the last strip: a move right that never passes the session's end,
  // wherever Pro Tools lets the last bank land.
  const int last = _trackCount ? std::min(*_trackCount, kTrackCount) - 1 : 0;
  return std::min(_nextBank * kStripsPerBank + kStripsPerBank - 1, last);
}

void HUIBankSurvey::inView(double now, double dwell) {
  if (_active && !_dwellUntil) {
    _dwellUntil = now + dwell;
  }
}

bool HUIBankSurvey::finishDwell(double now) {
  if (!_active || !_dwellUntil || now + kTimeTolerance < *_dwellUntil) {
    return false;
  }
  _dwellUntil.reset();
  if (++_nextBank >= banks()) {
    _active = false;
  }
  return true;
}

}  // namespace zar::hui
