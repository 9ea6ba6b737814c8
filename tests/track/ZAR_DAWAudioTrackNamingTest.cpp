#include <gtest/gtest.h>

#include "ZAR_DAWControl/accessibility/AXNames.h"
#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
#include "ZAR_DAWControl/platform/Logger.h"
#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"
#include "support/ProToolsTest.h"

namespace {

using zar::platform::AXTypedValue;
using zar::platform::MouseEventType;
using zar::platform::Point;
using zar::sim::SimProTools;

// Entering a track name in the simulated Pro Tools, with the driver as the manager's current
// application.
class NamingTest : public zar::test::EnabledProToolsTest {
 protected:
  std::shared_ptr<ZAR_DAWAudioTrack> track(std::size_t i) const { return _application->audioTracks().at(i); }
  std::vector<zar::sim::SimEventPoster::PostedMouseEvent> mouse() const { return sim.desktop->eventPoster()->mouseEvents(); }
  std::int32_t frontmost() const { return sim.desktop->workspace()->frontmostApplication()->processIdentifier(); }
  std::int32_t host() const { return sim.desktop->workspace()->hostApplication()->processIdentifier(); }
};

TEST_F(NamingTest, DoubleClicksTheNameFieldTypesTheNameAndGivesTheHostBackItsPlace) {
  ASSERT_EQ(frontmost(), host());
  sim.desktop->screens()->setMouseLocation({700, 200});
  track(1)->setName("JO_2_101");

  // The field (x 10, y 5 in the row, 140 by 20) is clicked in its centre; the sim's field has
  // only a position and a size.
  const auto field = *_proTools->trackNameField(1)->frame();
  const Point centre{field.origin.x + 70, field.origin.y + 10};
  const auto events = mouse();
  ASSERT_EQ(events.size(), 5u);
  const std::vector<std::pair<MouseEventType, std::int64_t>> clicks{{MouseEventType::leftMouseDown, 1},
                                                                     {MouseEventType::leftMouseUp, 1},
                                                                     {MouseEventType::leftMouseDown, 2},
                                                                     {MouseEventType::leftMouseUp, 2}};
  for (std::size_t i = 0; i < clicks.size(); ++i) {
    EXPECT_EQ(events[i].event.type, clicks[i].first) << i;
    EXPECT_EQ(events[i].event.clickState, clicks[i].second) << i;
    EXPECT_EQ(events[i].event.location, centre) << i;
    EXPECT_EQ(events[i].event.button, zar::platform::MouseButton::left);
    EXPECT_EQ(events[i].time, events[0].time) << "the clicks follow each other without a pause";
  }
  EXPECT_EQ(events[4].event.type, MouseEventType::mouseMoved);
  EXPECT_EQ(events[4].event.location, (Point{700, 880})) << "the pointer goes back where it was";

  const auto scripts = sim.desktop->appleScript()->executions();
  ASSERT_EQ(scripts.size(), 1u) << "typed through the script";
  EXPECT_EQ(_proTools->trackName(1), "JO_2_101");
  EXPECT_EQ(track(1)->name(), "JO_2_101 ") << "nothing is stored: the name is read back from the row";
  EXPECT_EQ(_proTools->trackName(0), "Dialog 1");
  EXPECT_EQ(frontmost(), host());

  sim.desktop->workspace()->activate(_proTools->processIdentifier());
  track(0)->setName("ADR");
  EXPECT_EQ(_proTools->trackName(0), "ADR");
  EXPECT_EQ(frontmost(), _proTools->processIdentifier()) << "an inactive host is not brought forward";
}

TEST_F(NamingTest, ThePointerIsConvertedByTheScreenThatHoldsIt) {
  sim.desktop->screens()->setScreenFrames({{{0, 0}, {1920, 1080}}, {{1920, 0}, {1280, 1024}}});
  const auto restored = [&](Point cocoa) {
    sim.desktop->screens()->setMouseLocation(cocoa);
    sim.desktop->eventPoster()->clearLog();
    track(2)->setName("X");
    return mouse().back().event.location;
  };
  EXPECT_EQ(restored({2000, 100}), (Point{2000, 924})) << "with the second screen's height";
  EXPECT_EQ(restored({-300, 5000}), (Point{-300, 5000})) << "outside every screen: unchanged";
  EXPECT_EQ(restored({0, 0}), (Point{0, 1080})) << "the bottom-left corner belongs to the screen";
  EXPECT_EQ(restored({1920, 1080}), (Point{1920, 1080})) << "the top edge of either screen is outside it";
}

TEST_F(NamingTest, AFrameAttributeIsPreferredToPositionAndSize) {
  const auto field = _proTools->trackNameField(0);
  field->setAttribute(zar::ax::kFrameAttribute, AXTypedValue::rect({{100, 200}, {50, 30}}));
  track(0)->setName("Y");
  EXPECT_EQ(mouse().front().event.location, (Point{125, 215}));

  field->setAttribute(zar::ax::kFrameAttribute, AXTypedValue::rect(zar::platform::zeroRect));
  field->setAttribute(zar::ax::kPositionAttribute, AXTypedValue::point({300, 400}));
  field->removeAttribute(zar::ax::kSizeAttribute);
  sim.desktop->eventPoster()->clearLog();
  track(0)->setName("Z");
  EXPECT_EQ(mouse().front().event.location, (Point{300, 400})) << "a missing size is zero";
}

TEST_F(NamingTest, NothingIsClickedWithoutANameFieldAndNothingTypedWithoutACurrentApplication) {
  ZAR_DAWAudioTrack loose(_proTools->makeElement(zar::ax::kGroupRole, std::string("Loose - Audio Track ")));
  sim.logger->clear();
  loose.setName("Nobody");
  EXPECT_TRUE(mouse().empty());
  EXPECT_TRUE(sim.desktop->appleScript()->executions().empty());
  ASSERT_EQ(sim.logger->statements().size(), 1u);
  EXPECT_EQ(sim.logger->statements()[0].flag, zar::platform::LogFlag::error);

  const auto kept = track(0);
  _manager->setEnabled(false);
  kept->setName("Lost");
  EXPECT_TRUE(sim.desktop->appleScript()->executions().empty());
  EXPECT_EQ(_proTools->trackName(0), "Dialog 1");
  EXPECT_EQ(mouse().size(), 5u) << "the double-click and the pointer's return still happen";
}

}  // namespace
