#include "ZAR_DAWControl/platform/midi/hui/HUIBankNavigator.h"

#include "ZAR_DAWControl/platform/midi/hui/HUIProtocol.h"

namespace zar::hui {

namespace {
void append(std::vector<std::uint8_t>& moves, std::uint8_t port, int count) {
  moves.insert(moves.end(), static_cast<std::size_t>(count), port);
}
}  // namespace

std::vector<std::uint8_t> HUIBankNavigator::movesToShow(int track) {
  std::vector<std::uint8_t> moves;
  if (track < 0 || track >= kTrackCount) {
    return moves;
  }
  if (!_offset) {
    append(moves, channelSelectionPort::bankLeft, kHomingPresses);
    _offset = 0;
  }
  int target = *_offset;
  if (track < target) {
    target = track;
  } else if (track >= target + kStripsPerBank) {
    target = track - (kStripsPerBank - 1);
  }
  const int distance = target - *_offset;
  const int banks = (distance < 0 ? -distance : distance) / kStripsPerBank;
  const int channels = (distance < 0 ? -distance : distance) % kStripsPerBank;
  if (distance < 0) {
    append(moves, channelSelectionPort::bankLeft, banks);
    append(moves, channelSelectionPort::channelLeft, channels);
  } else {
    append(moves, channelSelectionPort::bankRight, banks);
    append(moves, channelSelectionPort::channelRight, channels);
  }
  _offset = target;
  return moves;
}

}  // namespace zar::hui
