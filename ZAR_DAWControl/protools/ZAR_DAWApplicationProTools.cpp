#include "ZAR_DAWControl/protools/ZAR_DAWApplicationProTools.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <limits>
#include <string>

#include "ZAR_DAWControl/accessibility/AXNames.h"
#include "ZAR_DAWControl/accessibility/UIElementUtilities.h"
#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackMode.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/passes/BlackBox.h"
#include "ZAR_DAWControl/platform/Log.h"
#include "ZAR_DAWControl/platform/midi/ZAR_MIDIOutput.h"
#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"
#include "ZAR_DAWControl/platform/midi/hui/HUICodec.h"
#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"
#include "ZAR_DAWControl/platform/utility/ZAR_TCHelper.h"
#include "ZAR_DAWControl/protools/ProToolsTransport.h"
#include "ZAR_DAWControl/protools/ProToolsUI.h"
#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"

using zar::hui::HUICodec;
using zar::passes::BlackBox;
using zar::platform::AXAttributeValue;
using zar::platform::AXUIElementRef;
using zar::platform::AXValueList;
using zar::platform::Platform;

namespace {

// Between a failed read of the start counter and the read that confirms the failure.
constexpr double connectionRereadPause = 0.05;

// Longer texts are cut in the log.
constexpr std::size_t maximumLoggedText = 64;

// The first element of the list whose title passes the test.
template <typename Match>
AXUIElementRef firstWithTitle(const std::optional<AXAttributeValue>& list, Match matches) {
  if (!list) return nullptr;
  const auto* elements = list->get<AXValueList>();
  if (elements == nullptr) return nullptr;
  for (const AXAttributeValue& entry : *elements) {
    const auto* element = entry.get<AXUIElementRef>();
    if (element == nullptr || *element == nullptr) continue;
    if (const auto title = UIElementUtilities::titleOfUIElement(*element); title && matches(*title)) {
      return *element;
    }
  }
  return nullptr;
}

AXUIElementRef childTitled(const AXUIElementRef& parent, const std::string& title) {
  if (!parent) return nullptr;
  return firstWithTitle(UIElementUtilities::valueOfAttribute(zar::ax::kChildrenAttribute, parent),
                        [&](const std::string& candidate) { return candidate == title; });
}

// The leading decimal integer of the text before the first ".": 12 for 12.5.0, 0 for "".
std::int32_t majorVersionOf(const std::string& version) {
  std::int64_t major = 0;
  for (const char c : version) {
    if (std::isdigit(static_cast<unsigned char>(c)) == 0) break;
    major = major * 10 + (c - '0');
    if (major > INT32_MAX) return INT32_MAX;
  }
  return static_cast<std::int32_t>(major);
}

void sendHUI(const zar::hui::HUIMessage& message) {
  if (auto output = ZAR_MIDISystem::sharedMIDISystem()->midiOutputForEventType(ZAR_MIDISystem::kHUIEventType)) {
    output->sendMIDIMessage(message);
  }
}

// Presses and releases a button of Pro Tools' transport.
void pressTransportButton(std::uint8_t port) {
  for (const auto& message : HUICodec::buttonPress(zar::hui::zone::transport, port)) sendHUI(message);
}

void sleepFor(double seconds) { Platform::current()->clock->sleep(seconds); }

// The title of a child of the edit window that is a track row: a group (or toolbar) whose title
// names an audio or aux track; nothing for any other child.
std::optional<std::string> trackRowTitle(const AXUIElementRef& child) {
  const auto role = UIElementUtilities::roleOfUIElement(child);
  if (!role || (*role != zar::ax::kGroupRole && *role != zar::ax::kToolbarRole)) return std::nullopt;
  auto title = UIElementUtilities::titleOfUIElement(child);
  if (!title || !ZAR_DAWAudioTrack::isTrackRowTitle(*title)) return std::nullopt;
  return title;
}

// The mode the matrix gives the position for the pass `mode`: the null mode for a track left
// alone, nothing for a position beyond the matrix (its states count as Play).
std::shared_ptr<ZAR_DAWAudioTrackMode> modeForPass(const ZAR_DAWMuteRecMatrix& matrix, ZAR_DAWMode mode,
                                                   std::int32_t position) {
  if (mode == ZAR_DAWModeRecord) return matrix.recordModeAtTrackIndex(position);
  if (mode == ZAR_DAWModeRehearse) return matrix.rehearseModeAtTrackIndex(position);
  return matrix.reviewModeAtTrackIndex(position);
}

// Puts the track's input monitor and mute into the state's shape; Record and unknown states
// leave them alone.
void applyState(ZAR_DAWAudioTrack& track, ZAR_DAWTrackState state) {
  switch (state) {
    case ZAR_DAWTrackStatePlay:
      track.setInputEnabled(false);
      track.setMuted(false, true);
      break;
    case ZAR_DAWTrackStateInput:
      track.setInputEnabled(true);
      track.setMuted(false, true);
      break;
    case ZAR_DAWTrackStateMute:
      track.setInputEnabled(false);
      track.setMuted(true, true);
      break;
    default:
      break;
  }
}

}  // namespace

