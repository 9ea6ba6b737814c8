// A host that only watches: prints every notification of the framework for ten seconds of the
// simulated Pro Tools, which quits half way.
#include <ZAR_DAWControl/ZAR_DAWControl.h>
#include <ZAR_DAWControl/platform/default/SimulatedProToolsHost.h>

#include <cstdio>
#include <filesystem>
#include <mutex>

int main() {
  zar::platform::SimulatedProToolsHost::Options options;
  options.virtualTime = true;
  options.supportDirectory = (std::filesystem::temp_directory_path() / "zar-watch").string();
  zar::platform::SimulatedProToolsHost studio(options);
  const auto clock = studio.platform()->clock;
  const double start = clock->now();

  // Notifications arrive on the thread that caused them: print under a lock.
  std::mutex printing;
  int count = 0;
  zar::platform::NotificationObservation observation(
      studio.platform()->notificationCenter, std::nullopt, [&](const zar::platform::Notification& notification) {
        std::lock_guard lock(printing);
        std::printf("[%7.3f] %s\n", clock->now() - start, notification.name.c_str());
        ++count;
      });

  const auto manager = ZAR_DAWApplicationManager::sharedManager();
  manager->setAllowed(true);
  manager->setEnabled(true);
  studio.runFor(5);
  studio.quitProTools();
  studio.runFor(5);
  manager->setEnabled(false);
  return count >= 2 ? 0 : 1;  // at least added and removed
}
