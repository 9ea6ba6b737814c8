// The framework on the real desktop: the X11 backend against the stand-in Pro Tools, a separate
// GTK process, under a private Xvfb, accessibility bus and JACK server.

#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"
#include "support/DesktopSession.h"
#include "support/X11FrameworkTest.h"

namespace {

using namespace std::chrono_literals;
using zar::test::ChildProcess;

class X11EndToEndTest : public zar::test::X11FrameworkTest {
 protected:
  // Before the first fixture, whose desktop connects to the session's display.
  static void SetUpTestSuite() { zar::test::DesktopSession::shared(); }

  void SetUp() override {
    auto& session = zar::test::DesktopSession::shared();
    if (!session.started()) GTEST_SKIP() << "X11 end-to-end tests skipped: " << session.reason();
    startFramework();
  }
};

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
    std::lock_guard lock(_desktop->display()->mutex());
    windows = _desktop->display()->windowsOfProcessLocked(_standIn->pid());
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
