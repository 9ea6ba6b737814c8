// The framework on the real desktop: the X11 backend against the stand-in Pro Tools, a separate
// GTK process, under a private Xvfb, accessibility bus and JACK server.

#include <gtest/gtest.h>
#include <signal.h>
#include <xcb/xcb.h>

#include <chrono>
#include <cstdlib>
#include <algorithm>
#include <future>
#include <thread>

#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/platform/NotificationObservation.h"
#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"
#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"
#include "ZAR_DAWControl/platform/linux/PlistUserDefaults.h"
#include "ZAR_DAWControl/platform/linux/RtMidiPorts.h"
#include "ZAR_DAWControl/platform/linux/SynchronousNotificationCenter.h"
#include "ZAR_DAWControl/platform/linux/SystemClock.h"
#include "ZAR_DAWControl/platform/linux/ThreadPoolDispatch.h"
#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"
#include "ZAR_DAWControl/platform/x11/X11Desktop.h"
#include "ZAR_DAWControl/protools/ZAR_DAWApplicationProTools.h"
#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"
#include "support/CapturingLogger.h"
#include "support/ChildProcess.h"
#include "support/DesktopSession.h"
#include "support/TakeCue.h"
#include "support/TemporaryDirectory.h"

namespace {

using namespace std::chrono_literals;
using zar::test::ChildProcess;

constexpr auto kPatience = 10s;

class X11EndToEndTest : public testing::Test {
 protected:
  // Before the first fixture, whose desktop connects to the session's display.
  static void SetUpTestSuite() { zar::test::DesktopSession::shared(); }

  void SetUp() override {
    auto& session = zar::test::DesktopSession::shared();
    if (!session.started()) GTEST_SKIP() << "X11 end-to-end tests skipped: " << session.reason();

    _runLoop = std::make_shared<zar::native::MainRunLoop>(_clock);
    _platform->clock = _clock;
    _platform->mainRunLoop = _runLoop;
    _platform->dispatch = std::make_shared<zar::native::ThreadPoolDispatch>(_runLoop);
    _platform->notificationCenter = std::make_shared<zar::native::SynchronousNotificationCenter>();
    _platform->logger = std::make_shared<zar::test::CapturingLogger>();
    _platform->userDefaults = std::make_shared<zar::native::PlistUserDefaults>(std::nullopt, _platform->logger);
    _platform->fileUtility = std::make_shared<zar::native::LocalFileUtility>(_support.path());
    _platform->midiPorts = std::make_shared<zar::native::RtMidiPorts>();
    _platform->userDefaults->registerDefaults(
        {{ZAR_MIDISystem::kBackendPrefKey, "jack"}, {ZAR_MIDISystem::kHUIPortNamePrefKey, _huiPort}});
    _desktop.provideServices(*_platform);
    _desktop.alerts()->setPresenter([this](const zar::platform::AlertRequest& request) {
      _alerts.push_back(request.messageText);
      return zar::platform::AlertResponse{};
    });
    zar::platform::Platform::install(_platform);
  }

  void TearDown() override {
    if (HasFailure() && _standIn) {
      for (const auto& line : _standIn->lines()) std::fprintf(stderr, "stand-in: %s\n", line.c_str());
    }
    if (_manager) _manager->setEnabled(false);
    zar::platform::Platform::install(nullptr);
  }

  // Starts the stand-in and waits until the accessibility bus lists it.
  void launchStandIn(std::vector<std::string> options = {}) {
    std::vector<std::string> arguments{ZAR_STANDIN_PATH, "--hui-port", _huiPort};
    arguments.insert(arguments.end(), options.begin(), options.end());
    _standIn = std::make_unique<ChildProcess>(arguments);
    ASSERT_TRUE(_standIn->waitForLine("ready", kPatience)) << "the stand-in did not start";
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!_desktop.workspace()->runningApplicationWithProcessIdentifier(_standIn->pid())) {
      ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "the stand-in never joined the accessibility bus";
      std::this_thread::sleep_for(20ms);
    }
  }

