#include "DemoScript.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "PassReport.h"
#include "ProToolsStage.h"
#include "StandInStage.h"
#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/modes/SettingsFile.h"
#include "ZAR_DAWControl/modes/ZAR_DAWSettings.pb.h"
#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"
#include "ZAR_DAWControl/platform/linux/PlistUserDefaults.h"
#include "ZAR_DAWControl/platform/utility/ZAR_TCHelper.h"
#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"

namespace dawctl {

namespace {

// How long the picture plays around the cue, at least.
constexpr double kPreRoll = 1.5;
constexpr double kPostRoll = 1.0;
// Generous bounds of the waits for Pro Tools; each normally ends within a second or two.
constexpr double kDiscoveryTimeout = 10.0;
constexpr double kHUITimeout = 10.0;
// How often the live line is brought up to date while the demo waits.
constexpr double kWaitStep = 0.05;

const char* jsonStateName(ZAR_DAWTrackState state) {
  switch (state) {
    case ZAR_DAWTrackStatePlay:
      return "Play";
    case ZAR_DAWTrackStateInput:
      return "Input";
    case ZAR_DAWTrackStateMute:
      return "Mute";
    case ZAR_DAWTrackStateRecord:
      return "Record";
    default:
      return "none";
  }
}

std::string passKey(ZAR_DAWMode mode) {
  return mode == ZAR_DAWModeRehearse ? "rehearse" : mode == ZAR_DAWModeRecord ? "record" : "review";
}

const char* phaseKey(ZAR_DAWEventPhase phase) {
  return phase == ZAR_DAWEventPhaseBefore ? "before" : phase == ZAR_DAWEventPhaseDuring ? "during" : "after";
}

nlohmann::json rowsJson(const std::vector<TrackRow>& rows, const std::vector<TrackRow>& previous) {
  auto tracks = nlohmann::json::array();
  for (std::size_t i = 0; i < rows.size(); ++i) {
    auto changed = nlohmann::json::array();
    if (i < previous.size()) {
      if (rows[i].name != previous[i].name) changed.push_back("name");
      if (rows[i].recEnabled != previous[i].recEnabled) changed.push_back("rec");
      if (rows[i].inputMonitoring != previous[i].inputMonitoring) changed.push_back("input");
      if (rows[i].muted != previous[i].muted) changed.push_back("mute");
    }
    tracks.push_back({{"position", i},
                      {"name", rows[i].name},
                      {"rec", rows[i].recEnabled},
                      {"input", rows[i].inputMonitoring},
                      {"mute", rows[i].muted},
                      {"changed", std::move(changed)}});
  }
  return tracks;
}

// Copies the user's two settings files into the demo's settings in memory, refusing what the
// framework would not read; the user's directory is never written.
void copyUserSettings(const std::string& directory, zar::sim::MemoryFileUtility& settings) {
  zar::native::LocalFileUtility disk(directory);
  const auto copy = [&]<typename Message>(const char* fileName, Message message) {
    const std::string from = (std::filesystem::path(directory) / fileName).string();
    if (!disk.fileExists(from)) {
      throw DemoScript::Failure(fmt::format("{} doesn't exist; dawctl settings makes it", from));
    }
    const auto content = disk.readFile(from);
    if (!content) throw DemoScript::Failure(fmt::format("cannot read {}", from));
    if (content->size() > zar::modes::SettingsFile::maximumSize || !message.ParseFromString(*content)) {
      throw DemoScript::Failure(fmt::format("{} is not a settings file the framework can read", from));
    }
    settings.writeFileAtomically(
        (std::filesystem::path(settings.applicationSupportDirectoryPath()) / fileName).string(), *content);
  };
  copy(ZAR_DAWAudioTrackModeList::fileName, ZAR_ProtoDAWAudioTrackModeList());
  copy(ZAR_DAWMuteRecMatrix::fileName, ZAR_ProtoDAWMuteRecMatrix());
}

}  // namespace

DemoScript::DemoScript(Options options) : _options(std::move(options)), _output(_options.style) {}

DemoScript::~DemoScript() {
  _observation.reset();
  if (_manager) _manager->setEnabled(false);
  if (_tap) _tap->detach();
}

std::vector<PhaseCheck::Difference> DemoScript::run() {
  setUp();
  connect();
  const std::function<void()> road[kPasses] = {
      [this] { pass(ZAR_DAWModeRehearse); }, [this] { pass(ZAR_DAWModeRecord); }, [this] { pass(ZAR_DAWModeRecord); },
      [this] { pass(ZAR_DAWModeReview); }, [this] { passWithoutHUI(); }};
  for (int i = 0; i < _options.passes && i < kPasses; ++i) road[i]();
  finish();
  return _differences;
}

// The platform, Pro Tools with the demo's session, the settings and the cue.
void DemoScript::setUp() {
  // The framework keeps its settings and preferences in memory: the demo leaves the user's alone.
  _settings = std::make_shared<zar::sim::MemoryFileUtility>("/dawctl-demo");
  if (!_options.settingsDirectory.empty()) copyUserSettings(_options.settingsDirectory, *_settings);
  _tap = std::make_shared<FrameworkTap>([this](const FrameworkTap::Action& action) { onAction(action); });
  const auto adjust = [this](zar::platform::Platform& platform) {
    platform.userDefaults = std::make_shared<zar::native::PlistUserDefaults>(std::nullopt, platform.logger);
    platform.fileUtility = _settings;
    _tap->wrap(platform);
  };
  if (_options.desktop == Desktop::x11) {
    _stage = std::make_unique<StandInStage>(adjust, _session, _midiMessagesSent);
  } else {
    _stage = std::make_unique<ProToolsStage>(SimulatedHost::Options{_options.virtualTime, {}, adjust}, _session);
  }
  const auto mainThread = std::this_thread::get_id();
  _timeline = std::make_unique<DemoTimeline>(
      _output, [mainThread] { return std::this_thread::get_id() == mainThread; }, _stage->platform()->clock->now(),
      [this](const zar::platform::Point& point) {
        const auto track = _stage->nameFieldAt(point);
        return track ? fmt::format("the name field of {}", _stage->rows().at(*track).name)
                     : fmt::format("at ({:.0f}, {:.0f})", point.x, point.y);
      });

  _manager = ZAR_DAWApplicationManager::sharedManager();
  _observation = zar::platform::NotificationObservation(
      _stage->platform()->notificationCenter, std::nullopt, [this](const zar::platform::Notification& notification) {
        // Posted at every refresh whether or not a name changed; the tables show the names.
        if (notification.name == ZAR_DAWApplicationTrackNamesChangedNotification) return;
        std::string detail;
        if (notification.name == ZAR_DAWApplicationAddedNotification) {
          if (const auto app = _manager->currentApplication()) {
            detail = fmt::format("{} {}, session \"{}\", {} tracks", app->name().value_or(""),
                                 app->versionString().value_or(""), app->currentProject().value_or(""),
                                 app->audioTracks().size());
          }
        }
        _timeline->onNotification(notification.name, detail, now());
      });
  if (_options.settingsDirectory.empty()) {
    _session.assignModes(*_manager->trackModeList(), *_manager->muteRecMatrix());
  }
  _check = std::make_unique<PhaseCheck>(_manager->muteRecMatrix());

  _cue = std::make_shared<ZAR_VisualEvent>();
  _cue->setStartTCString(_session.startTC);
  _cue->setEndTCString(_session.endTC);
  _cue->setInPointFrameIndex(frameOf(_session.startTC));
  _cue->setEndFrameIndex(frameOf(_session.endTC));
  _cue->setRecTrackIndex(_session.recTrackIndex);
  _cue->setCueNumber(_session.cueNumber);
  _cue->setCharacter(std::make_shared<ZAR_Character>(_session.characterPrefix));

  const char* display = std::getenv("DISPLAY");
  add({{"event", "start"},
       {"proTools", _options.desktop == Desktop::x11
                        ? fmt::format("the stand-in Pro Tools on the X11 desktop {}", display ? display : "")
                        : "the simulated Pro Tools"},
       {"clock", _options.virtualTime ? "virtual time" : "real time"},
       {"fps", _options.framesPerSecond},
       {"settings", _options.settingsDirectory.empty() ? "demo" : _options.settingsDirectory}});
  add(sessionEvent());
}

// Enables the framework, waits until it has found Pro Tools, Pro Tools talks HUI with it and the
// HUI side has seen the lamps of every track: before that, the tracks' record enable and mute flags
// say off whatever Pro Tools shows, and a pass would act on them.
void DemoScript::connect() {
  _manager->setAllowed(true);
  _manager->setEnabled(true);
  runUntil([this] { return application() != nullptr; }, kDiscoveryTimeout, "waiting for ZAR_DAWApplicationAdded");
  runUntil(
      [this] {
        const auto app = application();
        return app && app->readyForPass();
      },
      kHUITimeout, "waiting for Pro Tools' first HUI ping and the lamps of every track");
  _rows = table("", "opened", "at the start, as the session was opened");
}

void DemoScript::pass(ZAR_DAWMode mode) {
  ++_passes;
  const std::string key = passKey(mode);
  const std::int32_t takesBefore = _cue->numRecordedTakes();
  const std::string title =
      mode == ZAR_DAWModeRehearse ? fmt::format("Rehearse cue {}", _session.cueNumber)
      : mode == ZAR_DAWModeRecord ? fmt::format("Record take {} of cue {}", takesBefore + 1, _session.cueNumber)
                                  : fmt::format("Review cue {}", _session.cueNumber);
  const auto recordPositions = _check->recordPositions(_rows.size());
  const auto index = static_cast<std::size_t>(_session.recTrackIndex);
  const std::optional<std::size_t> recordPosition =
      index < recordPositions.size() ? std::optional(recordPositions[index]) : std::nullopt;
  if (mode == ZAR_DAWModeRecord && !recordPosition) {
    add({{"event", "pass"}, {"pass", key}, {"title", title}, {"hui", true}, {"take", takesBefore + 1}});
    // What a host does for a take without a record track: warn instead of recording.
    ZAR_DAWApplication::showNoRecTrackSelectedWarning();
    _timeline->flush();
    differ(key, "before", "no record track: no track of the session has a record mode that records during the cue");
    return;
  }

  const auto app = application();
  if (!app) throw Failure("Pro Tools went away");
  const auto received = _stage->received();
  _passEvents.emplace();
  _passFindings.clear();
  _takeDiffers = false;
  _timeline->hold(true);
  if (mode == ZAR_DAWModeRehearse) app->rehearseWithEvent(_cue);
  if (mode == ZAR_DAWModeRecord) app->recordWithEvent(_cue);
  if (mode == ZAR_DAWModeReview) app->reviewWithEvent(_cue);
  _timeline->flush();
  checkStart(mode, ZAR_DAWEventPhaseBefore, recordPosition);

  if (mode == ZAR_DAWModeRecord) {
    const std::int32_t takes = _cue->numRecordedTakes();
    add({{"event", "takes"}, {"cue", _session.cueNumber}, {"count", takes}});
    if (takes != takesBefore + 1) {
      _takeDiffers = true;
      differ(key, "before", fmt::format("the cue has {} recorded takes, not {}", takes, takesBefore + 1));
    }
    // The naming preferences are left at their defaults: prefix, takes so far and cue number.
    const std::string name = fmt::format("{}_{}_{}", _session.characterPrefix, takesBefore, _session.cueNumber);
    const auto shown = _stage->rows().at(*recordPosition).name;
    if (shown != name) {
      _takeDiffers = true;
      differ(key, "before", fmt::format("the record track is named \"{}\" in Pro Tools, not \"{}\"", shown, name));
    }
  }
  const std::string transport = mode == ZAR_DAWModeRecord ? "recording" : "playing";
  if (const auto shown = _stage->transport(); shown != transport) {
    differ(key, "before", fmt::format("Pro Tools' transport is {}, not {}", shown, transport));
  }

  play(mode, recordPosition);
  app->stopPlayback();
  _timeline->flush();
  if (const auto shown = _stage->transport(); shown != "stopped") {
    differ(key, "after", fmt::format("Pro Tools' transport is {} after Stop", shown));
  }
  addReceived(received, _stage->received());
  _timeline->hold(false);
  reportPass(mode, true, ZAR_DAWPassRecord::Ending::stopped);
}

// The picture plays from before the cue to after it, one frame update per frame at the frame
// rate; the tracks are read from Pro Tools' side at the last frame of each phase, when they have
// settled, and checked.
void DemoScript::play(ZAR_DAWMode mode, std::optional<std::size_t> recordPosition) {
  const auto fps = _options.framesPerSecond;
  // Long enough for every track's input monitor to be pressed, one press per interval, with a
  // frame to spare for each: a phase is checked when it has settled.
  const auto framesPerPress = static_cast<std::int64_t>(std::floor(ZAR_DAWAudioTrack::inputPressInterval * fps)) + 2;
  const auto settling = static_cast<std::int64_t>(_rows.size()) * framesPerPress;
  const std::int64_t first =
      _cue->inPointFrameIndex() - std::max(static_cast<std::int64_t>(std::lround(kPreRoll * fps)), settling);
  const std::int64_t last =
      _cue->endFrameIndex() + std::max(static_cast<std::int64_t>(std::lround(kPostRoll * fps)), settling);
  add({{"event", "playing"},
       {"from", timecodeOf(first)},
       {"to", timecodeOf(last)},
       {"frames", last - first + 1},
       {"fps", fps}});
  const std::string key = passKey(mode);
  const double start = now();
  for (std::int64_t frame = first; frame <= last; ++frame) {
    const auto app = application();
    if (!app) throw Failure("Pro Tools went away");
    app->updateDAWTrackStatesForFrameIndex(frame);
    _timeline->flush();
    const ZAR_DAWEventPhase phase = phaseOf(frame);
    if (frame != first && phaseOf(frame - 1) != phase) checkStart(mode, phase, recordPosition);
    if (frame == last || phaseOf(frame + 1) != phase) {
      const auto previous = _rows;
      _rows = _stage->rows();
      ++_checks;
      const auto found = _check->compare(mode, phase, recordPosition, previous, _rows, true);
      for (const auto& difference : found) _passFindings.emplace(phase, difference.position);
      report(key, phaseKey(phase), found);
    }
    _timeline->live(fmt::format("picture at {} ({} the cue)", timecodeOf(frame), phaseKey(phase)));
    _stage->runFor(start + static_cast<double>(frame - first + 1) / fps - now());
  }
}

// Record enable and mute as a phase starts; the table is shown only when they differ.
void DemoScript::checkStart(ZAR_DAWMode mode, ZAR_DAWEventPhase phase, std::optional<std::size_t> recordPosition) {
  ++_checks;
  const auto found = _check->compare(mode, phase, recordPosition, _rows, _stage->rows(), false);
  if (found.empty()) return;
  const std::string key = passKey(mode);
  _rows = table(key, phaseKey(phase),
                fmt::format("as the phase {} the cue starts ({}, cue {})", phaseKey(phase), key, _session.cueNumber),
                false);
  report(key, phaseKey(phase), found);
}

// A last take while Pro Tools doesn't ping the HUI ports: the framework warns and does nothing.
void DemoScript::passWithoutHUI() {
  ++_passes;
  const std::int32_t takes = _cue->numRecordedTakes();
  add({{"event", "note"}, {"text", fmt::format("Take {} of cue {} while Pro Tools doesn't talk HUI", takes + 1, _session.cueNumber)}});
  _stage->stopPinging();
  add({{"event", "note"}, {"text", "Pro Tools stops pinging the HUI ports (as when HUI is unselected in its peripherals)"}});
  runUntil(
      [this] {
        const auto app = application();
        const auto device = app ? app->huiDevice() : nullptr;
        return device && !device->connected();
      },
      kHUITimeout, "waiting until the framework's HUI device no longer reports Pro Tools connected");
  add({{"event", "note"}, {"text", "no ping for 2 s: the framework's HUI device reports not connected"}});

  const auto app = application();
  if (!app) throw Failure("Pro Tools went away");
  const auto counts = _timeline->counts();
  const auto received = _stage->received();
  _passEvents.emplace();
  _passFindings.clear();
  _takeDiffers = false;
  _timeline->hold(true);
  app->recordWithEvent(_cue);
  _timeline->hold(false);
  const auto after = _stage->received();
  addReceived(received, after);

  const auto previous = _rows;
  _rows = table("record", "refused", "after the take without HUI");
  ++_checks;
  report("record", "refused", PhaseCheck::unchanged(previous, _rows));
  const auto did = _timeline->counts();
  if (did.warnings != counts.warnings + 1) differ("record", "refused", "the framework showed no HUI warning");
  const std::size_t actions = (did.midiMessages - counts.midiMessages) + (did.keys - counts.keys) +
                              (did.mouseEvents - counts.mouseEvents) + (did.presses - counts.presses) +
                              (did.scripts - counts.scripts);
  const bool receivedAny = received && after &&
                           (after->huiMessages != received->huiMessages ||
                            after->keyboardEvents != received->keyboardEvents ||
                            after->mouseEvents != received->mouseEvents);
  if (actions != 0 || receivedAny) {
    differ("record", "refused", fmt::format("the framework acted on Pro Tools {} times without HUI", actions));
  }
  if (_cue->numRecordedTakes() != takes) {
    differ("record", "refused", fmt::format("the take count moved to {} without HUI", _cue->numRecordedTakes()));
  }
  reportPass(ZAR_DAWModeRecord, false, ZAR_DAWPassRecord::Ending::huiDown);
}

void DemoScript::reportPass(ZAR_DAWMode mode, bool hui, ZAR_DAWPassRecord::Ending expected) {
  auto scriptEvents = std::move(*_passEvents);  // the pass began with them
  _passEvents.reset();
  const std::string key = passKey(mode);
  const auto records = _manager->recentPassRecords();
  const auto record = records.empty() ? nullptr : records.back();
  if (!record || record == _lastRecord) {
    add({{"event", "pass"}, {"pass", key}, {"title", fmt::format("{} cue {}", key, _session.cueNumber)}, {"hui", hui}});
    for (auto& [event, time] : scriptEvents) _timeline->add(std::move(event), time);
    differ(key, "", "the framework kept no record of the pass");
    return;
  }
  _lastRecord = record;
  auto events = passReportEvents(*record);
  events.front()["pass"] = key;
  events.front()["hui"] = hui;
  if (mode == ZAR_DAWModeRecord) events.front()["take"] = record->cue.takesBefore + 1;
  for (auto& event : events) {
    const double time = record->startTime + event.value("t", 0.0);
    _timeline->add(std::move(event), time);
  }
  for (auto& [event, time] : scriptEvents) _timeline->add(std::move(event), time);
  _timeline->flush();

  // The record's verdict against the script's own findings, for the tracks the session has.
  const auto inSession = [&](std::int32_t position) {
    return std::any_of(record->tracks.begin(), record->tracks.end(),
                       [&](const ZAR_DAWPassRecord::Track& track) { return track.position == position; });
  };
  std::set<std::pair<ZAR_DAWEventPhase, std::int32_t>> judged;
  bool takeJudged = false;
  for (const auto& difference : record->differences) {
    if (difference.phase == 0) {
      takeJudged = true;
    } else {
      judged.emplace(difference.phase, difference.position);
    }
  }
  std::vector<std::string> disagreements;
  if (record->ending != expected) disagreements.push_back(fmt::format("the record's verdict is \"{}\"", record->verdictText()));
  for (const auto& [phase, position] : judged) {
    if (!_passFindings.contains({phase, position})) {
      disagreements.push_back(fmt::format("the record finds track {} {} the cue other than the modes ask, Pro Tools' "
                                          "controls show what they ask", position, phaseKey(phase)));
    }
  }
  for (const auto& [phase, position] : _passFindings) {
    if (inSession(position) && !judged.contains({phase, position})) {
      disagreements.push_back(fmt::format("Pro Tools' controls show track {} {} the cue other than the modes ask, "
                                          "the record finds what they ask", position, phaseKey(phase)));
    }
  }
  if (takeJudged != _takeDiffers) {
    disagreements.push_back(takeJudged ? "the record finds the take miscounted or misnamed, Pro Tools' controls don't"
                                       : "Pro Tools' controls show the take miscounted or misnamed, the record doesn't");
  }
  if (disagreements.empty()) {
    add({{"event", "note"}, {"text", "the demo's own reading of Pro Tools agrees with the record"}});
  }
  for (const auto& text : disagreements) differ(key, "", "the record and Pro Tools disagree: " + text);
}

void DemoScript::finish() {
  _manager->setEnabled(false);
  _timeline->flush();
  add({{"event", "result"},
       {"ok", _differences.empty()},
       {"passes", _passes},
       {"takes", _cue->numRecordedTakes()},
       {"checks", _checks},
       {"differences", _differences.size()}});
}

// What Pro Tools received between two counts, where the stage counts it.
void DemoScript::addReceived(const std::optional<DemoStage::Received>& before,
                             const std::optional<DemoStage::Received>& after) {
  if (!before || !after) return;
  add({{"event", "received"},
       {"hui", after->huiMessages - before->huiMessages},
       {"keys", after->keyboardEvents - before->keyboardEvents},
       {"mouse", after->mouseEvents - before->mouseEvents}});
}

void DemoScript::onAction(const FrameworkTap::Action& action) {
  if (action.kind == FrameworkTap::Action::Kind::midi) {
    const std::scoped_lock lock(_sentMutex);
    _midiMessagesSent += _sentSplitter.split(action.bytes).size();
  }
  // The tap comes with the platform, before the timeline; the framework acts only after both.
  if (!_timeline) return;
  _timeline->onAction(action);
}

std::vector<TrackRow> DemoScript::table(const std::string& pass, const std::string& phase, const std::string& title,
                                        bool settled) {
  auto rows = _stage->rows();
  nlohmann::json event{{"event", "table"},
                       {"phase", phase},
                       {"settled", settled},
                       {"title", title},
                       {"transport", _stage->transport()},
                       {"tracks", rowsJson(rows, _rows)}};
  if (!pass.empty()) event["pass"] = pass;
  add(std::move(event));
  return rows;
}

void DemoScript::report(const std::string& pass, const std::string& phase,
                        const std::vector<PhaseCheck::Difference>& found) {
  for (const auto& difference : found) {
    nlohmann::json event{{"event", "difference"},
                         {"pass", pass},
                         {"phase", phase},
                         {"position", difference.position},
                         {"text", difference.text}};
    if (!difference.track.empty()) event["track"] = difference.track;
    add(std::move(event));
    _differences.push_back(difference);
  }
}

void DemoScript::differ(const std::string& pass, const std::string& phase, const std::string& text) {
  report(pass, phase, {PhaseCheck::Difference{-1, "", text}});
}

void DemoScript::add(nlohmann::json event) {
  if (_passEvents) {
    _passEvents->emplace_back(std::move(event), now());
    return;
  }
  _timeline->add(std::move(event), now());
  _timeline->flush();
}

void DemoScript::runUntil(const std::function<bool()>& done, double timeout, const std::string& what) {
  const double begin = now();
  while (!done()) {
    if (now() - begin >= timeout) throw Failure(fmt::format("gave up {} after {:.0f} s", what, timeout));
    _timeline->live(fmt::format("{}... {:.1f} s", what, now() - begin));
    _stage->runFor(kWaitStep);
    _timeline->flush();
  }
}

std::shared_ptr<ZAR_DAWApplication> DemoScript::application() const { return _manager->currentApplication(); }

double DemoScript::now() const { return _stage->platform()->clock->now(); }

std::int64_t DemoScript::frameOf(const std::string& timecode) const {
  const TCTime tc = ZAR_TCHelper::tcTimeFromString(timecode);
  const std::int64_t seconds = (static_cast<std::int64_t>(tc.hours) * 60 + tc.minutes) * 60 + tc.seconds;
  return seconds * _options.framesPerSecond + tc.frames;
}

std::string DemoScript::timecodeOf(std::int64_t frame) const {
  const std::int64_t fps = _options.framesPerSecond;
  const std::int64_t seconds = frame / fps;
  return fmt::format("{:02}:{:02}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60, frame % fps);
}

ZAR_DAWEventPhase DemoScript::phaseOf(std::int64_t frame) const {
  if (frame < _cue->inPointFrameIndex()) return ZAR_DAWEventPhaseBefore;
  return frame > _cue->endFrameIndex() ? ZAR_DAWEventPhaseAfter : ZAR_DAWEventPhaseDuring;
}

nlohmann::json DemoScript::sessionEvent() const {
  auto modes = nlohmann::json::array();
  for (const auto& mode : *_manager->trackModeList()->audioTrackModes()) {
    if (!mode) continue;
    modes.push_back({{"name", mode->name().value_or("")},
                     {"before", jsonStateName(mode->beforeState())},
                     {"during", jsonStateName(mode->duringState())},
                     {"after", jsonStateName(mode->afterState())}});
  }
  // Every position the session has, and every other one the matrix assigns a mode to.
  const auto nullMode = ZAR_DAWAudioTrackMode::nullTrackMode();
  std::size_t positions = _session.tracks.size();
  for (std::size_t i = positions; i < ZAR_DAWMuteRecMatrix::trackCount; ++i) {
    for (const auto pass : {ZAR_DAWModeRehearse, ZAR_DAWModeRecord, ZAR_DAWModeReview}) {
      if (_check->modeAt(pass, i) != nullMode) positions = i + 1;
    }
  }
  auto tracks = nlohmann::json::array();
  for (std::size_t i = 0; i < positions; ++i) {
    const auto modeName = [&](ZAR_DAWMode pass) {
      const auto mode = _check->modeAt(pass, i);
      return mode == nullMode ? std::string("-") : mode->name().value_or("");
    };
    tracks.push_back({{"position", i},
                      {"name", i < _session.tracks.size() ? _session.tracks[i].name : "(not in the session)"},
                      {"rehearse", modeName(ZAR_DAWModeRehearse)},
                      {"record", modeName(ZAR_DAWModeRecord)},
                      {"review", modeName(ZAR_DAWModeReview)}});
  }
  const auto recordPositions = _check->recordPositions(_session.tracks.size());
  const auto index = static_cast<std::size_t>(_session.recTrackIndex);
  return {{"event", "session"},
          {"name", _session.name},
          {"cue",
           {{"number", _session.cueNumber},
            {"character", _session.characterPrefix},
            {"start", _session.startTC},
            {"end", _session.endTC},
            {"inPoint", _cue->inPointFrameIndex()},
            {"endFrame", _cue->endFrameIndex()},
            {"recordTrack", index < recordPositions.size() ? _session.tracks[recordPositions[index]].name : ""}}},
          {"modes", std::move(modes)},
          {"tracks", std::move(tracks)}};
}

}  // namespace dawctl