std::int32_t ZAR_DAWApplicationProTools::comparisonValue(const TCTime& tc) {
  const double value = tc.hours * 1000000.0 + tc.minutes * 10000.0 + tc.seconds * 100.0 + tc.frames;
  // Truncated toward zero; fields far beyond a counter's range saturate instead of overflowing.
  return static_cast<std::int32_t>(std::min(value, static_cast<double>(std::numeric_limits<std::int32_t>::max())));
}

bool ZAR_DAWApplicationProTools::initWithRunningApplication(zar::platform::RunningApplicationRef runningApplication) {
  if (!ZAR_DAWApplication::initWithRunningApplication(std::move(runningApplication))) {
    return false;
  }
  const auto platform = Platform::current();
  setType(ZAR_DAWApplicationTypeProTools);
  const auto root = platform->accessibility->createApplication(processIdentifier());
  setAppRootElement(root);

  const auto window = findEditWindowFromWindowArray(UIElementUtilities::valueOfAttribute(zar::ax::kWindowsAttribute, root));
  const auto cluster = findCounterDisplayClusterFromEditWindow(window);
  const auto start = findStartTCTextFieldFromCounterDisplayCluster(cluster);
  const auto end = findEndTCTextFieldFromCounterDisplayCluster(cluster);
  {
    std::lock_guard lock(_elementMutex);
    _editWindow = window;
    _startTCTextfield = start;
    _endTCTextfield = end;
  }
  if (!start || !end) {
    return false;
  }

  setName(std::string(zar::protools::kDisplayName));
  std::string version;
  if (const auto running = platform->workspace->runningApplicationWithProcessIdentifier(processIdentifier());
      running && running->bundleURL) {
    if (const auto info = platform->workspace->bundleInfoDictionary(*running->bundleURL)) {
      if (const auto it = info->find(zar::protools::kBundleVersionKey); it != info->end()) {
        version = it->second.stringValue().value_or("");
      }
    }
  }
  setVersionString(version);
  setMajorVersion(majorVersionOf(version));
  findAudioTracks();
  return true;
}

// Selection timecode.

std::optional<std::string> ZAR_DAWApplicationProTools::selectionTC(const AXUIElementRef& field, ZAR_Error* error) {
  // Without an error slot both checks still run (the first may record that Pro Tools is gone) and
  // the field is read all the same.
  if (auto down = checkIfCommunicationIsDown(); down && error != nullptr) {
    *error = *down;
    return std::nullopt;
  }
  if (auto wrong = checkIfTimecodeFormatIsWrong(); wrong && error != nullptr) {
    *error = *wrong;
    return std::nullopt;
  }
  const auto value = UIElementUtilities::valueOfAttribute(zar::ax::kValueAttribute, field);
  const auto* text = value ? value->get<std::string>() : nullptr;
  return text != nullptr ? std::optional(*text) : std::nullopt;
}

std::optional<std::string> ZAR_DAWApplicationProTools::selectionStartTC(ZAR_Error* error) {
  return selectionTC(startTCTextfield(), error);
}

std::optional<std::string> ZAR_DAWApplicationProTools::selectionEndTC(ZAR_Error* error) {
  return selectionTC(endTCTextfield(), error);
}

