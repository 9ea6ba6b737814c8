#include <gtest/gtest.h>

#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
#include "ZAR_DAWControl/platform/Logger.h"
#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"
#include "support/ProToolsTest.h"

namespace {

// What reaches Pro Tools as keystrokes is checked first: a line feed would be typed as Return and
// whatever follows it would land outside the field.
class TypedTextTest : public zar::test::EnabledProToolsTest {
 protected:
  void SetUp() override {
    EnabledProToolsTest::SetUp();
    sim.logger->clear();
  }

  std::size_t errorsLogged() const { return sim.logger->messages(zar::platform::LogFlag::error).size(); }
  bool nothingPosted() const {
    return sim.desktop->eventPoster()->keyboardEvents().empty() && sim.desktop->eventPoster()->mouseEvents().empty() &&
           sim.desktop->appleScript()->executions().empty();
  }
};

TEST_F(TypedTextTest, ASelectionTextThatIsNotTimecodeIsNeitherTypedNorPressedButLogged) {
  const std::optional<std::string> texts[] = {std::nullopt,
                                              "",
                                              "01:00:02:00\n02",
                                              std::string(100000, '1'),
                                              "24:00:00:00",
                                              "01:00:02",
                                              "one o'clock"};
  for (const auto& text : texts) {
    sim.logger->clear();
    EXPECT_EQ(_application->setSelectionStartTC(text), std::nullopt);
    EXPECT_EQ(_application->setSelectionEndTC(text), std::nullopt);
    EXPECT_TRUE(nothingPosted()) << text.value_or("(null)").substr(0, 20);
    EXPECT_FALSE(_proTools->counterEntryOpen());
    EXPECT_EQ(errorsLogged(), 2u);
  }
  EXPECT_EQ(_proTools->selectionStart(), tc(1, 0, 0, 0));
  EXPECT_EQ(_proTools->selectionEnd(), tc(1, 0, 10, 0));

  // Blanks around timecode (a carriage return is one) are allowed but not typed.
  EXPECT_EQ(_application->setSelectionEndTC("\t01:00:12:15\r"), std::nullopt);
  EXPECT_EQ(_proTools->selectionEnd(), tc(1, 0, 12, 15));
  EXPECT_EQ(sim.desktop->eventPoster()->keyboardEvents().size(), 2u * 9u) << "eight digits and Return";
}

TEST_F(TypedTextTest, NamesLoseControlCharactersAndAVanishedRowIsLeftAlone) {
  const std::pair<std::string, std::string> names[] = {
      {"JO_1\n_101", "JO_1_101"}, {"\tA\rB\x7f", "AB"}, {"C\xC2\x85\xC2\x9F\xC2\xA0", "C\xC2\xA0"}, {"\x1b[2J", "[2J"}};
  for (const auto& [given, entered] : names) {
    _application->audioTracks().at(0)->setName(given);
    EXPECT_EQ(_proTools->trackName(0), entered);
  }

  // The record track's row is deleted after discovery found its name field.
  const auto vanished = _application->audioTracks().at(1);
  _proTools->removeTrack(1);
  sim.desktop->eventPoster()->clearLog();
  sim.logger->clear();
  const auto scriptsBefore = sim.desktop->appleScript()->executions().size();
  vanished->setName("JO_2_101");
  EXPECT_TRUE(sim.desktop->eventPoster()->mouseEvents().empty()) << "no click at the screen's corner";
  EXPECT_EQ(sim.desktop->appleScript()->executions().size(), scriptsBefore) << "nothing typed";
  EXPECT_EQ(errorsLogged(), 1u);
  EXPECT_EQ(_proTools->trackName(0), "[2J");
  EXPECT_EQ(_proTools->trackName(1), "FX");
}

}  // namespace
