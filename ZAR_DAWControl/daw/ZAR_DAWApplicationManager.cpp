#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"

#include "ZAR_DAWControl/platform/Log.h"

#include <filesystem>
#include <utility>

#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/modes/SettingsFile.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/passes/BlackBox.h"
#include "ZAR_DAWControl/passes/PassLog.h"
#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/protools/ProToolsUI.h"
#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"

using zar::platform::Platform;

using zar::passes::BlackBox;

namespace {
constexpr double discoveryInterval = 2.5;

void post(const std::shared_ptr<const Platform>& platform, const char* name) {
  BlackBox::shared().notification(name);
  platform->notificationCenter->post(name);
}

// The framework lets go of `application`: a pass in progress, which was driving it, ends.
void endPassOf(const std::shared_ptr<ZAR_DAWApplication>& application) {
  auto& box = BlackBox::shared();
  if (!box.recording()) return;
  const auto event = application ? application->currentEvent() : nullptr;
  box.endPass(ZAR_DAWPassRecord::Ending::proToolsGone, event ? event->numRecordedTakes() : -1);
}
}  // namespace

std::shared_ptr<ZAR_DAWApplicationManager> ZAR_DAWApplicationManager::sharedManager() {
  static std::mutex mutex;
  static std::shared_ptr<const Platform> platformOfManager;
  static std::shared_ptr<ZAR_DAWApplicationManager> manager;

  const auto platform = Platform::current();
  // What the settings files show at the set-up is posted once the lock is released, so that an
  // observer may ask for the manager.
  const zar::modes::SettingsFile::HeldStatuses held;
  std::lock_guard lock(mutex);
  if (!manager || platformOfManager != platform) {
    manager = std::shared_ptr<ZAR_DAWApplicationManager>(new ZAR_DAWApplicationManager());
    platformOfManager = platform;
  }
  return manager;
}

ZAR_DAWApplicationManager::ZAR_DAWApplicationManager() {
  ZAR_DAWApplication::registerUserDefaults();
  ZAR_DAWAudioTrack::registerUserDefaults();
  auto list = std::make_shared<ZAR_DAWAudioTrackModeList>();
  auto matrix = std::make_shared<ZAR_DAWMuteRecMatrix>(list);
  _trackModeList = std::move(list);
  _muteRecMatrix = std::move(matrix);

  const auto platform = Platform::current();
  _passLog = std::make_shared<zar::passes::PassLog>(
      platform->fileUtility,
      (std::filesystem::path(platform->fileUtility->applicationSupportDirectoryPath()) / zar::passes::PassLog::kFileName)
          .string());
  // The black box outlives every manager; a manager's log leaves with the manager.
  BlackBox::shared().setSink([log = std::weak_ptr(_passLog), defaults = platform->userDefaults](
                                 std::shared_ptr<const ZAR_DAWPassRecord> record) {
    const auto passLog = log.lock();
    if (passLog && defaults->boolForKey(ZAR_DAWKeepPassLogPrefKey)) passLog->append(std::move(record));
  });
}

ZAR_DAWApplicationManager::~ZAR_DAWApplicationManager() { stopRefreshingDAWApplications(); }

std::shared_ptr<ZAR_DAWApplication> ZAR_DAWApplicationManager::currentApplication() const {
  std::lock_guard lock(_propertyMutex);
  return _currentApplication;
}

std::shared_ptr<ZAR_DAWMuteRecMatrix> ZAR_DAWApplicationManager::muteRecMatrix() const {
  std::lock_guard lock(_propertyMutex);
  return _muteRecMatrix;
}

std::shared_ptr<ZAR_DAWAudioTrackModeList> ZAR_DAWApplicationManager::trackModeList() const {
  std::lock_guard lock(_propertyMutex);
  return _trackModeList;
}

std::vector<ZAR_DAWSettingsFileStatus> ZAR_DAWApplicationManager::settingsFileStatuses() const {
  std::vector<ZAR_DAWSettingsFileStatus> statuses = trackModeList()->settingsFileStatuses();
  const auto matrix = muteRecMatrix()->settingsFileStatuses();
  statuses.insert(statuses.end(), matrix.begin(), matrix.end());
  return statuses;
}

std::vector<std::shared_ptr<const ZAR_DAWPassRecord>> ZAR_DAWApplicationManager::recentPassRecords() const {
  return BlackBox::shared().recentRecords();
}

void ZAR_DAWApplicationManager::flushPassLog() const { _passLog->flush(); }

zar::platform::TimerRef ZAR_DAWApplicationManager::refreshTimer() const {
  std::lock_guard lock(_propertyMutex);
  return _refreshTimer;
}