std::optional<ZAR_Error> ZAR_DAWApplicationProTools::setSelectionTC(const AXUIElementRef& field,
                                                                   const std::optional<std::string>& tc, bool start) {
  if (auto down = checkIfCommunicationIsDown()) return down;
  if (auto wrong = checkIfTimecodeFormatIsWrong()) return wrong;
  // Only a text that reads as timecode is typed: anything else (a line feed would be typed as
  // Return, an endless run of digits would keep the host typing) leaves the counter untouched.
  if (!tc || ZAR_TCHelper::tcTimeFromString(*tc).isInvalid != 0) {
    ZAR_LOG_ERROR("Selection {} not set: \"{}\" is not timecode", start ? "start" : "end",
                  tc ? tc->substr(0, maximumLoggedText) : std::string("(null)"));
    return std::nullopt;
  }
  const auto shown = start ? selectionStartTC() : selectionEndTC();
  if (shown && tc && *shown == *tc) {
    return std::nullopt;
  }
  UIElementUtilities::performAction(zar::ax::kPressAction, field);
  // The blanks that may surround timecode (a carriage return among them) are not typed either.
  std::string digits = *tc;
  digits.erase(std::remove_if(digits.begin(), digits.end(),
                              [](char c) { return c == ':' || std::isspace(static_cast<unsigned char>(c)) != 0; }),
               digits.end());
  sendTextToDAWApplication(digits, false);
  if (auto& box = BlackBox::shared(); box.recording()) {
    box.record(ZAR_DAWPassRecord::Event{
        .kind = ZAR_DAWPassRecord::EventKind::selectionTyped, .text = digits, .detail = start ? "start" : "end"});
  }
  return std::nullopt;
}

std::optional<ZAR_Error> ZAR_DAWApplicationProTools::setSelectionStartTC(const std::optional<std::string>& tc) {
  return setSelectionTC(startTCTextfield(), tc, true);
}

std::optional<ZAR_Error> ZAR_DAWApplicationProTools::setSelectionEndTC(const std::optional<std::string>& tc) {
  return setSelectionTC(endTCTextfield(), tc, false);
}

void ZAR_DAWApplicationProTools::onUIRefreshTimerRanOut(const zar::platform::TimerRef&) {
  if (!connected()) {
    return;
  }
  if (const auto device = huiDevice()) device->keepPortsOpen();
  const auto& center = Platform::current()->notificationCenter;
  findAudioTracks();
  BlackBox::shared().notification(ZAR_DAWApplicationTrackNamesChangedNotification);
  center->post(ZAR_DAWApplicationTrackNamesChangedNotification);

  const TCTime start = ZAR_TCHelper::tcTimeFromString(selectionStartTC().value_or(""));
  const TCTime end = ZAR_TCHelper::tcTimeFromString(selectionEndTC().value_or(""));
  if (comparisonValue(start) == comparisonValue(lastSelectionStartTC()) &&
      comparisonValue(end) == comparisonValue(lastSelectionEndTC())) {
    return;
  }
  setLastSelectionStartTC(start);
  setLastSelectionEndTC(end);
  BlackBox::shared().notification(ZAR_DAWApplicationSelectionChangedNotification);
  center->post(ZAR_DAWApplicationSelectionChangedNotification);
}

// Transport.

void ZAR_DAWApplicationProTools::selectRange(const ZAR_VisualEvent& event, double pause) {
  setSelectionStartTC(event.startTCString());  // errors don't stop the transport
  sleepFor(pause);
  setSelectionEndTC(event.endTCString());
}

