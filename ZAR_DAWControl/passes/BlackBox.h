#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "ZAR_DAWControl/passes/ZAR_DAWPassRecord.h"

namespace zar::passes {

/// The framework's black box: it records the pass in progress, one at a time for the process (the
/// host runs its passes one at a time), and keeps the last ones.
///
/// The framework's code tells it what happens wherever it happens, on any thread: the host's
/// thread for passes, the MIDI thread (lamps, messages leaving the paced HUI output), the main
/// thread (refresh ticks, warnings). While no pass is recording a call returns at once. Recording
/// an event takes one short lock (the event is appended) and never calls out under it; a pass
/// keeps at most `ZAR_DAWPassRecord::kMaximumEvents` events, and the black box the last
/// `kRecentPasses` passes.
///
/// At the end of a pass the record is judged (`PassVerdict`), kept among the recent ones, handed to
/// the pass log on disk and posted as the object of "ZAR_DAWApplicationPassEnded" (a
/// `std::shared_ptr<const ZAR_DAWPassRecord>`) on the thread that ended it.
class BlackBox {
 public:
  static constexpr std::size_t kRecentPasses = 20;

  /// The process's black box; never destroyed.
  static BlackBox& shared();

  /// Starts recording a pass. `start` holds the mode, the cue, the tracks and the record track's
  /// position; the number, the start times and the events are set here. A pass still recording
  /// ends first, as `ZAR_DAWPassRecord::Ending::nextPass`.
  void beginPass(ZAR_DAWPassRecord start);
  /// Ends the pass in progress: `takesAfter` is the cue's take count now. Returns the finished
  /// record, or nothing when no pass was recording.
  std::shared_ptr<const ZAR_DAWPassRecord> endPass(ZAR_DAWPassRecord::Ending ending, std::int32_t takesAfter);
  /// Whether a pass is recording.
  bool recording() const;

  /// Records `event` in the pass in progress, stamped with the platform clock when its time is 0.
  void record(ZAR_DAWPassRecord::Event event);
  // The events that come often, without building an event on the caller's side.
  void notification(const std::string& name);
  void huiSent(std::span<const std::uint8_t> message);
  void huiNotSent(std::span<const std::uint8_t> message, const char* why);
  void lamp(std::uint8_t zone, std::uint8_t port, bool on, std::int32_t track);
  void trackLamp(std::int32_t track, bool record, bool on);
  void inputPress(std::int32_t track, bool on);
  /// Kept when it is the first read of the track in the phase or differs from the last read.
  void inputRead(std::int32_t track, bool on);
  /// The phase of a frame update (`frame`), or of the pass's own start (-1): kept when the phase
  /// changes, or for the first frame of the phase the pass began with.
  void phase(ZAR_DAWEventPhase phase, std::int64_t frame);
  /// Kept when the name differs from the last one read for the position.
  void trackName(std::int32_t track, const std::string& name);

  /// The last passes, oldest first.
  std::vector<std::shared_ptr<const ZAR_DAWPassRecord>> recentRecords() const;
};

}  // namespace zar::passes