  // Enables the framework, whose first discovery pass finds the stand-in, and waits until the
  // stand-in talks HUI with it (unless it was started without).
  std::shared_ptr<ZAR_DAWApplicationProTools> attach(bool hui = true) {
    _manager = ZAR_DAWApplicationManager::sharedManager();
    _manager->setAllowed(true);
    _manager->setEnabled(true);
    auto driver = std::dynamic_pointer_cast<ZAR_DAWApplicationProTools>(_manager->currentApplication());
    EXPECT_TRUE(driver) << "the first discovery pass did not find the stand-in";
    if (hui) {
      EXPECT_TRUE(_standIn->waitForLine("hui ping answered", kPatience)) << "no HUI between the framework and the stand-in";
    }
    return driver;
  }

  bool said(const std::string& line) { return _standIn->waitForLine(line, kPatience).has_value(); }

  // A user's change in the stand-in: once it says it made it, every announcement it made so far
  // is waited for (the mirror's barrier), as they have long arrived by the framework's next tick.
  bool userDoes(const std::string& command, const std::string& line) {
    if (!_standIn->send(command) || !said(line)) return false;
    _desktop.mirror()->inputPosted();
    return true;
  }

  // Every line the stand-in printed for what it did so far has been read: it says a line of ours
  // after them. (A press over accessibility is done when the call returns; its line comes later.)
  bool caughtUp() {
    const std::string line = "caught up " + std::to_string(++_handshakes);
    return _standIn->send("say " + line) && said(line);
  }

  // Rehearses the cue with the track positions' modes (Input or Play).
  void rehearse(const std::shared_ptr<ZAR_DAWApplicationProTools>& driver, const std::vector<std::string>& modes) {
    const auto& list = *_manager->trackModeList()->audioTrackModes();
    for (std::size_t i = 0; i < modes.size(); ++i) {
      const auto mode = std::find_if(list.begin(), list.end(), [&](const auto& m) { return m->name() == modes[i]; });
      _manager->muteRecMatrix()->setRehearseMode(*mode, static_cast<std::int32_t>(i));
    }
    driver->rehearseWithEvent(_cue);
  }

  // Frame updates of the cue at 24 fps.
  static void play(const std::shared_ptr<ZAR_DAWApplicationProTools>& driver, int frames) {
    for (int i = 0; i < frames; ++i) {
      driver->updateDAWTrackStatesForFrameIndex(1100);
      std::this_thread::sleep_for(42ms);  // the picture's pace, not a wait for anything
    }
  }

  // What the stand-in's own button shows, read over accessibility.
  std::string shown(const zar::platform::AXUIElementRef& button) {
    zar::platform::AXAttributeValue value;
    _desktop.accessibility()->copyAttributeValue(button, "AXValue", value);
    const auto* text = value.get<std::string>();
    return text != nullptr ? *text : "";
  }

  zar::test::TemporaryDirectory _support;
  // Each test's own ports: those of an earlier test in the same program may still be open.
  inline static int tests = 0;
  const std::string _huiPort = "ZAR e2e HUI " + std::to_string(::getpid()) + "-" + std::to_string(++tests);
  std::shared_ptr<zar::platform::Platform> _platform = std::make_shared<zar::platform::Platform>();
  std::shared_ptr<zar::native::MainRunLoop> _runLoop;
  std::shared_ptr<zar::native::SystemClock> _clock = std::make_shared<zar::native::SystemClock>();
  zar::x11::X11Desktop _desktop{_platform->host, _clock};
  std::vector<std::string> _alerts;
  // The host keeps its cue; the framework only refers to it.
  const std::shared_ptr<ZAR_VisualEvent> _cue = zar::test::takeCue();
  std::unique_ptr<ChildProcess> _standIn;
  int _handshakes = 0;
  std::shared_ptr<ZAR_DAWApplicationManager> _manager;
};