void ZAR_DAWApplicationProTools::beginPassRecord(ZAR_DAWMode mode, const ZAR_VisualEvent& event) {
  auto& box = BlackBox::shared();
  if (box.recording()) {
    // The host starts a pass without stopping the last one: that one ends here, with its cue's count.
    const auto previous = currentEvent();
    box.endPass(ZAR_DAWPassRecord::Ending::nextPass, previous ? previous->numRecordedTakes() : -1);
  }
  ZAR_DAWPassRecord start;
  start.mode = mode;
  auto& cue = start.cue;
  cue.cueNumber = event.cueNumber().value_or("");
  const auto character = event.character();
  cue.characterPrefix = character ? character->prefix().value_or("") : "";
  cue.startTC = event.startTCString().value_or("");
  cue.endTC = event.endTCString().value_or("");
  cue.inPointFrameIndex = event.inPointFrameIndex();
  cue.endFrameIndex = event.endFrameIndex();
  cue.recTrackIndex = event.recTrackIndex();
  cue.takesBefore = event.numRecordedTakes();

  // What the framework knows already: the names discovery read, the cached lamps, the matrix.
  const auto matrix = ZAR_DAWApplicationManager::sharedManager()->muteRecMatrix();
  const auto nullMode = ZAR_DAWAudioTrackMode::nullTrackMode();
  const auto tracks = audioTracks();
  start.tracks.reserve(tracks.size());
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    ZAR_DAWPassRecord::Track track;
    track.position = static_cast<std::int32_t>(i);
    track.name = tracks[i]->lastReadName();
    const auto trackMode = modeForPass(*matrix, mode, track.position);
    track.hasMode = trackMode != nullMode;
    if (track.hasMode && trackMode) {
      track.modeName = trackMode->name().value_or("");
      track.states = {trackMode->beforeState(), trackMode->duringState(), trackMode->afterState()};
    }
    track.recEnabled = tracks[i]->recEnabled();
    track.muted = tracks[i]->muted();
    start.tracks.push_back(std::move(track));
  }
  const auto recordTrack = recordTrackOf(event);
  start.recordTrackPosition = recordTrack ? recordTrack->index() : -1;
  box.beginPass(std::move(start));
}

bool ZAR_DAWApplicationProTools::openPass(ZAR_DAWMode mode, const std::shared_ptr<ZAR_VisualEvent>& event) {
  if (!event) {
    return false;
  }
  beginPassRecord(mode, *event);
  refreshHUI();
  sleepFor(zar::protools::transport::kHUIConnectionWait);
  const auto device = huiDevice();
  if (!device || !device->connected()) {
    showHUIUnavailableAlert();
    BlackBox::shared().endPass(ZAR_DAWPassRecord::Ending::huiDown, event->numRecordedTakes());
    return false;
  }
  BlackBox::shared().phase(ZAR_DAWEventPhaseBefore, -1);
  return true;
}

void ZAR_DAWApplicationProTools::rehearseWithEvent(const std::shared_ptr<ZAR_VisualEvent>& event) {
  if (!openPass(ZAR_DAWModeRehearse, event)) return;
  ZAR_DAWApplication::rehearseWithEvent(event);
  updateAudioTracksForMode(ZAR_DAWModeRehearse, ZAR_DAWEventPhaseBefore);
  selectRange(*event, zar::protools::transport::kSelectionPause);
  pressTransportButton(zar::hui::transportPort::play);
}

void ZAR_DAWApplicationProTools::recordWithEvent(const std::shared_ptr<ZAR_VisualEvent>& event) {
  if (!openPass(ZAR_DAWModeRecord, event)) return;
  ZAR_DAWApplication::recordWithEvent(event);

  const auto recordTrack = recordTrackOf(*event);

  const auto& defaults = Platform::current()->userDefaults;
  std::vector<std::string> parts;
  if (defaults->boolForKey(ZAR_DAWAudioTrackNameCharacterPrefixPrefKey)) {
    const auto character = event->character();
    parts.push_back(character ? character->prefix().value_or("") : "");
  }
  if (defaults->boolForKey(ZAR_DAWAudioTrackNameNumRecordsPrefKey)) {
    parts.push_back(std::to_string(event->numRecordedTakes()));
  }
  if (defaults->boolForKey(ZAR_DAWAudioTrackNameCueNumberPrefKey)) {
    parts.push_back(event->cueNumber().value_or(""));
  }
  if (!parts.empty()) {
    if (recordTrack) {
      const std::string name = fmt::format("{}", fmt::join(parts, "_"));
      BlackBox::shared().rename(recordTrack->index(), name, recordTrack->lastReadName());
      recordTrack->setName(name);
    } else {
      // The host should have shown the no-record-track warning instead of recording.
      ZAR_LOG_ERROR("No record track at position {} of {} record tracks; the take is not named",
                    event->recTrackIndex(), recordTracks().size());
    }
  }

  updateAudioTracksForMode(ZAR_DAWModeRecord, ZAR_DAWEventPhaseBefore);
  selectRange(*event, zar::protools::transport::kSelectionPause);
  // Record arms Pro Tools' transport; Play then starts recording.
  pressTransportButton(zar::hui::transportPort::record);
  pressTransportButton(zar::hui::transportPort::play);
  event->setNumRecordedTakes(event->numRecordedTakes() + 1);
}

