#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
#include "ZAR_DAWControl/platform/AXTypes.h"
#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"
#include "ZAR_DAWControl/platform/linux/SystemClock.h"
#include "ZAR_DAWControl/platform/x11/X11Desktop.h"
#include "ZAR_DAWControl/protools/ZAR_DAWApplicationProTools.h"
#include "support/CapturingLogger.h"
#include "support/ChildProcess.h"
#include "support/TakeCue.h"
#include "support/TemporaryDirectory.h"

namespace zar::test {

/// A host of the framework on the X11 desktop of $DISPLAY, with the real platform services, against
/// the stand-in Pro Tools: a separate GTK process that says on its standard output what it did.
/// Compiled into each program that starts the stand-in (ZAR_STANDIN_PATH).
class X11FrameworkTest : public testing::Test {
 protected:
  static constexpr std::chrono::seconds kPatience{10};

  /// Installs the platform on the desktop the environment names, which must be up.
  void startFramework();
  void TearDown() override;

  /// Starts the stand-in and waits until the accessibility bus lists it.
  void launchStandIn(std::vector<std::string> options = {});
  /// Enables the framework, whose first discovery pass finds the stand-in, and waits until the
  /// stand-in talks HUI with it (unless it was started without).
  std::shared_ptr<ZAR_DAWApplicationProTools> attach(bool hui = true);
  /// Whether the stand-in said `line` (before, or within the patience).
  bool said(const std::string& line);
  /// A user's change in the stand-in: once it says it made it, every announcement it made so far
  /// is waited for (the mirror's barrier), as they have long arrived by the framework's next tick.
  bool userDoes(const std::string& command, const std::string& line);
  /// Every line the stand-in printed for what it did so far has been read: it says a line of ours
  /// after them. (A press over accessibility is done when the call returns; its line comes later.)
  bool caughtUp();
  /// Rehearses the cue with the track positions' modes (Input or Play).
  void rehearse(const std::shared_ptr<ZAR_DAWApplicationProTools>& driver, const std::vector<std::string>& modes);
  /// Frame updates of the cue at 24 fps.
  static void play(const std::shared_ptr<ZAR_DAWApplicationProTools>& driver, int frames);
  /// What the stand-in's own button shows, read over accessibility.
  std::string shown(const platform::AXUIElementRef& button);

  TemporaryDirectory _support;
  const std::string _huiPort;
  std::shared_ptr<platform::Platform> _platform = std::make_shared<platform::Platform>();
  std::shared_ptr<native::MainRunLoop> _runLoop;
  std::shared_ptr<native::SystemClock> _clock = std::make_shared<native::SystemClock>();
  std::shared_ptr<CapturingLogger> _logger = std::make_shared<CapturingLogger>();
  std::unique_ptr<x11::X11Desktop> _desktop;
  std::vector<std::string> _alerts;
  std::unique_ptr<ChildProcess> _standIn;
  int _handshakes = 0;
  std::shared_ptr<ZAR_DAWApplicationManager> _manager;
  // The host keeps its cue; the framework only refers to it.
  const std::shared_ptr<ZAR_VisualEvent> _cue = takeCue();

 public:
  X11FrameworkTest();
};

}  // namespace zar::test
