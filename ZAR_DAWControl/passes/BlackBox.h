#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "ZAR_DAWControl/passes/ZAR_DAWPassRecord.h"
#include "ZAR_DAWControl/platform/midi/ZAR_HUITrafficObserver.h"

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
/// the pass log on disk (the sink) and posted as the object of "ZAR_DAWApplicationPassEnded" (a
/// `std::shared_ptr<const ZAR_DAWPassRecord>`) on the thread that ended it, outside the lock.
///
/// It is the process's `ZAR_HUITrafficObserver` from its first use on: the HUI output's messages
/// and Pro Tools' lamps reach it from the MIDI layer, which knows nothing of passes.
class BlackBox final : private ZAR_HUITrafficObserver {
 public:
  using Sink = std::function<void(std::shared_ptr<const ZAR_DAWPassRecord>)>;

  static constexpr std::size_t kRecentPasses = 20;

  /// The process's black box; never destroyed.
  static BlackBox& shared();

  /// Starts recording a pass. `start` holds the mode, the cue, the tracks and the record track's
  /// position; the number, the start times and the events are set here. A pass still recording
  /// ends first, as `ZAR_DAWPassRecord::Ending::nextPass`.
  void beginPass(ZAR_DAWPassRecord start);
  /// Ends the pass in progress: `takesAfter` is the cue's take count now, or negative when the cue
  /// is no longer known (the count the pass began with is kept). Returns the finished record, or
  /// nothing when no pass was recording.
  std::shared_ptr<const ZAR_DAWPassRecord> endPass(ZAR_DAWPassRecord::Ending ending, std::int32_t takesAfter);
  /// Whether a pass is recording.
  bool recording() const;

  /// Records `event` in the pass in progress, stamped with the platform clock when its time is 0.
  /// A caller that builds texts for it asks `recording()` first.
  void record(ZAR_DAWPassRecord::Event event);
  // The events that come often, without building an event on the caller's side.
  void notification(const std::string& name);
  /// A message longer than three bytes keeps its first three (`size` says how long it was).
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
  /// The framework enters `name` for the track that was read as `oldName`; the next name read of
  /// the track is kept whatever it says, so a name that stayed as it was is read back too.
  void rename(std::int32_t track, const std::string& name, const std::string& oldName);

  /// The last passes, oldest first.
  std::vector<std::shared_ptr<const ZAR_DAWPassRecord>> recentRecords() const;

  /// The one place a finished record leaves for the pass log on disk: `sink` is called with every
  /// finished record, on the thread that ended the pass, outside the lock and before the
  /// notification is posted. Nothing: no sink.
  void setSink(Sink sink);

 private:
  /// The pass in progress and what its keeping rules need.
  struct Pass {
    ZAR_DAWPassRecord record;
    ZAR_DAWEventPhase phase = 0;
    /// The current phase's first frame is in the record.
    bool phaseHasFrame = false;
    /// By track position: the input monitor's last read in this phase (-1 none, 0 off, 1 on).
    std::vector<std::int8_t> inputReads;
    /// By track position: the last name read; nothing once the framework renamed the track, so
    /// that the next read is kept whatever it says.
    std::vector<std::optional<std::string>> names;
  };

  BlackBox();
  void huiMessageSent(std::span<const std::uint8_t> message) override;
  void huiMessageNotSent(std::span<const std::uint8_t> message, const char* why) override;
  void huiLampReceived(std::uint8_t zone, std::uint8_t port, bool on, std::int32_t track) override;
  void huiLampToggled(std::int32_t track, bool recordReady, bool on) override;

  /// Appends to the pass in progress, or counts the event as dropped when it is full.
  void appendLocked(ZAR_DAWPassRecord::Event&& event);
  /// Judges, keeps, hands to the sink and posts a record that has left `_pass`.
  std::shared_ptr<const ZAR_DAWPassRecord> finish(ZAR_DAWPassRecord record, ZAR_DAWPassRecord::Ending ending,
                                                  std::int32_t takesAfter, double endTime);

  /// Set exactly while `_pass` holds a pass; read first by every call, without the lock.
  std::atomic<bool> _recording{false};
  mutable std::mutex _mutex;  // everything below; held only to read or append, never to call out
  std::unique_ptr<Pass> _pass;
  std::uint64_t _passCount = 0;
  std::deque<std::shared_ptr<const ZAR_DAWPassRecord>> _recent;
  Sink _sink;
};

}  // namespace zar::passes