void ZAR_DAWApplicationProTools::reviewWithEvent(const std::shared_ptr<ZAR_VisualEvent>& event) {
  if (!openPass(ZAR_DAWModeReview, event)) return;
  ZAR_DAWApplication::reviewWithEvent(event);
  updateAudioTracksForMode(ZAR_DAWModeReview, ZAR_DAWEventPhaseBefore);
  selectRange(*event, zar::protools::transport::kReviewSelectionPause);
  pressTransportButton(zar::hui::transportPort::play);
}

void ZAR_DAWApplicationProTools::stopPlayback() {
  const auto event = currentEvent();  // the bookkeeping lets go of it
  ZAR_DAWApplication::stopPlayback();
  // Stop is pressed and the zone selected again, but never released.
  sendHUI(HUICodec::selectSwitchZone(zar::hui::zone::transport));
  sendHUI(HUICodec::switchPort(zar::hui::transportPort::stop, true));
  sendHUI(HUICodec::selectSwitchZone(zar::hui::zone::transport));
  BlackBox::shared().endPass(ZAR_DAWPassRecord::Ending::stopped, event ? event->numRecordedTakes() : -1);
}

void ZAR_DAWApplicationProTools::togglePlayback() {
  const auto platform = Platform::current();
  zar::platform::KeyboardEvent space;
  space.keyCode = zar::platform::KeyboardLayout::spaceKeyCode;
  space.keyDown = true;
  space.flags = zar::platform::EventFlagNone;
  space.timestamp = platform->clock->now();
  platform->eventPoster->postKeyboardEvent(processSerialNumber(), space);
}

// Tracks.

void ZAR_DAWApplicationProTools::findAudioTracks() {
  const auto children = UIElementUtilities::valueOfAttribute(zar::ax::kChildrenAttribute, editWindow());
  auto tracks = audioTracks();
  std::size_t found = 0;
  const auto* list = children ? children->get<AXValueList>() : nullptr;
  _editWindowChildCount.store(list != nullptr ? static_cast<long>(list->size()) : -1);
  if (list != nullptr) {
    for (const AXAttributeValue& entry : *list) {
      const auto* child = entry.get<AXUIElementRef>();
      if (child == nullptr || *child == nullptr) continue;
      const auto title = trackRowTitle(*child);
      if (!title) continue;
      // Track objects are matched to rows by position only.
      if (found < tracks.size()) {
        tracks[found]->setTrackCluster(*child);
      } else {
        tracks.push_back(std::make_shared<ZAR_DAWAudioTrack>(*child));
      }
      tracks[found]->setLastReadName(ZAR_DAWAudioTrack::nameInRowTitle(*title).value_or(""));
      ++found;
    }
  }
  tracks.resize(found);
  // Rows at the same height keep the order in which the window lists them.
  std::stable_sort(tracks.begin(), tracks.end(), [](const auto& a, const auto& b) { return a->yPos() < b->yPos(); });
  auto& box = BlackBox::shared();
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    tracks[i]->setIndex(static_cast<std::int32_t>(i));
    if (box.recording()) box.trackName(static_cast<std::int32_t>(i), tracks[i]->lastReadName());
  }
  setAudioTracks(std::move(tracks));
}

std::shared_ptr<ZAR_DAWAudioTrack> ZAR_DAWApplicationProTools::recordTrackOf(const ZAR_VisualEvent& event) const {
  const auto tracks = recordTracks();
  const std::int32_t index = event.recTrackIndex();
  if (index < 0 || static_cast<std::size_t>(index) >= tracks.size()) {
    return nullptr;
  }
  return tracks[static_cast<std::size_t>(index)];
}

