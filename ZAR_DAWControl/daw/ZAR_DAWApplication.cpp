#include "ZAR_DAWControl/daw/ZAR_DAWApplication.h"

#include <stdexcept>

#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackMode.h"
#include "ZAR_DAWControl/passes/BlackBox.h"
#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"
#include "ZAR_DAWControl/platform/utility/TypingScript.h"
#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/protools/ZAR_DAWApplicationProTools.h"
#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"

using zar::platform::Platform;

namespace {

constexpr double uiRefreshInterval = 3.0;
/// The combined session state of the keyboard event source.
constexpr std::int32_t combinedSessionState = 1;

ZAR_Error notImplementedError() { return ZAR_Error{ZAR_ErrorDomain, 0, "Not implemented"}; }

}  // namespace

std::shared_ptr<ZAR_DAWApplication> ZAR_DAWApplication::createWithType(
    ZAR_DAWApplicationType type, zar::platform::RunningApplicationRef runningApplication) {
  if (type != ZAR_DAWApplicationTypeProTools) {
    return nullptr;
  }
  auto application = std::make_shared<ZAR_DAWApplicationProTools>();
  if (!application->initWithRunningApplication(std::move(runningApplication))) {
    return nullptr;  // dropping it stops its timer and ends its observation
  }
  return application;
}

ZAR_DAWApplication::ZAR_DAWApplication() = default;

ZAR_DAWApplication::~ZAR_DAWApplication() {
  pausePeriodicUIRefreshes();
  _timingObservation.reset();
}

bool ZAR_DAWApplication::initWithRunningApplication(zar::platform::RunningApplicationRef runningApplication) {
  const auto platform = Platform::current();

  {
    auto timer = makeUIRefreshTimer();
    std::lock_guard lock(_propertyMutex);
    _uiRefreshTimer = std::move(timer);
  }
  setLastSelectionStartTC(TCTimeInvalid);
  setLastSelectionEndTC(TCTimeInvalid);
  setConnected(true);
  refreshHUI();

  const std::int32_t pid = runningApplication ? runningApplication->processIdentifier : 0;
  zar::platform::ProcessSerialNumber psn;
  platform->workspace->getProcessForPID(pid, psn);  // a failed lookup leaves the number zero
  {
    std::lock_guard lock(_propertyMutex);
    _runningApplication = std::move(runningApplication);
    _processIdentifier = pid;
    _processSerialNumber = psn;
  }

  std::weak_ptr<ZAR_DAWApplication> weakSelf = weak_from_this();
  _timingObservation = zar::platform::NotificationObservation(
      platform->notificationCenter, std::string(ZAR_VisualEventTimingDidChangeNotification),
      [weakSelf](const zar::platform::Notification& notification) {
        if (auto self = weakSelf.lock()) self->onEventTimingDidChange(notification);
      });

  auto source = platform->eventPoster->createEventSource(combinedSessionState);
  std::lock_guard lock(_propertyMutex);
  _eventSource = std::move(source);
  return true;
}

zar::platform::TimerRef ZAR_DAWApplication::makeUIRefreshTimer() {
  std::weak_ptr<ZAR_DAWApplication> weakSelf = weak_from_this();
  return Platform::current()->mainRunLoop->scheduleRepeatingTimer(uiRefreshInterval, [weakSelf] {
    if (auto self = weakSelf.lock()) self->onUIRefreshTimerRanOut(self->uiRefreshTimer());
  });
}

// Class operations.

const std::map<std::string, std::int32_t>& ZAR_DAWApplication::keyCodeMap() {
  // Built once, safely from any thread, from the keyboard layout (the digit keys' codes are not in
  // numeric order).
  static const std::map<std::string, std::int32_t> map = [] {
    std::map<std::string, std::int32_t> digits;
    for (char digit = '0'; digit <= '9'; ++digit) {
      digits[std::string(1, digit)] = zar::platform::KeyboardLayout::keyCodeForCharacter(digit)->keyCode;
    }
    return digits;
  }();
  return map;
}

void ZAR_DAWApplication::registerUserDefaults() {
  Platform::current()->userDefaults->registerDefaults({
      {ZAR_DAWSelectEventOnListSelectionPrefKey, true},
      {ZAR_DAWAssignRecordTracksAutomaticallyPrefKey, true},
      {ZAR_DAWKeepPassLogPrefKey, true},
  });
}

namespace {
// Tells the black box of a pass in progress of a warning, `shown` or suppressed.
void recordWarning(const std::string& messageText, const std::string& informativeText, bool shown) {
  auto& box = zar::passes::BlackBox::shared();
  if (!box.recording()) return;
  box.record(ZAR_DAWPassRecord::Event{.kind = ZAR_DAWPassRecord::EventKind::warning,
                                      .on = shown,
                                      .text = messageText,
                                      .detail = informativeText});
}
}  // namespace

