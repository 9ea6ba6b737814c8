#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "DemoOutput.h"
#include "DemoSession.h"
#include "DemoTimeline.h"
#include "FrameworkTap.h"
#include "PhaseCheck.h"
#include "DemoStage.h"
#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
#include "ZAR_DAWControl/passes/ZAR_DAWPassRecord.h"
#include "ZAR_DAWControl/platform/NotificationObservation.h"
#include "ZAR_DAWControl/platform/midi/MidiMessageSplitter.h"
#include "ZAR_DAWControl/platform/sim/MemoryFileUtility.h"

namespace dawctl {

/// The road of one take, as a host would drive it: the framework is enabled against Pro Tools
/// with the demo's session, a cue is rehearsed, recorded twice and reviewed, with the picture's
/// frames fed to the framework through the phases before, during and after the cue, and a last
/// take is tried while Pro Tools doesn't talk HUI. Every pass is written as its black box tells it
/// (the framework's record of the pass: its timeline, what Pro Tools showed at the end of every
/// phase and its verdict). The demo checks each phase's end itself too, reading Pro Tools' side
/// directly, and fails when Pro Tools differs from what the modes ask or when the two checks
/// disagree.
class DemoScript {
 public:
  enum class Desktop { sim, x11 };
  /// The passes of the road, in order; `Options::passes` runs the first ones.
  static constexpr int kPasses = 5;
  struct Options {
    /// The simulated Pro Tools, or the stand-in on the X11 desktop of $DISPLAY (real time only).
    Desktop desktop = Desktop::sim;
    bool virtualTime = false;
    DemoOutput::Style style;
    /// A directory with the user's mode list and matrix, used instead of the demo's; read only.
    std::string settingsDirectory;
    int framesPerSecond = 24;
    int passes = kPasses;
  };
  using Failure = DemoFailure;

  explicit DemoScript(Options options);
  ~DemoScript();
  DemoScript(const DemoScript&) = delete;
  DemoScript& operator=(const DemoScript&) = delete;

  /// Runs the whole script. The differences from what the modes ask, in the order found; empty
  /// when Pro Tools showed what they ask at every phase.
  std::vector<PhaseCheck::Difference> run();

 private:
  void setUp();
  void connect();
  void pass(ZAR_DAWMode mode);
  void play(ZAR_DAWMode mode, std::optional<std::size_t> recordPosition);
  void checkStart(ZAR_DAWMode mode, ZAR_DAWEventPhase phase, std::optional<std::size_t> recordPosition);
  void passWithoutHUI();
  /// Writes the record of the pass that just ended, then what the script found during it, and
  /// compares the record's verdict with the script's own findings.
  void reportPass(ZAR_DAWMode mode, bool hui, ZAR_DAWPassRecord::Ending expected);
  void finish();

  void onAction(const FrameworkTap::Action& action);
  /// Reads what Pro Tools shows, writes it as a table (marking what changed since the last one)
  /// and returns it. `settled`: at a phase's end (or outside a pass) rather than as it starts.
  std::vector<TrackRow> table(const std::string& pass, const std::string& phase, const std::string& title,
                              bool settled = true);
  void report(const std::string& pass, const std::string& phase, const std::vector<PhaseCheck::Difference>& found);
  void differ(const std::string& pass, const std::string& phase, const std::string& text);
  void add(nlohmann::json event);
  void addReceived(const std::optional<DemoStage::Received>& before, const std::optional<DemoStage::Received>& after);
  /// Runs the main loop until `done` holds; a Failure naming `what` after `timeout` seconds.
  void runUntil(const std::function<bool()>& done, double timeout, const std::string& what);
  std::shared_ptr<ZAR_DAWApplication> application() const;
  double now() const;
  std::int64_t frameOf(const std::string& timecode) const;
  std::string timecodeOf(std::int64_t frame) const;
  ZAR_DAWEventPhase phaseOf(std::int64_t frame) const;
  nlohmann::json sessionEvent() const;

  const Options _options;
  const DemoSession _session = DemoSession::standard();
  DemoOutput _output;
  // The timeline outlives the host: the tap tells it of the framework's actions until the
  // platform's threads are gone.
  std::unique_ptr<DemoTimeline> _timeline;
  std::shared_ptr<FrameworkTap> _tap;
  std::shared_ptr<zar::sim::MemoryFileUtility> _settings;
  // How many MIDI messages the framework has sent, for a stage that must let them arrive. Sends
  // come from the main thread and the MIDI thread.
  std::mutex _sentMutex;
  zar::platform::MidiMessageSplitter _sentSplitter;
  std::atomic<std::size_t> _midiMessagesSent{0};
  std::unique_ptr<DemoStage> _stage;
  std::shared_ptr<ZAR_DAWApplicationManager> _manager;
  std::unique_ptr<PhaseCheck> _check;
  std::shared_ptr<ZAR_VisualEvent> _cue;
  zar::platform::NotificationObservation _observation;

  std::vector<TrackRow> _rows;
  int _passes = 0;
  int _checks = 0;
  std::vector<PhaseCheck::Difference> _differences;

  // The pass in progress: the script's events, written after the pass's record, with their
  // times; and what the script found at the phases' ends (phase, position), and whether the take
  // was counted and named other than asked.
  std::optional<std::vector<std::pair<nlohmann::json, double>>> _passEvents;
  std::set<std::pair<ZAR_DAWEventPhase, std::int32_t>> _passFindings;
  bool _takeDiffers = false;
  std::shared_ptr<const ZAR_DAWPassRecord> _lastRecord;
};

}  // namespace dawctl
