#pragma once

#include <nlohmann/json.hpp>

#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "DemoOutput.h"
#include "FrameworkTap.h"
#include "ZAR_DAWControl/platform/Geometry.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIDecoder.h"

namespace dawctl {

/// The demo's timeline outside passes: what the framework did (from the tap), what it announced
/// (its notifications) and the script's own events, as events with time stamps. A pass's own
/// timeline is its black box's, written by the script once the pass has ended: while the timeline
/// is held the framework's actions are counted and nothing of theirs is written. Events may come from
/// any thread; they are written, in the order they came, on the main thread only, and the main
/// thread's own actions (typing, pauses) also feed the live line.
class DemoTimeline {
 public:
  /// How many actions of each kind the framework has taken so far.
  struct Counts {
    std::size_t midiMessages = 0;
    std::size_t keys = 0;
    std::size_t mouseEvents = 0;
    std::size_t presses = 0;
    std::size_t scripts = 0;
    std::size_t warnings = 0;
  };

  /// `start` is the clock time that time stamps count from; `describePoint` names what lies at a
  /// point of the screen.
  DemoTimeline(DemoOutput& output, std::function<bool()> isMainThread, double start,
               std::function<std::string(const zar::platform::Point&)> describePoint);

  void onAction(const FrameworkTap::Action& action);
  /// Holds the framework's actions and notifications back (counting the actions) from now until
  /// `hold(false)`.
  void hold(bool held);
  void onNotification(const std::string& name, const std::string& detail, double time);
  /// Adds an event of the script's; written at the next flush.
  void add(nlohmann::json event, double time);
  /// Writes what has come so far; `endRuns` also ends a run of presses of one HUI button and
  /// typing without Return, which otherwise wait for the next action. Main thread only.
  void flush(bool endRuns = true);
  /// Shows text on the live line. Main thread only.
  void live(const std::string& text);

  Counts counts() const;

 private:
  void queueLocked(nlohmann::json event, double time);
  void countLocked(FrameworkTap::Action::Kind kind);
  void onMidiLocked(const FrameworkTap::Action& action);
  void endPressRunLocked();
  void endTypingLocked();

  DemoOutput& _output;
  const std::function<bool()> _isMainThread;
  const double _start;
  const std::function<std::string(const zar::platform::Point&)> _describePoint;

  mutable std::mutex _mutex;
  std::vector<nlohmann::json> _pending;
  Counts _counts;
  bool _held = false;
  zar::hui::HUIDecoder _decoder;
  bool _pingAnswerTold = false;
  // A run of presses of the same HUI button, told once with its count.
  std::optional<nlohmann::json> _pressRun;
  double _pressRunTime = 0;
  // Keys typed since the last press of an element, until Return.
  std::string _typingInto;
  std::string _typed;
  double _typingTime = 0;
  double _typingEnd = 0;
  std::optional<std::string> _liveText;
};

}  // namespace dawctl
