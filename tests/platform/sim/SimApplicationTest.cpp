#include "ZAR_DAWControl/platform/sim/SimApplication.h"

#include <gtest/gtest.h>

#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"

namespace {

using zar::platform::KeyboardEvent;
using zar::platform::Point;
using zar::platform::Rect;
using zar::sim::SimApplication;

TEST(SimApplication, TypedTextCollectsTheCharactersOfKeyDownsThroughTheLayout) {
  SimApplication application(SimApplication::Info{1234, {}, {}, {}, {}});
  for (const auto& event : zar::platform::KeyboardLayout::keyEventsForText("Take_1 é", false)) {
    application.keyEvent(event);
  }
  const auto bare = [&](std::uint16_t code, std::uint64_t flags) {
    KeyboardEvent event;
    event.keyCode = code;
    event.keyDown = true;
    event.flags = flags;
    application.keyEvent(event);
  };
  bare(41, zar::platform::EventFlagMaskShift);    // :
  bare(53, 0);                                    // Escape types nothing
  bare(0, zar::platform::EventFlagMaskCommand);  // a shortcut, not text
  bare(zar::platform::KeyboardLayout::returnKeyCode, 0);
  EXPECT_EQ(application.typedText(), "Take_1 é:\n");
  application.clearTypedText();
  EXPECT_EQ(application.typedText(), "");
}

TEST(SimApplication, HitTestFindsTheDeepestLiveElementUnderThePointFrontWindowFirst) {
  SimApplication application(SimApplication::Info{1234, {}, {}, {}, {}});
  auto window = application.addWindow("Edit: Session");
  window->setFrame(Rect{{100, 100}, {400, 300}});
  auto back = application.addWindow("Back");
  back->setFrame(Rect{{0, 0}, {500, 500}});
  auto row = window->addChild(application.makeElement("AXGroup"))->addChild(application.makeElement("AXGroup"));
  row->setFrame(Rect{{100, 150}, {400, 50}});
  auto name = row->addChild(application.makeElement("AXTextField"));
  name->setFrame(Rect{{110, 160}, {80, 20}});
  auto overlapping = row->addChild(application.makeElement("AXButton"));
  overlapping->setFrame(Rect{{150, 160}, {20, 20}});

  const std::pair<Point, std::shared_ptr<zar::sim::SimElement>> hits[] = {
      {{120, 170}, name}, {{155, 165}, overlapping},  // the later sibling lies on top
      {{300, 190}, row},  {{190, 170}, row},          // right and bottom edges lie outside
      {{50, 50}, back},   {{450, 450}, back},         {{600, 600}, nullptr}};
  for (const auto& [point, element] : hits) EXPECT_EQ(application.hitTest(point), element) << point.x;
  name->invalidate();
  EXPECT_EQ(application.hitTest(Point{120, 170}), row);
  application.closeWindow(window);
  EXPECT_EQ(application.hitTest(Point{120, 170}), back);
}

}  // namespace
