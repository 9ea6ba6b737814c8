#pragma once

#include <memory>

#include "ZAR_DAWControl/platform/visualevents/ZAR_VisualEvent.h"

namespace zar::test {

/// Cue 101 of JO from 00:59:58:00 to 01:00:04:12 (frames 1000 to 1186), two takes recorded so far,
/// recording on the first track.
inline std::shared_ptr<ZAR_VisualEvent> takeCue() {
  auto event = std::make_shared<ZAR_VisualEvent>();
  event->setStartTCString("00:59:58:00");
  event->setEndTCString("01:00:04:12");
  event->setInPointFrameIndex(1000);
  event->setEndFrameIndex(1186);
  event->setCueNumber("101");
  event->setCharacter(std::make_shared<ZAR_Character>("JO"));
  event->setNumRecordedTakes(2);
  event->setRecTrackIndex(0);
  return event;
}

}  // namespace zar::test