void ZAR_DAWApplicationProTools::updateDAWTrackStatesForFrameIndex(std::int64_t frameIndex) {
  const auto event = currentEvent();
  if (!event) return;
  const ZAR_DAWMode mode = currentMode();
  if (mode == ZAR_DAWModeNone) return;
  // A frame update acts by positions: with a row more or less in the edit window than discovery
  // saw (a track deleted or added), the tracks are found again first. One read per update.
  long rows = 0;
  const auto counted = Platform::current()->accessibility->getAttributeValueCount(editWindow(), zar::ax::kChildrenAttribute, rows);
  if (counted == zar::platform::AXError::success && rows != _editWindowChildCount.load()) {
    ZAR_LOG_INFO("The edit window has {} children instead of {}; finding the tracks again", rows,
                 _editWindowChildCount.load());
    findAudioTracks();
  }
  ZAR_DAWEventPhase phase = ZAR_DAWEventPhaseDuring;
  if (frameIndex < event->inPointFrameIndex()) {
    phase = ZAR_DAWEventPhaseBefore;
  } else if (frameIndex > event->endFrameIndex()) {
    phase = ZAR_DAWEventPhaseAfter;
  }
  BlackBox::shared().phase(phase, frameIndex);
  updateAudioTracksForMode(mode, phase);
}

void ZAR_DAWApplicationProTools::updateAudioTracksForMode(ZAR_DAWMode mode, ZAR_DAWEventPhase phase) {
  const auto event = currentEvent();
  // Looked up once a track that records during the cue asks: a frame of a rehearsal whose modes
  // record nowhere needn't walk every track's record mode (nothing else reads it).
  std::optional<std::shared_ptr<ZAR_DAWAudioTrack>> recordTrack;
  const auto isRecordTrack = [&](const std::shared_ptr<ZAR_DAWAudioTrack>& track) {
    if (!recordTrack) recordTrack = event ? recordTrackOf(*event) : nullptr;
    return track == *recordTrack;
  };
  const auto matrix = ZAR_DAWApplicationManager::sharedManager()->muteRecMatrix();
  const auto nullMode = ZAR_DAWAudioTrackMode::nullTrackMode();

  const auto tracks = audioTracks();
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    const auto& track = tracks[i];
    // The matrix row is the list position (which discovery also makes the track's index).
    const auto position = static_cast<std::int32_t>(i);
    const auto trackMode = modeForPass(*matrix, mode, position);
    if (trackMode == nullMode) {
      continue;  // no mode assigned: the track is left alone
    }
    // A position beyond the matrix has no mode; its states count as Play.
    const ZAR_DAWTrackState before = trackMode ? trackMode->beforeState() : ZAR_DAWTrackStatePlay;
    const ZAR_DAWTrackState during = trackMode ? trackMode->duringState() : ZAR_DAWTrackStatePlay;
    const ZAR_DAWTrackState after = trackMode ? trackMode->afterState() : ZAR_DAWTrackStatePlay;
    const bool recordsDuringCue = during == ZAR_DAWTrackStateRecord;

    if (phase == ZAR_DAWEventPhaseBefore) {
      if (!recordsDuringCue) {
        track->setRecEnabled(false, true);
        applyState(*track, before);
      } else if (isRecordTrack(track)) {
        track->setRecEnabled(true, true);
        applyState(*track, before);
      } else {
        track->setRecEnabled(false, true);
        track->setMuted(false, true);
        track->setInputEnabled(false);
      }
    } else if (phase == ZAR_DAWEventPhaseDuring) {
      if (!recordsDuringCue) {
        applyState(*track, during);
      } else {
        track->setMuted(!isRecordTrack(track), true);
      }
    } else if (recordsDuringCue && !isRecordTrack(track)) {
      track->setMuted(false, true);
      track->setInputEnabled(false);
    } else {
      applyState(*track, after);
    }
  }
  // A row that stopped answering while its state was set (its track deleted): the positions
  // below it are off, so the tracks are found again before the next update acts on them.
  bool vanished = false;
  for (const auto& track : tracks) vanished = track->takeRowVanished() || vanished;
  if (vanished && connected()) {
    ZAR_LOG_INFO("A track row is gone; finding the tracks again");
    findAudioTracks();
  }
}