void ZAR_DAWApplication::showSuppressibleWarning(const std::string& messageText,
                                                 const std::string& informativeText, const char* suppressionKey) {
  const auto platform = Platform::current();
  const bool suppressed = platform->userDefaults->boolForKey(suppressionKey);
  recordWarning(messageText, informativeText, !suppressed);
  if (suppressed) {
    return;
  }
  zar::platform::AlertRequest request;
  request.messageText = messageText;
  request.informativeText = informativeText;
  request.defaultButton = "OK";
  request.showsSuppressionButton = true;
  request.suppressionButtonTitle = "Don't show this again";
  request.suppressionButtonChecked = false;
  platform->dispatch->onMainThread([platform, request, key = std::string(suppressionKey)] {
    const auto response = platform->alerts->runModal(request);
    platform->userDefaults->setBool(response.suppressionButtonChecked, key);
  });
}

void ZAR_DAWApplication::showDAWNotAvailableWarning() {
  showSuppressibleWarning(
      "Can't establish DAW connection",
      "Can't continue the operation as either the DAW is not opened or no valid session is loaded.",
      ZAR_DAWNotAvailableSuppression);
}

void ZAR_DAWApplication::showNoRecTrackSelectedWarning() {
  const auto platform = Platform::current();
  zar::platform::AlertRequest request;
  request.messageText = "Can't start recording";
  request.informativeText =
      "Can't continue the operation as no record track is selected for the selected take. Select a record "
      "track from the dropdown menu in the table and try again.";
  request.defaultButton = "OK";
  recordWarning(request.messageText, request.informativeText, true);
  platform->dispatch->onMainThread([platform, request] { platform->alerts->runModal(request); });
}

// Properties.

ZAR_DAWApplicationType ZAR_DAWApplication::type() const {
  std::lock_guard lock(_propertyMutex);
  return _type;
}

void ZAR_DAWApplication::setType(ZAR_DAWApplicationType type) {
  std::lock_guard lock(_propertyMutex);
  _type = type;
}

std::int32_t ZAR_DAWApplication::processIdentifier() const {
  std::lock_guard lock(_propertyMutex);
  return _processIdentifier;
}

zar::platform::ProcessSerialNumber ZAR_DAWApplication::processSerialNumber() const {
  std::lock_guard lock(_propertyMutex);
  return _processSerialNumber;
}

zar::platform::RunningApplicationRef ZAR_DAWApplication::runningApplication() const {
  std::lock_guard lock(_propertyMutex);
  return _runningApplication;
}

std::optional<std::string> ZAR_DAWApplication::name() const {
  std::lock_guard lock(_propertyMutex);
  return _name;
}

void ZAR_DAWApplication::setName(std::optional<std::string> name) {
  std::lock_guard lock(_propertyMutex);
  _name = std::move(name);
}

std::optional<std::string> ZAR_DAWApplication::versionString() const {
  std::lock_guard lock(_propertyMutex);
  return _versionString;
}

void ZAR_DAWApplication::setVersionString(std::optional<std::string> version) {
  std::lock_guard lock(_propertyMutex);
  _versionString = std::move(version);
}

std::int32_t ZAR_DAWApplication::majorVersion() const {
  std::lock_guard lock(_propertyMutex);
  return _majorVersion;
}

void ZAR_DAWApplication::setMajorVersion(std::int32_t version) {
  std::lock_guard lock(_propertyMutex);
  _majorVersion = version;
}

std::optional<std::string> ZAR_DAWApplication::currentProject() const {
  std::lock_guard lock(_propertyMutex);
  return _currentProject;
}

void ZAR_DAWApplication::setCurrentProject(std::optional<std::string> project) {
  std::lock_guard lock(_propertyMutex);
  _currentProject = std::move(project);
}

std::shared_ptr<ZAR_HUIDevice> ZAR_DAWApplication::huiDevice() const {
  std::lock_guard lock(_propertyMutex);
  return _huiDevice;
}

bool ZAR_DAWApplication::readyForPass() const {
  const auto device = huiDevice();
  return device && device->lampsKnown();
}

bool ZAR_DAWApplication::connected() {
  std::lock_guard lock(_propertyMutex);
  return _connected;
}

void ZAR_DAWApplication::setConnected(bool connected) {
  std::lock_guard lock(_propertyMutex);
  _connected = connected;
}

std::vector<std::shared_ptr<ZAR_DAWAudioTrack>> ZAR_DAWApplication::audioTracks() const {
  std::lock_guard lock(_propertyMutex);
  return _audioTracks;
}

