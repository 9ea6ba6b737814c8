#include <gtest/gtest.h>

#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"
#include "ZAR_DAWControl/platform/sim/SimApplication.h"

namespace {

using zar::platform::EventFlagMaskCommand;
using zar::platform::EventFlagMaskShift;
using zar::platform::KeyboardEvent;
using zar::platform::KeyboardLayout;
using zar::platform::Point;
using zar::platform::Rect;
using zar::sim::SimApplication;

std::shared_ptr<SimApplication> makeApplication() {
  SimApplication::Info info;
  info.processIdentifier = 1234;
  info.localizedName = "Editor";
  return std::make_shared<SimApplication>(info);
}

KeyboardEvent bareKey(std::uint16_t code, bool down, std::uint64_t flags = 0) {
  KeyboardEvent event;
  event.keyCode = code;
  event.keyDown = down;
  event.flags = flags;
  return event;
}

TEST(SimApplication, TypedTextCollectsCharactersOfKeyDowns) {
  auto application = makeApplication();
  for (const auto& event : KeyboardLayout::keyEventsForText("Take_1 é", true)) {
    application->keyEvent(event);
  }
  EXPECT_EQ(application->typedText(), "Take_1 é\n");
  application->clearTypedText();
  EXPECT_EQ(application->typedText(), "");
}

TEST(SimApplication, BareKeyCodesAreMappedThroughTheLayout) {
  auto application = makeApplication();
  application->keyEvent(bareKey(18, true));                     // 1
  application->keyEvent(bareKey(18, false));
  application->keyEvent(bareKey(41, true, EventFlagMaskShift));  // :
  application->keyEvent(bareKey(53, true));                     // Escape types nothing
  application->keyEvent(bareKey(0, true, EventFlagMaskCommand));  // a shortcut, not text
  application->keyEvent(bareKey(KeyboardLayout::returnKeyCode, true));
  EXPECT_EQ(application->typedText(), "1:\n");
}

TEST(SimApplication, HitTestFindsTheDeepestLiveElementUnderThePoint) {
  auto application = makeApplication();
  auto window = application->addWindow("Edit: Session");
  window->setFrame(Rect{{100, 100}, {400, 300}});
  auto back = application->addWindow("Back");
  back->setFrame(Rect{{0, 0}, {500, 500}});
  auto frameless = window->addChild(application->makeElement("AXGroup"));
  auto row = frameless->addChild(application->makeElement("AXGroup", "Audio 1"));
  row->setFrame(Rect{{100, 150}, {400, 50}});
  auto name = row->addChild(application->makeElement("AXTextField"));
  name->setFrame(Rect{{110, 160}, {80, 20}});
  auto overlapping = row->addChild(application->makeElement("AXButton"));
  overlapping->setFrame(Rect{{150, 160}, {20, 20}});

  EXPECT_EQ(application->hitTest(Point{120, 170}), name);
  EXPECT_EQ(application->hitTest(Point{155, 165}), overlapping);  // the later sibling lies on top
  EXPECT_EQ(application->hitTest(Point{300, 190}), row);
  EXPECT_EQ(application->hitTest(Point{50, 50}), back);
  EXPECT_EQ(application->hitTest(Point{450, 450}), back);  // outside the front window only
  EXPECT_EQ(application->hitTest(Point{600, 600}), nullptr);
  // Right and bottom edges lie outside.
  EXPECT_EQ(application->hitTest(Point{190, 170}), row);

  name->invalidate();
  EXPECT_EQ(application->hitTest(Point{120, 170}), row);
  application->closeWindow(window);
  EXPECT_EQ(application->hitTest(Point{120, 170}), back);
  application->closeWindow(back);
  EXPECT_EQ(application->hitTest(Point{50, 50}), nullptr);
}

}  // namespace