bool ZAR_DAWApplicationProTools::connected() { return !checkIfCommunicationIsDown().has_value(); }

std::optional<ZAR_Error> ZAR_DAWApplicationProTools::checkIfCommunicationIsDown() {
  const auto start = startTCTextfield();
  const auto answers = [&] { return start && endTCTextfield() && UIElementUtilities::titleOfUIElement(start); };
  if (answers()) {
    return std::nullopt;
  }
  // Pro Tools busy for one read isn't Pro Tools gone: a failed read is confirmed by another.
  if (start && endTCTextfield()) {
    sleepFor(connectionRereadPause);
    if (answers()) {
      ZAR_LOG_WARN("Pro Tools didn't answer once; it answered the second time");
      return std::nullopt;
    }
  }
  setConnected(false);
  return ZAR_Error{ZAR_ErrorDomain, communicationDownErrorCode,
                   "Vantrole can't communicate with Pro Tools. Please make sure the application is opened and a "
                   "session is loaded."};
}

std::optional<ZAR_Error> ZAR_DAWApplicationProTools::checkIfTimecodeFormatIsWrong() {
  // A counter that shows no text can't be showing timecode either.
  const auto value = UIElementUtilities::valueOfAttribute(zar::ax::kValueAttribute, startTCTextfield());
  const auto* text = value ? value->get<std::string>() : nullptr;
  if (text != nullptr && ZAR_TCHelper::tcTimeFromString(*text).isInvalid == 0) {
    return std::nullopt;
  }
  return ZAR_Error{ZAR_ErrorDomain, timecodeFormatWrongErrorCode,
                   "Pro Tools' primary time format is not set to  timecode. Please set it to timecode and try again."};
}

void ZAR_DAWApplicationProTools::showHUIUnavailableAlert() {
  showSuppressibleWarning(
      "Can't establish HUI connection",
      "Can't continue the operation as Pro Tools does not communicate with Vantrole's HUI ports. Please make sure "
      "the correct HUI ports are selected in Pro Tools' Setup->Peripherals->MIDI Controllers. If the right ports are "
      "already selected, opening and closing the Peripherals window will be enough to re-establish a HUI "
      "connection.",
      ZAR_DAWHUINotAvailableSuppression);
}

AXUIElementRef ZAR_DAWApplicationProTools::findEditWindowFromWindowArray(const std::optional<AXAttributeValue>& windows) {
  std::optional<std::string> editTitle;
  auto window = firstWithTitle(windows, [&](const std::string& title) {
    if (title.find(zar::protools::kEditWindowMarker) == std::string::npos) return false;
    editTitle = title;
    return true;
  });
  if (window) {
    // The title less the length of "Edit:": the session name with its leading blank.
    const std::size_t markerLength = std::char_traits<char>::length(zar::protools::kEditWindowMarker);
    setCurrentProject(editTitle->size() > markerLength ? editTitle->substr(markerLength) : std::string());
  }
  return window;
}

AXUIElementRef ZAR_DAWApplicationProTools::findCounterDisplayClusterFromEditWindow(const AXUIElementRef& editWindow) {
  return childTitled(editWindow, zar::protools::kCounterDisplayClusterTitle);
}

AXUIElementRef ZAR_DAWApplicationProTools::findStartTCTextFieldFromCounterDisplayCluster(const AXUIElementRef& cluster) {
  return childTitled(cluster, zar::protools::kEditSelectionStartTitle);
}

AXUIElementRef ZAR_DAWApplicationProTools::findEndTCTextFieldFromCounterDisplayCluster(const AXUIElementRef& cluster) {
  return childTitled(cluster, zar::protools::kEditSelectionEndTitle);
}

AXUIElementRef ZAR_DAWApplicationProTools::startTCTextfield() const {
  std::lock_guard lock(_elementMutex);
  return _startTCTextfield;
}

AXUIElementRef ZAR_DAWApplicationProTools::endTCTextfield() const {
  std::lock_guard lock(_elementMutex);
  return _endTCTextfield;
}

AXUIElementRef ZAR_DAWApplicationProTools::editWindow() const {
  std::lock_guard lock(_elementMutex);
  return _editWindow;
}
