#include <gtest/gtest.h>

#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"
#include "ZAR_DAWControl/platform/sim/SimEventPoster.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"

namespace {

using zar::platform::HostIdentity;
using zar::platform::KeyboardEvent;
using zar::platform::KeyboardLayout;
using zar::platform::MouseEvent;
using zar::platform::MouseEventType;
using zar::platform::Point;
using zar::platform::ProcessSerialNumber;
using zar::platform::Rect;
using zar::sim::SimApplication;
using zar::sim::SimEventPoster;
using zar::sim::SimScreens;
using zar::sim::SimWorkspace;
using zar::sim::VirtualClock;

// Handles the mouse inside one rectangle, as an application with a window there would.
class WindowedApplication : public SimApplication {
 public:
  WindowedApplication(std::int32_t pid, Rect area) : SimApplication(info(pid)), _area(area) {}

  bool mouseEvent(const MouseEvent& event) override {
    if (!zar::platform::pointInRect(event.location, _area)) {
      return false;
    }
    received.push_back(event);
    return true;
  }

  std::vector<MouseEvent> received;

 private:
  static Info info(std::int32_t pid) {
    Info i;
    i.processIdentifier = pid;
    i.bundleIdentifier = "com.example." + std::to_string(pid);
    return i;
  }
  Rect _area;
};

class SimEventPosterTest : public ::testing::Test {
 protected:
  std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>(50.0);
  std::shared_ptr<SimWorkspace> workspace = std::make_shared<SimWorkspace>(HostIdentity{});
  std::shared_ptr<SimScreens> screens = std::make_shared<SimScreens>();
  SimEventPoster poster{clock, workspace, screens};

