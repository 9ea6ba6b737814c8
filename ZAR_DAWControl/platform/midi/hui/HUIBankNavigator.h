#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "ZAR_DAWControl/platform/midi/hui/HUIProtocol.h"

namespace zar::hui {

/// Where the window of eight channel strips stands in the session, counted from a known origin.
///
/// The host never says which track the first strip shows, so the navigator learns it by pressing
/// bank left until the window must be at the first track (eight presses cover 64 tracks), and
/// counts its own moves from there. To reach a track it moves the window only as far as needed:
/// left until the track is in the first strip, or right until it is in the last strip. Moving
/// right so that track N lands in the last strip never passes the end of a session that has
/// track N, whether or not Pro Tools "fills channel strips when banking", so the count stays true.
///
/// Limits: the count assumes this is the only HUI controller configured in Pro Tools (several
/// rows bank together by their total width), and it is wrong when the window moves for reasons
/// the navigator does not see (tracks removed at the end, a move to a track the session does
/// not have). The owner forgets the position when the host was away, so the next move re-learns it.
class HUIBankNavigator {
 public:
  /// Bank-left presses that bring any window of a 64-track session back to the first track.
  static constexpr int kHomingPresses = kTrackCount / kStripsPerBank;

  /// The channel-selection ports to press, in order, to bring `track` into view; empty when it is
  /// in view already or out of 0..63. Counts the moves as done.
  std::vector<std::uint8_t> movesToShow(int track);
  /// The first track in view, when known.
  std::optional<int> offset() const { return _offset; }
  /// Forgets the position; the next move starts by learning it again.
  void forget() { _offset.reset(); }

 private:
  std::optional<int> _offset;
};

}  // namespace zar::hui
