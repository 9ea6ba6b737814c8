#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "ZAR_DAWControl/platform/NotificationObservation.h"
#include "ZAR_DAWControl/platform/sim/SimProTools.h"
#include "support/SimPlatform.h"

namespace zar::test {

/// A test with a simulated platform on which simulated Pro Tools applications can be launched.
class ProToolsTest : public testing::Test {
 public:
  /// Three tracks: two audio tracks and an aux track.
  static sim::SimProTools::Options defaultOptions();

 protected:
  /// Launches a simulated Pro Tools (a fresh pid is chosen) and returns it.
  std::shared_ptr<sim::SimProTools> launchProTools(sim::SimProTools::Options options = defaultOptions());
  void quit(const std::shared_ptr<sim::SimProTools>& proTools);
  /// How the workspace describes a running application.
  platform::RunningApplicationRef running(const std::shared_ptr<sim::SimProTools>& proTools);
  /// Every notification posted, by name, in order.
  const std::vector<std::string>& posted() const { return _posted; }
  void clearPosted() { _posted.clear(); }

  SimPlatform sim;

 private:
  std::vector<std::string> _posted;
  platform::NotificationObservation _observation{sim.notificationCenter, std::nullopt,
                                                 [this](const platform::Notification& n) { _posted.push_back(n.name); }};
};

}  // namespace zar::test