void ZAR_DAWApplication::setAudioTracks(std::vector<std::shared_ptr<ZAR_DAWAudioTrack>> tracks) {
  const auto count = static_cast<std::int32_t>(tracks.size());
  std::shared_ptr<ZAR_HUIDevice> device;
  {
    std::lock_guard lock(_propertyMutex);
    _audioTracks = std::move(tracks);
    device = _huiDevice;
  }
  // The track count lets the HUI device learn every track's lamps, and new track objects learn
  // at once what it knows.
  if (device) {
    device->setTrackCount(count);
  }
}

std::vector<std::shared_ptr<ZAR_DAWAudioTrack>> ZAR_DAWApplication::recordTracks() const {
  std::vector<std::shared_ptr<ZAR_DAWAudioTrack>> tracks;
  for (auto& track : audioTracks()) {
    const auto mode = track->recordMode();
    if (mode && mode->duringState() == ZAR_DAWTrackStateRecord) {
      tracks.push_back(std::move(track));
    }
  }
  return tracks;
}

zar::platform::AXUIElementRef ZAR_DAWApplication::appRootElement() const {
  std::lock_guard lock(_propertyMutex);
  return _appRootElement;
}

void ZAR_DAWApplication::setAppRootElement(zar::platform::AXUIElementRef element) {
  std::lock_guard lock(_propertyMutex);
  _appRootElement = std::move(element);
}

TCTime ZAR_DAWApplication::lastSelectionStartTC() const {
  std::lock_guard lock(_propertyMutex);
  return _lastSelectionStartTC;
}

void ZAR_DAWApplication::setLastSelectionStartTC(TCTime tc) {
  std::lock_guard lock(_propertyMutex);
  _lastSelectionStartTC = tc;
}

TCTime ZAR_DAWApplication::lastSelectionEndTC() const {
  std::lock_guard lock(_propertyMutex);
  return _lastSelectionEndTC;
}

void ZAR_DAWApplication::setLastSelectionEndTC(TCTime tc) {
  std::lock_guard lock(_propertyMutex);
  _lastSelectionEndTC = tc;
}

zar::platform::TimerRef ZAR_DAWApplication::uiRefreshTimer() const {
  std::lock_guard lock(_propertyMutex);
  return _uiRefreshTimer;
}

std::shared_ptr<ZAR_VisualEvent> ZAR_DAWApplication::currentEvent() const {
  std::lock_guard lock(_propertyMutex);
  return _currentEvent.lock();
}

ZAR_DAWMode ZAR_DAWApplication::currentMode() const {
  std::lock_guard lock(_propertyMutex);
  return _currentMode;
}

zar::platform::EventSourceRef ZAR_DAWApplication::eventSource() const {
  std::lock_guard lock(_propertyMutex);
  return _eventSource;
}

// Selection timecode: the driver's.

std::optional<std::string> ZAR_DAWApplication::selectionStartTC(ZAR_Error* error) {
  if (error != nullptr) *error = notImplementedError();
  return std::string();
}

std::optional<std::string> ZAR_DAWApplication::selectionEndTC(ZAR_Error* error) {
  if (error != nullptr) *error = notImplementedError();
  return std::string();
}

std::optional<ZAR_Error> ZAR_DAWApplication::setSelectionStartTC(const std::optional<std::string>&) {
  return notImplementedError();
}

std::optional<ZAR_Error> ZAR_DAWApplication::setSelectionEndTC(const std::optional<std::string>&) {
  return notImplementedError();
}

// Passes.

void ZAR_DAWApplication::rehearseWithEvent(const std::shared_ptr<ZAR_VisualEvent>& event) {
  std::lock_guard access(_accessLock);
  std::lock_guard lock(_propertyMutex);
  _currentEvent = event;
  _currentMode = ZAR_DAWModeRehearse;
}

void ZAR_DAWApplication::recordWithEvent(const std::shared_ptr<ZAR_VisualEvent>& event) {
  std::lock_guard access(_accessLock);
  {
    std::lock_guard lock(_propertyMutex);
    _currentEvent = event;
    _currentMode = ZAR_DAWModeRecord;
  }
  zar::passes::BlackBox::shared().notification(ZAR_DAWApplicationRecordStartedNotification);
  Platform::current()->notificationCenter->post(ZAR_DAWApplicationRecordStartedNotification);
}

void ZAR_DAWApplication::reviewWithEvent(const std::shared_ptr<ZAR_VisualEvent>& event) {
  std::lock_guard access(_accessLock);
  std::lock_guard lock(_propertyMutex);
  _currentEvent = event;
  _currentMode = ZAR_DAWModeReview;
}

void ZAR_DAWApplication::stopPlayback() {
  std::lock_guard access(_accessLock);
  std::lock_guard lock(_propertyMutex);
  _currentEvent.reset();
  _currentMode = ZAR_DAWModeNone;
}

void ZAR_DAWApplication::togglePlayback() {}

bool ZAR_DAWApplication::playing() const { return false; }