void ZAR_DAWApplicationManager::setEnabled(bool enabled) {
  if (enabled == _enabled.load()) {
    return;
  }
  const auto platform = Platform::current();
  if (enabled) {
    if (!_allowed.load()) {
      return;
    }
    _enabled.store(true);
    startRefreshingDAWApplications();
    auto& helper = *platform->accessibilityHelper;
    if (!helper.checkIfAccessibilityIsAvailable()) {
      platform->dispatch->onMainThread([platform] { platform->accessibilityHelper->askUserToActivateAccessibility(); });
    }
    if (!helper.checkIfAccessibilityIsAvailable()) {
      refreshDAWs();
    }
    return;
  }

  _enabled.store(false);
  stopRefreshingDAWApplications();
  std::shared_ptr<ZAR_DAWApplication> dropped;
  {
    std::lock_guard lock(_propertyMutex);
    ++_generation;  // a pass under way installs nothing any more
    if (_announcing) {
      // A pass is telling observers about the application; it drops it once they have heard.
      _dropPending = true;
      return;
    }
    dropped = std::exchange(_currentApplication, nullptr);
  }
  if (dropped) {
    post(platform, ZAR_DAWApplicationRemovedNotification);
    endPassOf(dropped);
  }
}

void ZAR_DAWApplicationManager::startRefreshingDAWApplications() {
  {
    std::lock_guard lock(_propertyMutex);
    if (_refreshTimer) {
      return;
    }
    std::weak_ptr<ZAR_DAWApplicationManager> weakSelf = weak_from_this();
    _refreshTimer = Platform::current()->mainRunLoop->scheduleRepeatingTimer(discoveryInterval, [weakSelf] {
      if (auto self = weakSelf.lock()) self->onRefreshDAWTimerRanOut(self->refreshTimer());
    });
  }
  refreshDAWs();
}

void ZAR_DAWApplicationManager::stopRefreshingDAWApplications() {
  zar::platform::TimerRef timer;
  {
    std::lock_guard lock(_propertyMutex);
    timer = std::move(_refreshTimer);
    _refreshTimer = nullptr;
  }
  if (timer) timer->invalidate();
}

void ZAR_DAWApplicationManager::onRefreshDAWTimerRanOut(const zar::platform::TimerRef&) {
  // The queued pass keeps the manager alive until it has run. A tick's pass that comes to run
  // after the manager was disabled must not attach again.
  Platform::current()->dispatch->async([self = shared_from_this()] {
    if (self->enabled()) self->refreshDAWs();
  });
}

void ZAR_DAWApplicationManager::refreshDAWs() {
  std::uint64_t generation = 0;
  {
    std::lock_guard lock(_propertyMutex);
    if (_passRunning) {
      return;  // the pass under way does the work
    }
    _passRunning = true;
    generation = _generation;
  }
  struct PassEnd {
    ZAR_DAWApplicationManager& manager;
    ~PassEnd() {
      std::lock_guard lock(manager._propertyMutex);
      manager._passRunning = false;
    }
  } passEnd{*this};

  const auto platform = Platform::current();
  if (const auto current = currentApplication()) {
    if (current->connected()) {
      return;
    }
    {
      std::lock_guard lock(_propertyMutex);
      if (_currentApplication != current) {
        return;  // disabling dropped it meanwhile, and announced it
      }
      _announcing = true;
    }
    ZAR_LOG_WARN("Pro Tools (process {}) can no longer be reached; it is looked for again every {} s",
                 current->processIdentifier(), discoveryInterval);
    // Observers of the removal still find the old application current.
    post(platform, ZAR_DAWApplicationRemovedNotification);
    endPassOf(current);
    std::lock_guard lock(_propertyMutex);
    _announcing = false;
    _dropPending = false;  // what disabling would drop is gone and announced
    _currentApplication = nullptr;
    if (generation != _generation) {
      return;
    }
  }

  const auto running = scanOpenApplicationsForType(ZAR_DAWApplicationTypeProTools);
  if (!running) {
    return;
  }
  auto application = ZAR_DAWApplication::createWithType(ZAR_DAWApplicationTypeProTools, running);
  if (!application) {
    return;
  }
  const auto found = application;
  {
    std::lock_guard lock(_propertyMutex);
    if (generation != _generation) {
      return;  // disabled while the application was being made
    }
    _currentApplication = std::move(application);
    _announcing = true;
  }
  ZAR_LOG_INFO("Pro Tools {} found (process {})", found->versionString().value_or("?"), found->processIdentifier());
  post(platform, ZAR_DAWApplicationAddedNotification);
  std::shared_ptr<ZAR_DAWApplication> dropped;
  {
    std::lock_guard lock(_propertyMutex);
    _announcing = false;
    if (std::exchange(_dropPending, false)) {
      dropped = std::exchange(_currentApplication, nullptr);
    }
  }
  if (dropped) {
    // Disabled while observers heard of the application: they now hear it is gone, finding none.
    post(platform, ZAR_DAWApplicationRemovedNotification);
    endPassOf(dropped);
  }
}

zar::platform::RunningApplicationRef ZAR_DAWApplicationManager::scanOpenApplicationsForType(
    ZAR_DAWApplicationType type) {
  if (type != ZAR_DAWApplicationTypeProTools) {
    return nullptr;
  }
  for (auto& application : Platform::current()->workspace->runningApplications()) {
    const auto& identifier = application->bundleIdentifier;
    if (identifier && (*identifier == zar::protools::kBundleIdentifier ||
                       *identifier == zar::protools::kLegacyBundleIdentifier)) {
      return application;
    }
  }
  return nullptr;
}