TEST_F(X11EndToEndTest, SetsTheSelectionTypedIntoTheCounters) {
  launchStandIn();
  const auto driver = attach();
  ASSERT_TRUE(driver);
  EXPECT_FALSE(driver->setSelectionStartTC("00:59:58:00"));
  EXPECT_FALSE(driver->setSelectionEndTC("01:00:04:12"));
  EXPECT_TRUE(said("selection start 00:59:58:00"));
  EXPECT_TRUE(said("selection end 01:00:04:12"));
  EXPECT_EQ(driver->selectionStartTC(nullptr), "00:59:58:00");
  EXPECT_EQ(driver->selectionEndTC(nullptr), "01:00:04:12");
}

TEST_F(X11EndToEndTest, RecordsATake) {
  launchStandIn();
  const auto driver = attach();
  ASSERT_TRUE(driver);
  // The first two tracks record during cues; the cue's record track is the first.
  const auto record = _manager->trackModeList()->audioTrackModes()->at(3);
  _manager->muteRecMatrix()->setRecordMode(record, 0);
  _manager->muteRecMatrix()->setRecordMode(record, 1);
  const auto event = zar::test::takeCue();

  driver->recordWithEvent(event);
  EXPECT_TRUE(said("track 0 renamed \"JO_2_101\"")) << "the record track is renamed by double-click and typing";
  EXPECT_TRUE(said("track 0 record on")) << "the record track is armed over HUI";
  EXPECT_TRUE(said("track 0 input on")) << "its mode monitors input before the cue";
  EXPECT_TRUE(said("selection end 01:00:04:12"));
  EXPECT_TRUE(said("transport recording"));
  EXPECT_EQ(event->numRecordedTakes(), 3);

  driver->updateDAWTrackStatesForFrameIndex(1100);  // during the cue
  EXPECT_TRUE(said("track 1 mute on")) << "the other record-type track is muted during the cue";
  const auto tracks = driver->audioTracks();
  EXPECT_EQ(tracks[0]->name(), "JO_2_101 ");
  EXPECT_EQ(shown(tracks[0]->recButton()), "on");
  EXPECT_EQ(shown(tracks[1]->muteButton()), "on");
  EXPECT_EQ(shown(tracks[0]->muteButton()), "off");
  driver->stopPlayback();
  EXPECT_TRUE(said("transport stopped"));
}

TEST_F(X11EndToEndTest, AStandInQuittingDuringAPassIsRemovedWithoutAHang) {
  launchStandIn();
  const auto driver = attach();
  ASSERT_TRUE(driver);
  std::vector<std::string> posted;
  zar::platform::NotificationObservation observation(
      _platform->notificationCenter, std::string(ZAR_DAWApplicationRemovedNotification),
      [&](const zar::platform::Notification& notification) { posted.push_back(notification.name); });

  auto pass = std::async(std::launch::async, [driver] { driver->rehearseWithEvent(zar::test::takeCue()); });
  ASSERT_TRUE(said("counter start open"));
  _standIn->kill(SIGKILL);  // in the middle of typing the selection
  ASSERT_EQ(pass.wait_for(20s), std::future_status::ready) << "the pass hangs on a vanished Pro Tools";

  EXPECT_FALSE(driver->connected());
  _manager->refreshDAWs();
  EXPECT_EQ(posted, std::vector<std::string>{ZAR_DAWApplicationRemovedNotification});
  EXPECT_FALSE(_manager->currentApplication());
}

