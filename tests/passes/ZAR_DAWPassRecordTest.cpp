#include <gtest/gtest.h>

#include <string>

#include "ZAR_DAWControl/passes/ZAR_DAWPassRecord.h"
#include "passes/PassRecordBuilder.h"

namespace pass_record_test {

using zar::test::PassRecordBuilder;
using Record = ZAR_DAWPassRecord;
using Kind = Record::EventKind;

// A judged take with an event of every kind, each with the fields its kind uses.
Record fullRecord() {
  auto pass = PassRecordBuilder::cleanTake();
  const auto event = [](Kind kind, const char* text = "", const char* detail = "") {
    auto made = PassRecordBuilder::event(kind, -1, text);
    made.detail = detail;
    return made;
  };
  auto hui = event(Kind::huiSent);
  hui.bytes = {0x90, 0x1f, 0x7f};
  hui.size = 3;
  auto refused = event(Kind::huiNotSent, "link full");
  refused.bytes = {0xb0, 0x0f, 0};
  refused.size = 2;
  auto lamp = event(Kind::lamp, "mute");
  lamp.zone = lamp.port = 2;
  lamp.track = 2;
  lamp.on = true;
  auto warning = event(Kind::warning, "No HUI", "Pro Tools doesn't answer");
  warning.on = true;
  auto frame = PassRecordBuilder::phase(ZAR_DAWEventPhaseDuring);
  frame.frame = 90240;
  auto press = PassRecordBuilder::event(Kind::inputPress, 2, {}, true);
  auto note = event(Kind::note, "ünïcode");
  note.time = 12.25;
  pass.record.events.insert(pass.record.events.end(),
                            {hui, refused, lamp, warning, event(Kind::selectionTyped, "01:00:10:00", "start"), frame,
                             press, event(Kind::accessibilityFailure, "AXValue of the name field", "timeout"),
                             event(Kind::notification, "ZAR_DAWApplicationPassStarted"), note});
  auto& record = pass.record;
  record.tracks[2].states[1] = static_cast<ZAR_DAWTrackState>(7);  // settings files may hold any value
  record.droppedEvents = 3;
  record.ending = Record::Ending::nextPass;
  record.cutShort = "the next pass began before Stop";
  record.differences = {{-1, "", 0, "the take count went from 3 to 3, not 4"},
                        {1, "Dialog 2", 2, "mute off, asked on"}};
  record.unjudged = {"the new name \"A_4_12\" of the record track was not read back during the pass"};
  return record;
}

TEST(ZAR_DAWPassRecord, JSONLineRoundTripsAReadableRecord) {
  const Record record = fullRecord();
  const std::string line = record.toJSONLine();
  EXPECT_EQ(line.find('\n'), std::string::npos);
  for (const char* piece :
       {R"("mode":"record")", R"("ending":"nextPass")", R"("states":["input",7,"mute"])",
        R"({"time":12.25,"kind":"note","text":"ünïcode"})", R"("kind":"huiSent","bytes":"90 1f 7f"})",
        R"("bytes":"b0 0f","text":"link full")", R"("kind":"phase","phase":"during","frame":90240)"}) {
    EXPECT_NE(line.find(piece), std::string::npos) << piece << " in " << line;
  }
  const auto read = Record::fromJSONLine(line);
  ASSERT_TRUE(read.has_value());
  EXPECT_TRUE(*read == record);
  EXPECT_EQ(read->toJSONLine(), line);
}

std::string replaced(std::string line, const std::string& from, const std::string& to) {
  const auto at = line.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? line : line.replace(at, from.size(), to);
}

TEST(ZAR_DAWPassRecord, AnyLineThatIsNoRecordReadsAsNothing) {
  const std::string line = fullRecord().toJSONLine();
  std::string tooManyEvents = R"("events":[)";
  for (std::size_t i = 0; i <= Record::kMaximumEvents; ++i) tooManyEvents += R"({"time":1,"kind":"note","text":""},)";
  tooManyEvents += R"({"time":1,"kind":"note","text":""},)";
  const std::string deep(100000, '[');
  const std::string hostile[] = {
      "",
      "not json",
      "null",
      "[]",
      "{}",
      line.substr(0, line.size() - 1),
      line + " x",
      deep,
      replaced(line, R"("unjudged":[)", R"("unjudged":[)" + deep),
      replaced(line, R"("unjudged":[)", R"("unjudged":[[[[["x"]]]],)"),
      replaced(line, R"("number":7)", R"("number":"7")"),
      replaced(line, R"("number":7)", R"("number":-7)"),
      replaced(line, R"("recordTrackPosition":0)", R"("recordTrackPosition":1e30)"),
      replaced(line, R"("time":12.25)", R"("time":1e999)"),
      replaced(line, R"("recordTrackPosition":0)", R"("recordTrackPosition":99999999999)"),
      replaced(line, R"("takesBefore":3)", R"("takesBefore":184467440737095516150)"),
      replaced(line, R"("zone":2)", R"("zone":256)"),
      replaced(line, R"("bytes":"90 1f 7f")", R"("bytes":"90 1f 7f 00")"),
      replaced(line, R"("bytes":"90 1f 7f")", R"("bytes":"90 1g 7f")"),
      replaced(line, R"("bytes":"90 1f 7f")", R"("bytes":"90-1f")"),
      replaced(line, R"("kind":"note")", R"("kind":"noted")"),
      replaced(line, R"("phase":"during")", R"("phase":"sometime")"),
      replaced(line, R"("phase":"during","frame":90240)", R"("phase":"during")"),
      replaced(line, R"("ending":"nextPass")", R"("ending":3)"),
      replaced(line, R"("mode":"record")", R"("mode":"sing")"),
      replaced(line, R"(["input",7,"mute"])", R"(["input",7])"),
      replaced(line, R"(["input",7,"mute"])", R"(["input",4294967296,"mute"])"),
      replaced(line, R"("ünïcode")", "\"\xff\""),
      replaced(line, R"("events":[)", tooManyEvents),
  };
  for (const auto& text : hostile) {
    EXPECT_FALSE(Record::fromJSONLine(text).has_value()) << text.substr(0, 300);
  }
}

TEST(ZAR_DAWPassRecord, VerdictTextCountsDifferencesAndSaysWhatCutThePassShort) {
  Record record = fullRecord();
  record.cutShort.clear();
  record.differences.clear();
  EXPECT_EQ(record.verdictText(), "as the modes ask");
  record.differences.resize(1);
  EXPECT_EQ(record.verdictText(), "1 difference");
  record.differences.resize(2);
  record.cutShort = "stopped during the cue";
  EXPECT_EQ(record.verdictText(), "2 differences; cut short: stopped during the cue");
  // Without a phase, nothing was judged.
  std::erase_if(record.events, [](const Record::Event& e) { return e.kind == Kind::phase; });
  record.differences.clear();
  record.cutShort = "stopped before the pass began";
  EXPECT_EQ(record.verdictText(), "cut short: stopped before the pass began");
}

}  // namespace pass_record_test
