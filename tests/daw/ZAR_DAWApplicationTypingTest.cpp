#include <gtest/gtest.h>

#include <set>

#include "ZAR_DAWControl/daw/ZAR_DAWApplication.h"
#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"
#include "support/ProToolsTest.h"

namespace {

using Strokes = std::vector<std::pair<int, bool>>;

class TypingTest : public zar::test::ProToolsTest {
 protected:
  void SetUp() override {
    _proTools = launchProTools();
    ASSERT_TRUE(_application->initWithRunningApplication(running(_proTools)));
    _application->setMajorVersion(10);
    sim.clock->clearSleeps();
  }
  // Types `text` and returns the key code and direction of each key event posted, in order.
  Strokes type(const std::string& text) {
    sim.desktop->eventPoster()->clearLog();
    sim.clock->clearSleeps();
    _application->sendTextToDAWApplication(text, false);
    Strokes result;
    for (const auto& posted : sim.desktop->eventPoster()->keyboardEvents()) {
      result.emplace_back(posted.event.keyCode, posted.event.keyDown);
      EXPECT_EQ(posted.psn, _application->processSerialNumber());
      EXPECT_EQ(posted.event.source, _application->eventSource());
    }
    EXPECT_EQ(sim.clock->sleeps().size(), _application->majorVersion() < 11 ? result.size() / 2 : result.size());
    for (const auto& sleep : sim.clock->sleeps()) EXPECT_EQ(sleep.duration, 0.030);
    return result;
  }

  std::shared_ptr<zar::sim::SimProTools> _proTools;
  std::shared_ptr<ZAR_DAWApplication> _application = std::make_shared<ZAR_DAWApplication>();
};

TEST(KeyCodeMap, HoldsTheTenDigitKeysBuiltOnceForEveryThread) {
  EXPECT_EQ(ZAR_DAWApplication::keyCodeMap(),
            (std::map<std::string, std::int32_t>{{"0", 29}, {"1", 18}, {"2", 19}, {"3", 20}, {"4", 21},
                                                 {"5", 23}, {"6", 22}, {"7", 26}, {"8", 28}, {"9", 25}}));
  std::vector<const void*> seen(4);
  std::vector<std::thread> threads;
  for (auto& slot : seen) threads.emplace_back([&slot] { slot = &ZAR_DAWApplication::keyCodeMap(); });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(std::set<const void*>(seen.begin(), seen.end()), std::set<const void*>{&ZAR_DAWApplication::keyCodeMap()});
}

TEST_F(TypingTest, OlderVersionsTypeOnlyDigitsThenReturnWithAPauseAfterEachKey) {
  EXPECT_EQ(type("12:34"), (Strokes{{18, true}, {18, false}, {19, true}, {19, false}, {20, true}, {20, false},
                                    {21, true}, {21, false}, {36, true}, {36, false}}));
  EXPECT_EQ(type(""), (Strokes{{36, true}, {36, false}}));
  for (const auto& posted : sim.desktop->eventPoster()->keyboardEvents()) {
    EXPECT_EQ(posted.event.flags, zar::platform::EventFlagNone);
  }
  EXPECT_EQ(_proTools->typedText(), "1234\n\n");
}

TEST_F(TypingTest, NewerVersionsPostTheLayoutsEventsWithAPauseAfterEachEventOtherTypesNone) {
  _application->setMajorVersion(11);
  const auto expected = zar::platform::KeyboardLayout::keyEventsForText("A1", true);
  Strokes strokes;
  for (const auto& event : expected) strokes.emplace_back(event.keyCode, event.keyDown);
  EXPECT_EQ(type("A1"), strokes);
  const auto posted = sim.desktop->eventPoster()->keyboardEvents();
  for (std::size_t i = 0; i < posted.size(); ++i) EXPECT_EQ(posted[i].event.flags, expected[i].flags);
  EXPECT_NE(posted[0].event.flags & zar::platform::EventFlagMaskShift, 0u) << "A is typed with shift";
  EXPECT_EQ(_proTools->typedText(), "A1\n");

  _application->setType(1);
  EXPECT_TRUE(type("123").empty());
}

TEST_F(TypingTest, TheScriptRouteTypesQuotesAndBackslashesIntactIntoTheFrontmostApplication) {
  sim.desktop->workspace()->activate(_proTools->processIdentifier());
  _application->sendTextToDAWApplication("JO\"_2\\_101", true);
  const auto runs = sim.desktop->appleScript()->executions();
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].source,
            "property sourceString : \"JO\\\"_2\\\\_101\"\n"
            "set cnt to length of sourceString\n"
            "repeat with i from 1 to cnt\n"
            "    tell application \"System Events\" to keystroke character i of sourceString\n"
            "end repeat\n"
            "tell application \"System Events\" to key code 36");
  EXPECT_EQ(_proTools->typedText(), "JO\"_2\\_101\n");
}

}  // namespace