// The framework's own presses are never taken back by an answer from before them, even with every
// core busy; a monitor the user switches is corrected by the next frame update, once.
TEST_F(X11EndToEndTest, InputMonitorsAreCorrectedOnceByTheNextFrameAndOwnPressesNeverRepeated) {
  launchStandIn();
  const auto driver = attach();
  ASSERT_TRUE(driver);
  std::vector<std::unique_ptr<ChildProcess>> load;
  for (unsigned i = 0; i < std::max(2U, std::thread::hardware_concurrency()); ++i) {
    load.push_back(std::make_unique<ChildProcess>(std::vector<std::string>{"sh", "-c", "while :; do :; done"}));
  }
  rehearse(driver, {"Input", "Play", "Input", "Play"});
  play(driver, 12);  // at most one press per 0.2 s
  ASSERT_TRUE(said("track 2 input on"));
  play(driver, 24);
  ASSERT_TRUE(caughtUp());
  EXPECT_EQ(_standIn->count("track 0 input on"), 1u);
  EXPECT_EQ(_standIn->count("track 2 input on"), 1u);
  EXPECT_EQ(_standIn->count("input off"), 0u) << "a press repeated on an answer from before it";

  ASSERT_TRUE(userDoes("input 1 on", "track 1 input on"));
  driver->updateDAWTrackStatesForFrameIndex(1100);
  ASSERT_TRUE(caughtUp());
  EXPECT_EQ(_standIn->count("track 1 input off"), 1u) << "not corrected by the first frame after the change";
  play(driver, 24);
  ASSERT_TRUE(caughtUp());
  EXPECT_EQ(_standIn->count("track 1 input off"), 1u);
  EXPECT_EQ(_standIn->count("input on"), 3u);
  driver->stopPlayback();
}

// Found with its version, session, tracks and selection; then tracks renamed, added, removed or
// moved in Pro Tools, or its window moved: the next tick has it.
TEST_F(X11EndToEndTest, FindsTheStandInAndWhatChangesInItAtTheNextTick) {
  launchStandIn({"--no-hui", "--session", "Reel 3", "--bundle-version", "10.3.10", "--track", "JO Dialog",
                 "--track", "B", "--track", "FX:aux"});
  const auto driver = attach(false);
  ASSERT_TRUE(driver);
  EXPECT_EQ(driver->versionString(), "10.3.10");
  EXPECT_EQ(driver->majorVersion(), 10);
  EXPECT_EQ(driver->currentProject(), " Reel 3");
  EXPECT_EQ(driver->selectionStartTC(nullptr), "01:00:00:00");
  EXPECT_TRUE(_alerts.empty()) << "accessibility is on: nobody is asked";
  const auto names = [&] {
    driver->onUIRefreshTimerRanOut(nullptr);
    std::string listed;
    for (const auto& track : driver->audioTracks()) listed += track->name() + "|";
    return listed;
  };
  EXPECT_EQ(names(), "JO Dialog |B |FX |");
  EXPECT_LT(driver->audioTracks()[0]->yPos(), driver->audioTracks()[1]->yPos());
  ASSERT_TRUE(userDoes("rename 1 Bee", "track 1 renamed"));
  EXPECT_EQ(names(), "JO Dialog |Bee |FX |");
  ASSERT_TRUE(userDoes("add Dee", "track 3 added"));
  EXPECT_EQ(names(), "JO Dialog |Bee |FX |Dee |");
  ASSERT_TRUE(userDoes("remove 0", "track 0 removed"));
  EXPECT_EQ(names(), "Bee |FX |Dee |");
  ASSERT_TRUE(userDoes("move 2 0", "track 2 moved to 0"));
  EXPECT_EQ(names(), "Dee |Bee |FX |");
  ASSERT_TRUE(userDoes("select 00:10:00:00 00:10:05:12", "selected"));
  names();
  EXPECT_EQ(driver->lastSelectionEndTC().seconds, 5u) << "the tick announces the user's selection";

  // The window moves 100 down; no toolkit says so, the X server does.
  const float top = driver->audioTracks()[0]->yPos();
  std::vector<zar::x11::X11Display::Window> windows;
  {
    std::lock_guard lock(_desktop.display()->mutex());
    windows = _desktop.display()->windowsOfProcessLocked(_standIn->pid());
  }
  ASSERT_EQ(windows.size(), 1u);
  xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
  auto* geometry = xcb_get_geometry_reply(connection, xcb_get_geometry(connection, windows[0]), nullptr);
  ASSERT_NE(geometry, nullptr);
  const std::uint32_t place[] = {static_cast<std::uint32_t>(geometry->x), static_cast<std::uint32_t>(geometry->y + 100)};
  std::free(geometry);
  xcb_configure_window(connection, windows[0], XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, place);
  std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));  // done by the server
  xcb_disconnect(connection);
  driver->onUIRefreshTimerRanOut(nullptr);
  EXPECT_EQ(driver->audioTracks()[0]->yPos(), top + 100);
}