  ProcessSerialNumber psnOf(std::int32_t pid) {
    ProcessSerialNumber psn;
    EXPECT_EQ(workspace->getProcessForPID(pid, psn), 0);
    return psn;
  }
  static MouseEvent mouse(MouseEventType type, Point location, std::int64_t clickState = 1) {
    MouseEvent event;
    event.type = type;
    event.location = location;
    event.clickState = clickState;
    return event;
  }
};

TEST_F(SimEventPosterTest, KeysGoToTheApplicationWithTheSerialNumber) {
  auto a = std::make_shared<WindowedApplication>(1001, Rect{});
  auto b = std::make_shared<WindowedApplication>(1002, Rect{});
  workspace->launch(a);
  workspace->launch(b);
  for (const auto& event : KeyboardLayout::keyEventsForText("01", true)) {
    poster.postKeyboardEvent(psnOf(1002), event);
    clock->advanceBy(0.03);
  }
  EXPECT_EQ(b->typedText(), "01\n");
  EXPECT_EQ(a->typedText(), "");
  const auto log = poster.keyboardEvents();
  ASSERT_EQ(log.size(), 6u);
  EXPECT_EQ(log[0].psn, psnOf(1002));
  EXPECT_EQ(log[0].event.keyCode, 29);
  EXPECT_DOUBLE_EQ(log[0].time, 50.0);
  EXPECT_DOUBLE_EQ(log[5].time, 50.15);
  EXPECT_TRUE(log[5].delivered);
}

TEST_F(SimEventPosterTest, KeysForAnUnknownSerialNumberAreLost) {
  auto a = std::make_shared<WindowedApplication>(1001, Rect{});
  workspace->launch(a);
  const auto psn = psnOf(1001);
  workspace->quit(1001);
  poster.postKeyboardEvent(psn, KeyboardLayout::keyEventsForText("5", false)[0]);
  EXPECT_EQ(a->typedText(), "");
  ASSERT_EQ(poster.keyboardEvents().size(), 1u);
  EXPECT_FALSE(poster.keyboardEvents()[0].delivered);
  poster.clearLog();
  EXPECT_TRUE(poster.keyboardEvents().empty());
}

TEST_F(SimEventPosterTest, MouseEventsMoveThePointerInCocoaCoordinates) {
  poster.postMouseEvent(mouse(MouseEventType::mouseMoved, Point{100, 0}));
  EXPECT_EQ(screens->mouseLocation(), (Point{100, 1080}));
  poster.postMouseEvent(mouse(MouseEventType::leftMouseDown, Point{640.5, 900}));
  EXPECT_EQ(screens->mouseLocation(), (Point{640.5, 180}));
  screens->setScreenFrames({Rect{{0, 0}, {1280, 800}}, Rect{{1280, 0}, {1920, 1080}}});
  poster.postMouseEvent(mouse(MouseEventType::mouseMoved, Point{1500, 100}));
  EXPECT_EQ(screens->mouseLocation(), (Point{1500, 700}));
  ASSERT_EQ(poster.mouseEvents().size(), 3u);
  EXPECT_EQ(poster.mouseEvents()[1].event.type, MouseEventType::leftMouseDown);
  EXPECT_EQ(poster.mouseEvents()[1].handledBy, 0);
}

TEST_F(SimEventPosterTest, AHandledClickBringsItsApplicationToTheFront) {
  auto back = std::make_shared<WindowedApplication>(1001, Rect{{0, 0}, {500, 500}});
  workspace->launch(back);
  const Point centre{250, 250};
  // Double-click as the platform delivers it: down, up, down with click state 2, up.
  poster.postMouseEvent(mouse(MouseEventType::leftMouseDown, centre));
  poster.postMouseEvent(mouse(MouseEventType::leftMouseUp, centre));
  poster.postMouseEvent(mouse(MouseEventType::leftMouseDown, centre, 2));
  poster.postMouseEvent(mouse(MouseEventType::leftMouseUp, centre, 2));
  ASSERT_EQ(back->received.size(), 4u);
  EXPECT_EQ(back->received[2].clickState, 2);
  EXPECT_EQ(workspace->frontmostApplication(), back);
  EXPECT_EQ(poster.mouseEvents()[3].handledBy, 1001);
}

TEST_F(SimEventPosterTest, MouseEventsGoFrontToBackUntilOneHandlesThem) {
  auto lower = std::make_shared<WindowedApplication>(1001, Rect{{0, 0}, {1000, 1000}});
  auto upper = std::make_shared<WindowedApplication>(1002, Rect{{0, 0}, {100, 100}});
  workspace->launch(lower);
  workspace->launch(upper);
  workspace->activate(1002);

  poster.postMouseEvent(mouse(MouseEventType::leftMouseDown, Point{50, 50}));
  EXPECT_EQ(upper->received.size(), 1u);
  EXPECT_TRUE(lower->received.empty());
  EXPECT_EQ(workspace->frontmostApplication(), upper);

  poster.postMouseEvent(mouse(MouseEventType::leftMouseDown, Point{500, 500}));
  EXPECT_EQ(lower->received.size(), 1u);
  EXPECT_EQ(workspace->frontmostApplication(), lower);

  // Now the lower one is in front and takes the click at the upper one's place too.
  poster.postMouseEvent(mouse(MouseEventType::leftMouseDown, Point{50, 50}));
  EXPECT_EQ(lower->received.size(), 2u);
  EXPECT_EQ(upper->received.size(), 1u);
}

TEST_F(SimEventPosterTest, UnhandledOrNonDownEventsDoNotActivate) {
  auto app = std::make_shared<WindowedApplication>(1001, Rect{{0, 0}, {100, 100}});
  workspace->launch(app);
  poster.postMouseEvent(mouse(MouseEventType::leftMouseDown, Point{500, 500}));
  poster.postMouseEvent(mouse(MouseEventType::mouseMoved, Point{50, 50}));
  poster.postMouseEvent(mouse(MouseEventType::leftMouseUp, Point{50, 50}));
  EXPECT_EQ(app->received.size(), 2u);
  EXPECT_EQ(workspace->frontmostApplication(), workspace->hostApplication());
}

}  // namespace
