#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "ZAR_DAWControl/platform/Log.h"
#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/midi/ZAR_HUIDeviceDelegate.h"
#include "ZAR_DAWControl/platform/midi/ZAR_MIDIOutput.h"

namespace {
double clockNow() {
  const auto platform = zar::platform::Platform::current();
  return platform->clock ? platform->clock->now() : 0.0;
}

std::string preference(const char* key, const char* fallback) {
  const auto defaults = zar::platform::Platform::current()->userDefaults;
  const auto value = defaults ? defaults->stringForKey(key) : std::nullopt;
  return value && !value->empty() ? *value : std::string(fallback);
}

std::shared_ptr<zar::platform::Clock> platformClock() { return zar::platform::Platform::current()->clock; }
}  // namespace

std::shared_ptr<ZAR_MIDISystem> ZAR_MIDISystem::sharedMIDISystem() {
  // One per installed platform: a process that installs its platform once has one MIDI system
  // for its whole life, and a new platform (a test's) gets its own ports.
  static std::mutex mutex;
  static std::shared_ptr<const zar::platform::Platform> platformOfSystem;
  static std::shared_ptr<ZAR_MIDISystem> shared;

  const auto platform = zar::platform::Platform::current();
  std::lock_guard lock(mutex);
  if (!shared || platformOfSystem != platform) {
    shared = std::make_shared<ZAR_MIDISystem>(platform->midiPorts, huiPortRequestFromPreferences());
    platformOfSystem = platform;
  }
  return shared;
}

zar::platform::MidiPortRequest ZAR_MIDISystem::huiPortRequestFromPreferences() {
  return zar::platform::MidiPortRequest{preference(kBackendPrefKey, kDefaultBackend),
                                        preference(kHUIPortNamePrefKey, kDefaultHUIPortName),
                                        preference(kHUIInputPortPrefKey, ""), preference(kHUIOutputPortPrefKey, "")};
}

double ZAR_MIDISystem::huiBaudRateFromPreferences() {
  const auto defaults = zar::platform::Platform::current()->userDefaults;
  const auto value = defaults ? defaults->objectForKey(kHUIBaudRatePrefKey) : std::nullopt;
  if (!value) {
    return kDefaultHUIBaudRate;
  }
  std::optional<double> rate;
  if (const auto* integer = value->get<std::int64_t>()) {
    rate = static_cast<double>(*integer);
  } else if (const auto* real = value->get<double>()) {
    rate = *real;
  }
  if (!rate || !std::isfinite(*rate) || *rate < 0) {
    ZAR_LOG_WARN("The preference \"{}\" is not a number of bits per second; the HUI output keeps MIDI's {} baud",
                 kHUIBaudRatePrefKey, kDefaultHUIBaudRate);
    return kDefaultHUIBaudRate;
  }
  return *rate;
}

ZAR_MIDISystem::ZAR_MIDISystem(std::shared_ptr<zar::platform::MidiPorts> ports,
                               zar::platform::MidiPortRequest huiRequest, double huiBaudRate)
    : _ports(std::move(ports)),
      _huiRequest(std::move(huiRequest)),
      _huiOutput(std::make_unique<zar::platform::PacedMidiOutput>("HUI output", platformClock(), huiBaudRate,
                                                                  kHUIOutputCapacity, true)),
      _huiSurface([this](std::span<const std::uint8_t> bytes) { return _huiOutput->send(bytes); }) {}

ZAR_MIDISystem::~ZAR_MIDISystem() {
  // What waits for the HUI link leaves at once, and nothing more is taken. Then the ports close,
  // outside the lock: closing waits for a receive callback that uses the surface, which may be
  // sending (and is refused now).
  _huiOutput->close();
  std::shared_ptr<zar::platform::MidiPortPair> pair;
  {
    std::lock_guard lock(_pairMutex);
    pair = std::move(_huiPair);
  }
  pair.reset();
  std::lock_guard lock(_tickMutex);
  if (_tickTimer) {
    _tickTimer->invalidate();
  }
}