void ZAR_DAWApplication::updateDAWTrackStatesForFrameIndex(std::int64_t) {
  throw std::logic_error("ZAR_DAWApplication::updateDAWTrackStatesForFrameIndex must be provided by the driver");
}

// Periodic UI refresh.

void ZAR_DAWApplication::pausePeriodicUIRefreshes() {
  zar::platform::TimerRef timer;
  {
    std::lock_guard lock(_propertyMutex);
    timer = std::move(_uiRefreshTimer);
    _uiRefreshTimer = nullptr;
  }
  if (timer) timer->invalidate();
}

void ZAR_DAWApplication::resumePeriodicUIRefreshes() {
  if (uiRefreshTimer()) return;
  auto timer = makeUIRefreshTimer();
  std::lock_guard lock(_propertyMutex);
  if (_uiRefreshTimer) {
    timer->invalidate();  // another thread resumed first: keep exactly one timer
  } else {
    _uiRefreshTimer = std::move(timer);
  }
}

void ZAR_DAWApplication::onUIRefreshTimerRanOut(const zar::platform::TimerRef&) {
  throw std::logic_error("ZAR_DAWApplication::onUIRefreshTimerRanOut: must be provided by the driver");
}

// HUI.

void ZAR_DAWApplication::refreshHUI() {
  auto device = std::make_shared<ZAR_HUIDevice>();
  device->setDelegate(std::static_pointer_cast<ZAR_HUIDeviceDelegate>(shared_from_this()));
  std::size_t trackCount = 0;
  {
    std::lock_guard lock(_propertyMutex);
    _huiDevice = device;
    trackCount = _audioTracks.size();
  }
  // Before a pass: the tracks' cached flags take what the device knows of the lamps.
  if (trackCount > 0) {
    device->setTrackCount(static_cast<std::int32_t>(trackCount));
  }
}

void ZAR_DAWApplication::huiDeviceMuteStateChangedForChannel(std::int32_t channel, bool value) {
  zar::passes::BlackBox::shared().trackLamp(channel, false, value);
  const auto tracks = audioTracks();
  // One unsigned comparison rejects negative channels and channels past the last track.
  if (static_cast<std::uint32_t>(channel) < tracks.size()) {
    tracks[static_cast<std::size_t>(channel)]->setMuted(value, false);
  }
}

void ZAR_DAWApplication::huiDeviceRecordStateChangedForChannel(std::int32_t channel, bool value) {
  zar::passes::BlackBox::shared().trackLamp(channel, true, value);
  const auto tracks = audioTracks();
  if (static_cast<std::uint32_t>(channel) < tracks.size()) {
    tracks[static_cast<std::size_t>(channel)]->setRecEnabled(value, false);
  }
}

void ZAR_DAWApplication::onEventTimingDidChange(const zar::platform::Notification& notification) {
  const auto* event = std::any_cast<std::shared_ptr<ZAR_VisualEvent>>(&notification.object);
  if (event == nullptr || *event == nullptr) {
    return;
  }
  if (!Platform::current()->userDefaults->boolForKey(ZAR_DAWSelectEventOnListSelectionPrefKey)) {
    return;
  }
  setSelectionStartTC((*event)->startTCString());
  setSelectionEndTC((*event)->endTCString());
}

// Typing into the DAW.

void ZAR_DAWApplication::sendTextToDAWApplication(const std::string& text, bool useAppleScript) {
  const auto platform = Platform::current();
  if (useAppleScript) {
    platform->appleScript->execute(zar::platform::TypingScript::compose(text));  // the result is of no use to the caller
    return;
  }
  if (type() != ZAR_DAWApplicationTypeProTools) {
    return;
  }
  const auto psn = processSerialNumber();
  const auto source = eventSource();
  auto& events = *platform->eventPoster;
  auto& clock = *platform->clock;

  if (majorVersion() < 11) {
    const auto post = [&](std::uint16_t keyCode) {
      for (const bool down : {true, false}) {
        zar::platform::KeyboardEvent event;
        event.keyCode = keyCode;
        event.keyDown = down;
        event.flags = zar::platform::EventFlagNone;  // no modifier, whatever the user holds
        event.source = source;
        events.postKeyboardEvent(psn, event);
      }
      clock.sleep(keystrokePause);
    };
    const auto& map = keyCodeMap();
    for (const char c : text) {
      // Only the digits have key codes here; every other character is skipped without a pause.
      if (const auto it = map.find(std::string(1, c)); it != map.end()) {
        post(static_cast<std::uint16_t>(it->second));
      }
    }
    post(zar::platform::KeyboardLayout::returnKeyCode);
    return;
  }

  for (auto event : zar::platform::KeyboardLayout::keyEventsForText(text, true)) {
    event.source = source;
    events.postKeyboardEvent(psn, event);
    clock.sleep(keystrokePause);
  }
}