TEST_F(X11EndToEndTest, AStandInKilledWhileTheMirrorHoldsItsAnswersIsGoneAtTheNextCall) {
  // Without HUI: a JACK client killed holds the server up for its time-out, and the next test.
  launchStandIn({"--no-hui"});
  const auto driver = attach(false);
  ASSERT_TRUE(driver);
  driver->onUIRefreshTimerRanOut(nullptr);
  ASSERT_TRUE(driver->connected());
  _standIn->kill(SIGKILL);
  EXPECT_FALSE(driver->connected());
  EXPECT_FALSE(driver->selectionStartTC(nullptr));
  EXPECT_EQ(driver->audioTracks()[0]->name(), "");
}

TEST_F(X11EndToEndTest, NoKeystrokeReachesTheWindowThatHasTheFocus) {
  launchStandIn();
  const auto driver = attach();
  ASSERT_TRUE(driver);
  // A second program's window, mapped and focused, that records the keys it gets.
  xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
  const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
  const xcb_window_t window = xcb_generate_id(connection);
  const std::uint32_t events = XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_KEY_RELEASE;
  xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen->root, 800, 600, 300, 200, 0,
                    XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_EVENT_MASK, &events);
  xcb_map_window(connection, window);  // no window manager: viewable once the server has it
  xcb_set_input_focus(connection, XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME);
  std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));

  EXPECT_FALSE(driver->setSelectionStartTC("00:00:12:05"));
  EXPECT_TRUE(said("selection start 00:00:12:05")) << "the keys reached the stand-in";

  // Every event the typing caused is queued before the reply to a later request.
  auto* focus = xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr);
  ASSERT_NE(focus, nullptr);
  EXPECT_EQ(focus->focus, window) << "the focus is given back";
  std::free(focus);
  int keys = 0;
  for (xcb_generic_event_t* event = nullptr; (event = xcb_poll_for_event(connection)) != nullptr; std::free(event)) {
    const auto type = event->response_type & 0x7F;
    keys += (type == XCB_KEY_PRESS || type == XCB_KEY_RELEASE) ? 1 : 0;
  }
  EXPECT_EQ(keys, 0);
  xcb_disconnect(connection);
}

// dawctl's demo against the stand-in started with the demo's session: a rehearsal and one take,
// checked by the demo against the stand-in's own buttons.
TEST_F(X11EndToEndTest, TheDemoRecordsATakeIntoTheStandIn) {
  ChildProcess session({ZAR_DAWCTL, "demo", "--standin-options"});
  ASSERT_EQ(session.waitForExit(kPatience), 0);
  std::vector<std::string> arguments{ZAR_STANDIN_PATH};
  const auto options = session.lines();
  arguments.insert(arguments.end(), options.begin(), options.end());
  _standIn = std::make_unique<ChildProcess>(arguments);  // on the HUI ports dawctl opens by default
  ASSERT_TRUE(_standIn->waitForLine("ready", kPatience)) << "the stand-in did not start";

  ChildProcess demo({ZAR_DAWCTL, "demo", "--desktop", "x11", "--passes", "2"});
  EXPECT_EQ(demo.waitForExit(60s), 0) << "the stand-in differs from what the modes ask";
  const auto result = demo.waitForLine("takes recorded", 0ms);
  ASSERT_TRUE(result);
  EXPECT_TRUE(result->starts_with("2 passes, 1 takes recorded, ")) << *result;
  EXPECT_TRUE(said("track 0 renamed \"JO_0_101\""));
  EXPECT_TRUE(said("track 0 record on"));
  EXPECT_TRUE(said("track 1 mute on")) << "the other record-type track is muted during the cue";
}

}  // namespace