std::shared_ptr<ZAR_MIDIOutput> ZAR_MIDISystem::midiOutputForEventType(std::int32_t eventType) {
  if (eventType != kHUIEventType) {
    ZAR_LOG_WARN("No MIDI output for event type {}", eventType);
    return nullptr;
  }
  openHUIPort();
  return std::make_shared<ZAR_MIDIOutput>(shared_from_this());
}

bool ZAR_MIDISystem::openHUIPort() {
  // A pair that stopped working is closed outside both locks: closing waits for a receive
  // callback, which takes them.
  std::shared_ptr<zar::platform::MidiPortPair> broken;
  {
    std::lock_guard pairLock(_pairMutex);
    if (_huiPair && !_huiOutput->failed() && _huiPair->working()) {
      return true;
    }
    if (_huiPair) {
      ZAR_LOG_WARN("The HUI MIDI ports stopped working{}; they are opened again",
                   _huiPair->working() ? "" : " (their MIDI server went away)");
      broken = std::exchange(_huiPair, nullptr);
      _huiOutput->detach();
    }
  }
  broken.reset();
  std::lock_guard lock(_mutex);
  if (huiPortsOpen()) {
    return true;
  }
  if (!_ports) {
    ZAR_LOG_ERROR("No MIDI port backend installed; HUI is unavailable");
    return false;
  }
  std::string error;
  auto pair = _ports->open(
      _huiRequest, [this](std::span<const std::uint8_t> bytes) { receiveHUI(bytes); }, &error);
  if (!pair) {
    // Tried again at every pass and refresh until it works: said once.
    if (!std::exchange(_openFailing, true)) {
      ZAR_LOG_ERROR("Could not open the HUI MIDI ports \"{}\" ({}): {}", _huiRequest.name, _huiRequest.api, error);
    }
    return false;
  }
  _openFailing = false;
  ZAR_LOG_INFO("HUI MIDI ports open: in \"{}\", out \"{}\"", pair->inputName(), pair->outputName());
  std::lock_guard pairLock(_pairMutex);
  _huiPair = std::move(pair);
  _huiOutput->attach(_huiPair);
  return true;
}

bool ZAR_MIDISystem::huiPortsOpen() const {
  std::lock_guard lock(_pairMutex);
  return _huiPair != nullptr;
}

std::shared_ptr<ZAR_MIDISystem::HUIAttachment> ZAR_MIDISystem::attachHUIDevice() {
  openHUIPort();
  auto attachment = std::make_shared<HUIAttachment>();
  std::lock_guard lock(_mutex);
  _attachments.push_back(attachment);
  return attachment;
}

bool ZAR_MIDISystem::huiConnected() const { return _huiSurface.connected(clockNow()); }

bool ZAR_MIDISystem::huiLampsKnown() const { return _huiSurface.lampsKnown(clockNow()); }

void ZAR_MIDISystem::setHUITrackCount(int count, const std::shared_ptr<ZAR_HUIDeviceDelegate>& delegate) {
  {
    std::lock_guard delivery(_deliveryMutex);
    deliver(_huiSurface.setTrackCount(count, clockNow()), delegatesOf(liveAttachments()));
    if (delegate) {
      deliver(_huiSurface.knownLamps(), {delegate});
    }
  }
  scheduleTick();
}

std::uint64_t ZAR_MIDISystem::huiPingCount() const { return _huiSurface.pingCount(); }

bool ZAR_MIDISystem::pressHUIStripPort(int track, std::uint8_t port) {
  if (!huiPortsOpen()) {
    return false;
  }
  const bool pressed = _huiSurface.pressStripPort(track, port, clockNow());
  scheduleTick();
  return pressed;
}

bool ZAR_MIDISystem::sendHUIMessage(std::span<const std::uint8_t> message) {
  return huiPortsOpen() && _huiSurface.sendForeign(message);
}

zar::platform::PacedMidiOutput::Counts ZAR_MIDISystem::huiOutputCounts() const { return _huiOutput->counts(); }

