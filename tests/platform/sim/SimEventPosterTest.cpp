#include "ZAR_DAWControl/platform/sim/SimEventPoster.h"

#include <gtest/gtest.h>

#include "ZAR_DAWControl/platform/sim/VirtualClock.h"
#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"

namespace {

using zar::platform::MouseEvent;
using zar::platform::MouseEventType;
using zar::platform::Point;
using zar::platform::Rect;
using zar::sim::SimApplication;

// Handles the mouse inside one rectangle, as an application with a window there would.
class WindowedApplication : public SimApplication {
 public:
  WindowedApplication(std::int32_t pid, Rect area) : SimApplication(Info{pid, {}, {}, {}, {}}), _area(area) {}
  bool mouseEvent(const MouseEvent& event) override {
    if (!zar::platform::pointInRect(event.location, _area)) return false;
    received.push_back(event);
    return true;
  }
  std::vector<MouseEvent> received;

 private:
  Rect _area;
};

class SimEventPosterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    workspace->launch(lower);
    workspace->launch(upper);
  }
  void post(MouseEventType type, Point location, std::int64_t clickState = 1) {
    MouseEvent event;
    event.type = type;
    event.location = location;
    event.clickState = clickState;
    poster.postMouseEvent(event);
  }

  std::shared_ptr<zar::sim::VirtualClock> clock = std::make_shared<zar::sim::VirtualClock>(50.0);
  std::shared_ptr<zar::sim::SimWorkspace> workspace =
      std::make_shared<zar::sim::SimWorkspace>(zar::platform::HostIdentity{});
  std::shared_ptr<zar::sim::SimScreens> screens = std::make_shared<zar::sim::SimScreens>();
  zar::sim::SimEventPoster poster{clock, workspace, screens};
  std::shared_ptr<WindowedApplication> lower = std::make_shared<WindowedApplication>(1001, Rect{{0, 0}, {1000, 1000}});
  std::shared_ptr<WindowedApplication> upper = std::make_shared<WindowedApplication>(1002, Rect{{0, 0}, {100, 100}});
};

TEST_F(SimEventPosterTest, KeysGoToTheApplicationWithTheSerialNumberOrAreLost) {
  zar::platform::ProcessSerialNumber psn;
  workspace->getProcessForPID(1002, psn);
  for (const auto& event : zar::platform::KeyboardLayout::keyEventsForText("01", true)) {
    poster.postKeyboardEvent(psn, event);
    clock->advanceBy(0.03);
  }
  EXPECT_EQ(upper->typedText(), "01\n");
  EXPECT_EQ(lower->typedText(), "");
  workspace->quit(1002);
  poster.postKeyboardEvent(psn, zar::platform::KeyboardLayout::keyEventsForText("5", false)[0]);
  const auto log = poster.keyboardEvents();
  ASSERT_EQ(log.size(), 7u);
  EXPECT_EQ(log[0].psn, psn);
  EXPECT_EQ(log[0].event.keyCode, 29);
  EXPECT_DOUBLE_EQ(log[5].time, 50.15);
  EXPECT_TRUE(log[5].delivered);
  EXPECT_FALSE(log[6].delivered);
  EXPECT_EQ(upper->typedText(), "01\n");
  poster.clearLog();
  EXPECT_TRUE(poster.keyboardEvents().empty());
}

TEST_F(SimEventPosterTest, MouseEventsMoveThePointerInCocoaCoordinatesOnTheScreenThatHoldsThem) {
  post(MouseEventType::mouseMoved, Point{1100, 0});
  EXPECT_EQ(screens->mouseLocation(), (Point{1100, 1080}));
  screens->setScreenFrames({Rect{{0, 0}, {1280, 800}}, Rect{{1280, 0}, {1920, 1080}}});
  post(MouseEventType::mouseMoved, Point{1500, 100});
  EXPECT_EQ(screens->mouseLocation(), (Point{1500, 700}));
  ASSERT_EQ(poster.mouseEvents().size(), 2u);
  EXPECT_EQ(poster.mouseEvents()[1].handledBy, 0) << "nobody's window lies there";
}

TEST_F(SimEventPosterTest, MouseEventsGoFrontToBackUntilOneHandlesThemAndAHandledDownActivates) {
  post(MouseEventType::mouseMoved, Point{50, 50});
  post(MouseEventType::leftMouseUp, Point{50, 50});
  EXPECT_EQ(workspace->frontmostApplication(), workspace->hostApplication()) << "only a handled down activates";
  EXPECT_EQ(lower->received.size(), 2u) << "the first launched lies in front of the later";
  workspace->activate(1002);
  // Double-click as the platform delivers it: down, up, down with click state 2, up.
  for (const auto& [type, clickState] : {std::pair{MouseEventType::leftMouseDown, 1}, {MouseEventType::leftMouseUp, 1},
                                         {MouseEventType::leftMouseDown, 2}, {MouseEventType::leftMouseUp, 2}}) {
    post(type, Point{50, 50}, clickState);
  }
  ASSERT_EQ(upper->received.size(), 4u);
  EXPECT_EQ(upper->received[2].clickState, 2);
  EXPECT_EQ(poster.mouseEvents().back().handledBy, 1002);
  post(MouseEventType::leftMouseDown, Point{500, 500});
  EXPECT_EQ(workspace->frontmostApplication(), lower);
  post(MouseEventType::leftMouseDown, Point{50, 50});
  EXPECT_EQ(lower->received.size(), 4u) << "now in front, it takes the click at the other's place too";
}

}  // namespace
