#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackMode.h"
#include "ZAR_DAWControl/platform/NotificationObservation.h"
#include "ZAR_DAWControl/platform/sim/SimProTools.h"
#include "ZAR_DAWControl/protools/ZAR_DAWApplicationProTools.h"
#include "support/SimPlatform.h"

namespace zar::test {

/// A test with a simulated platform on which simulated Pro Tools applications can be launched.
class ProToolsTest : public testing::Test {
 public:
  explicit ProToolsTest(sim::SimDispatch::Mode dispatchMode = sim::SimDispatch::Mode::inlineOnCaller)
      : sim(dispatchMode) {}
  /// Three tracks: two audio tracks and an aux track.
  static sim::SimProTools::Options defaultOptions();
  /// The driver's errors, with their exact texts.
  static const ZAR_Error communicationDown;
  static const ZAR_Error notTimecode;
  /// Timecode at 30 frames per second, as the counters show it.
  static TCTime tc(std::uint32_t h, std::uint32_t m, std::uint32_t s, std::uint32_t f, std::uint32_t sub = 0) {
    return TCTime{h, m, s, f, sub, 100, 0};
  }
  /// A mode with the states before, during and after the cue.
  static std::shared_ptr<ZAR_DAWAudioTrackMode> mode(ZAR_DAWTrackState before, ZAR_DAWTrackState during,
                                                     ZAR_DAWTrackState after);

 protected:
  /// Launches a simulated Pro Tools (a fresh pid is chosen) and returns it.
  std::shared_ptr<sim::SimProTools> launchProTools(sim::SimProTools::Options options = defaultOptions());
  void quit(const std::shared_ptr<sim::SimProTools>& proTools);
  /// How the workspace describes a running application.
  platform::RunningApplicationRef running(const std::shared_ptr<sim::SimProTools>& proTools);
  /// The Pro Tools driver attached to a running simulated Pro Tools, or nothing when it can't attach.
  std::shared_ptr<ZAR_DAWApplicationProTools> attach(const std::shared_ptr<sim::SimProTools>& proTools);
  /// Every notification posted, by name, in order. Recorded under a lock, as passes on a pool post
  /// from its threads; read it while no thread posts.
  const std::vector<std::string>& posted() const { return _posted; }
  void clearPosted() {
    std::lock_guard lock(_postedMutex);
    _posted.clear();
  }

  SimPlatform sim;

 private:
  std::mutex _postedMutex;
  std::vector<std::string> _posted;
  platform::NotificationObservation _observation{sim.notificationCenter, std::nullopt,
                                                 [this](const platform::Notification& n) {
                                                   std::lock_guard lock(_postedMutex);
                                                   _posted.push_back(n.name);
                                                 }};
};

/// Launches a simulated Pro Tools on `sim` under a fresh process id and returns it.
std::shared_ptr<sim::SimProTools> launchProTools(SimPlatform& sim,
                                                 sim::SimProTools::Options options = ProToolsTest::defaultOptions());
/// Pro Tools selects the framework's HUI ports (on `sim`'s loopback) in its peripherals dialog.
void attachHUI(SimPlatform& sim, sim::SimProTools& proTools);

/// A simulated Pro Tools found by the enabled manager: the framework as a host sees it once
/// "ZAR_DAWApplicationAdded" has come. Nothing posted to Pro Tools so far.
class EnabledProToolsTest : public ProToolsTest {
 public:
  using ProToolsTest::ProToolsTest;

 protected:
  /// The default session, without HUI.
  void SetUp() override { start(false); }
  void TearDown() override { _manager->setEnabled(false); }
  /// Launches Pro Tools, with its HUI side on the framework's ports when `hui`; `user` makes
  /// changes in Pro Tools before the framework is enabled.
  void start(bool hui, sim::SimProTools::Options options = defaultOptions(),
             const std::function<void(sim::SimProTools&)>& user = {});

  std::shared_ptr<ZAR_DAWApplicationManager> _manager = ZAR_DAWApplicationManager::sharedManager();
  std::shared_ptr<sim::SimProTools> _proTools;
  std::shared_ptr<ZAR_DAWApplicationProTools> _driver;
};

}  // namespace zar::test