void ZAR_MIDISystem::waitUntilHUIOutputSent(const std::function<void()>& waitForDelivery) {
  do {
    _huiOutput->waitUntilSent();
    if (waitForDelivery) waitForDelivery();
  } while (waitForDelivery && _huiOutput->counts().queued > 0);
}

std::string ZAR_MIDISystem::huiPortDescription() const {
  std::lock_guard lock(_pairMutex);
  const auto& pair = _huiPair;
  return pair ? "in \"" + pair->inputName() + "\", out \"" + pair->outputName() + "\"" : std::string();
}

std::vector<std::shared_ptr<ZAR_MIDISystem::HUIAttachment>> ZAR_MIDISystem::liveAttachments() {
  std::lock_guard lock(_mutex);
  std::vector<std::shared_ptr<HUIAttachment>> live;
  std::vector<std::weak_ptr<HUIAttachment>> kept;
  for (const auto& weak : _attachments) {
    if (auto attachment = weak.lock()) {
      live.push_back(std::move(attachment));
      kept.push_back(weak);
    }
  }
  _attachments.swap(kept);
  return live;
}

void ZAR_MIDISystem::receiveHUI(std::span<const std::uint8_t> bytes) {
  // A delegate told here may let go of the last owner of this system on this thread; the system
  // then goes when this call is over, not in the middle of it.
  const auto keepAlive = weak_from_this().lock();
  {
    std::lock_guard delivery(_deliveryMutex);
    const auto attachments = liveAttachments();
    deliver(_huiSurface.receive(bytes, clockNow(), !attachments.empty()), delegatesOf(attachments));
  }
  scheduleTick();
}

ZAR_MIDISystem::Delegates ZAR_MIDISystem::delegatesOf(const std::vector<std::shared_ptr<HUIAttachment>>& attachments) {
  // An old device and its replacement usually share the delegate: tell it once.
  Delegates delegates;
  for (const auto& attachment : attachments) {
    std::shared_ptr<ZAR_HUIDeviceDelegate> delegate;
    {
      std::lock_guard lock(attachment->mutex);
      delegate = attachment->delegate.lock();
    }
    if (delegate && std::find(delegates.begin(), delegates.end(), delegate) == delegates.end()) {
      delegates.push_back(std::move(delegate));
    }
  }
  return delegates;
}

void ZAR_MIDISystem::deliver(const std::vector<zar::hui::HUISurface::Change>& changes, const Delegates& delegates) {
  for (const auto& change : changes) {
    for (const auto& delegate : delegates) {
      if (change.lamp == zar::hui::HUILamp::mute) {
        delegate->huiDeviceMuteStateChangedForChannel(change.track, change.on);
      } else {
        delegate->huiDeviceRecordStateChangedForChannel(change.track, change.on);
      }
    }
  }
}

void ZAR_MIDISystem::scheduleTick() {
  const auto deadline = _huiSurface.nextDeadline();
  if (!deadline) {
    return;
  }
  std::lock_guard lock(_tickMutex);
  if (_tickTimer && _tickTimer->isValid() && _tickDeadline <= *deadline) {
    return;
  }
  const auto runLoop = zar::platform::Platform::current()->mainRunLoop;
  if (!runLoop) {
    return;  // changes then wait for the next MIDI message
  }
  if (_tickTimer) {
    _tickTimer->invalidate();
  }
  _tickDeadline = *deadline;
  std::weak_ptr<ZAR_MIDISystem> weak = weak_from_this();
  _tickTimer = runLoop->scheduleRepeatingTimer(std::max(*deadline - clockNow(), 0.0), [weak] {
    if (const auto system = weak.lock()) {
      system->onTick();
    }
  });
}

void ZAR_MIDISystem::onTick() {
  {
    std::lock_guard lock(_tickMutex);
    if (_tickTimer) {
      _tickTimer->invalidate();
      _tickTimer.reset();
    }
  }
  {
    std::lock_guard delivery(_deliveryMutex);
    deliver(_huiSurface.tick(clockNow()), delegatesOf(liveAttachments()));
  }
  scheduleTick();
}
