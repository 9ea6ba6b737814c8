#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "ZAR_DAWControl/daw/ZAR_DAWApplication.h"
#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"
#include "support/ProToolsTest.h"

namespace {

using zar::platform::EventFlagNone;
using zar::sim::SimEventPoster;

class TypingTest : public zar::test::ProToolsTest {
 protected:
  void SetUp() override {
    _proTools = launchProTools();
    _application = std::make_shared<ZAR_DAWApplication>();
    ASSERT_TRUE(_application->initWithRunningApplication(running(_proTools)));
    _application->setType(ZAR_DAWApplicationTypeProTools);
    _application->setMajorVersion(10);
    sim.clock->clearSleeps();
  }

  std::vector<SimEventPoster::PostedKeyboardEvent> keys() const { return sim.desktop->eventPoster()->keyboardEvents(); }
  std::vector<double> pauses() const {
    std::vector<double> durations;
    for (const auto& sleep : sim.clock->sleeps()) durations.push_back(sleep.duration);
    return durations;
  }
  // Key code and direction of each posted key event, in order.
  std::vector<std::pair<int, bool>> strokes() const {
    std::vector<std::pair<int, bool>> result;
    for (const auto& posted : keys()) result.emplace_back(posted.event.keyCode, posted.event.keyDown);
    return result;
  }

  std::shared_ptr<zar::sim::SimProTools> _proTools;
  std::shared_ptr<ZAR_DAWApplication> _application;
};

TEST(KeyCodeMap, HoldsTheTenDigitKeysOutOfNumericOrder) {
  const auto& map = ZAR_DAWApplication::keyCodeMap();
  EXPECT_EQ(map, (std::map<std::string, std::int32_t>{{"0", 29}, {"1", 18}, {"2", 19}, {"3", 20}, {"4", 21},
                                                       {"5", 23}, {"6", 22}, {"7", 26}, {"8", 28}, {"9", 25}}));
}

TEST(KeyCodeMap, IsBuiltOnceForEveryThread) {
  std::vector<const void*> seen(8);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < seen.size(); ++i) {
    threads.emplace_back([&seen, i] { seen[i] = &ZAR_DAWApplication::keyCodeMap(); });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(std::set<const void*>(seen.begin(), seen.end()).size(), 1u);
}

TEST_F(TypingTest, OlderVersionsTypeOnlyDigitsThenReturnWithAPauseEach) {
  _application->sendTextToDAWApplication("12:34", false);
  EXPECT_EQ(strokes(), (std::vector<std::pair<int, bool>>{{18, true}, {18, false}, {19, true}, {19, false},
                                                          {20, true}, {20, false}, {21, true}, {21, false},
                                                          {36, true}, {36, false}}));
  EXPECT_EQ(pauses(), std::vector<double>(5, 0.030));
  for (const auto& posted : keys()) {
    EXPECT_EQ(posted.psn, _application->processSerialNumber());
    EXPECT_TRUE(posted.delivered);
    EXPECT_EQ(posted.event.flags, EventFlagNone);
    EXPECT_EQ(posted.event.source, _application->eventSource());
  }
  EXPECT_EQ(_proTools->typedText(), "1234\n");
}

TEST_F(TypingTest, EmptyTextIsOnlyReturn) {
  _application->sendTextToDAWApplication("", false);
  EXPECT_EQ(strokes(), (std::vector<std::pair<int, bool>>{{36, true}, {36, false}}));
  EXPECT_EQ(pauses(), std::vector<double>(1, 0.030));
}

TEST_F(TypingTest, NewerVersionsPostTheLayoutsEventsWithAPauseAfterEach) {
  _application->setMajorVersion(11);
  _application->sendTextToDAWApplication("A1", false);
  const auto expected = zar::platform::KeyboardLayout::keyEventsForText("A1", true);
  const auto posted = keys();
  ASSERT_EQ(posted.size(), expected.size());
  for (std::size_t i = 0; i < posted.size(); ++i) {
    EXPECT_EQ(posted[i].event.keyCode, expected[i].keyCode);
    EXPECT_EQ(posted[i].event.keyDown, expected[i].keyDown);
    EXPECT_EQ(posted[i].event.flags, expected[i].flags);
  }
  EXPECT_NE(posted[0].event.flags & zar::platform::EventFlagMaskShift, 0u) << "A is typed with shift";
  EXPECT_EQ(pauses(), std::vector<double>(expected.size(), 0.030));
  EXPECT_EQ(_proTools->typedText(), "A1\n");
}

TEST_F(TypingTest, OtherDAWTypesGetNoKeysAtAll) {
  _application->setType(1);
  _application->sendTextToDAWApplication("123", false);
  EXPECT_TRUE(keys().empty());
  EXPECT_TRUE(pauses().empty());
}

TEST_F(TypingTest, TheScriptRouteTypesQuotesAndBackslashesIntactIntoTheFrontmostApplication) {
  sim.desktop->workspace()->activate(_proTools->processIdentifier());
  _application->sendTextToDAWApplication("JO\"_2\\_101", true);
  const auto runs = sim.desktop->appleScript()->executions();
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_FALSE(runs[0].error.has_value());
  const std::string& source = runs[0].source;
  EXPECT_EQ(source.substr(0, source.find('\n')), "property sourceString : \"JO\\\"_2\\\\_101\"");
  EXPECT_EQ(source.substr(source.rfind('\n') + 1), "tell application \"System Events\" to key code 36");
  EXPECT_EQ(_proTools->typedText(), "JO\"_2\\_101\n");
}

}  // namespace
