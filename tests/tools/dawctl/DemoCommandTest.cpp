// dawctl demo end to end in virtual time, read from its JSON lines. The framework's behaviour is
// pinned by its own tests; this one pins what the demo shows of it and its verdict.
#include <gtest/gtest.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/wait.h>
#include <vector>

#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"
#include "support/TemporaryDirectory.h"

namespace {

using nlohmann::json;

struct Output {
  int status = -1;
  std::vector<json> events;
};

// Runs dawctl with the arguments; every line it writes must be a JSON object. Its standard error
// goes to the test's, where a sanitizer's report shows.
Output dawctl(const std::string& arguments) {
  Output run;
  FILE* pipe = popen(fmt::format("'{}' {}", ZAR_DAWCTL, arguments).c_str(), "r");
  if (pipe == nullptr) return run;
  char* line = nullptr;
  std::size_t capacity = 0;
  while (::getline(&line, &capacity, pipe) > 0) run.events.push_back(json::parse(line));
  std::free(line);
  const int status = pclose(pipe);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

// The events of a kind, in order; only their field `key` when one is named.
std::vector<json> ofKind(const std::vector<json>& events, const std::string& kind, const std::string& key = "") {
  std::vector<json> found;
  for (const auto& event : events) {
    if (event["event"] == kind) found.push_back(key.empty() ? event : event[key]);
  }
  return found;
}

// The names, record enables and mutes of a table's tracks.
json shown(const json& table) {
  json tracks = json::array();
  for (const auto& track : table.at("tracks")) tracks.push_back({track["name"], track["rec"], track["mute"]});
  return tracks;
}

TEST(DemoCommand, ShowsTheRoadOfATakeAsProToolsShowsItAndAgreesWithTheModes) {
  const Output run = dawctl("demo --virtual-time --json");
  ASSERT_FALSE(run.events.empty());
  const auto& events = run.events;

  // Pro Tools is found before anything else happens; then the passes, in order.
  using Values = std::vector<json>;
  const auto added = ofKind(events, "notification").at(0);
  EXPECT_EQ(added["name"], "ZAR_DAWApplicationAdded");
  EXPECT_LE(added["t"].get<double>(), ofKind(events, "pass", "t").at(0).get<double>());
  EXPECT_EQ(ofKind(events, "pass", "pass"), (Values{"rehearse", "record", "record", "review", "record"}));
  EXPECT_EQ(ofKind(events, "pass", "hui"), (Values{true, true, true, true, false}));

  // The record track is named from the character, the takes so far and the cue; the count grows.
  EXPECT_EQ(ofKind(events, "renamed", "from"), (Values{"JO Dialog", "JO_0_101"}));
  EXPECT_EQ(ofKind(events, "renamed", "to"), (Values{"JO_0_101", "JO_1_101"}));
  EXPECT_EQ(ofKind(events, "takes", "count"), (Values{1, 2}));

  // Per pass, in order: the last table before it, its tables (the black box's at the end of each
  // phase), what it did to Pro Tools and what Pro Tools received. The framework's own tests pin
  // the presses.
  struct Pass {
    json before;
    std::vector<json> tables;
    std::vector<std::string> actions;
    json received;
  };
  std::vector<Pass> byPass;
  json last;
  for (const auto& event : events) {
    const std::string kind = event["event"];
    if (kind == "pass") byPass.push_back({last, {}, {}, {}});
    if (kind == "table") last = event;
    if (byPass.empty()) continue;
    if (kind == "table") byPass.back().tables.push_back(event);
    if (kind == "hui" || kind == "pressed" || kind == "typed" || kind == "double-click" || kind == "script") {
      byPass.back().actions.push_back(kind);
    }
    if (kind == "received") byPass.back().received = event;
  }
  ASSERT_EQ(byPass.size(), 5U);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(ofKind(byPass[i].tables, "table", "phase"), (Values{"before", "during", "after"})) << "pass " << i;
    EXPECT_GT(byPass[i].received["hui"].get<int>(), 0) << "pass " << i;
  }

  // The aux track has no modes: nothing ever touches it.
  for (const auto& table : ofKind(events, "table")) {
    const auto& fx = table["tracks"].at(5);
    EXPECT_EQ(fx["name"], "FX");
    EXPECT_FALSE(fx["rec"] == true || fx["input"] == true || fx["mute"] == true) << table["title"];
  }

  // Without HUI: the warning, and nothing reaches Pro Tools; its tracks stay as they were.
  const Pass& withoutHUI = byPass[4];
  EXPECT_TRUE(withoutHUI.actions.empty());
  for (const char* what : {"hui", "keys", "mouse"}) EXPECT_EQ(withoutHUI.received[what], 0) << what;
  EXPECT_EQ(ofKind(events, "warning", "message"), (Values{"Can't establish HUI connection"}));
  ASSERT_EQ(withoutHUI.tables.size(), 1U);
  EXPECT_EQ(shown(withoutHUI.tables[0]), shown(withoutHUI.before));

  // The black box's verdicts, each agreeing with the demo's own reading of Pro Tools.
  const json asAsked = "as the modes ask";
  EXPECT_EQ(ofKind(events, "verdict", "text"),
            (Values{asAsked, asAsked, asAsked, asAsked,
                    "cut short: Pro Tools didn't talk HUI with the framework: nothing was done"}));
  const auto notes = ofKind(events, "note", "text");
  EXPECT_EQ(std::count(notes.begin(), notes.end(), "the demo's own reading of Pro Tools agrees with the record"), 5);
  EXPECT_TRUE(ofKind(events, "difference").empty()) << ofKind(events, "difference").front()["text"];
  const auto result = events.back();
  EXPECT_EQ(result["event"], "result");
  EXPECT_EQ(result["takes"], 2);
  EXPECT_EQ(result["ok"], true);
  EXPECT_EQ(run.status, 0);
}

TEST(DemoCommand, ExitsNonZeroNamingATrackTheSessionCannotHaveAndLeavesTheSettingsAlone) {
  const zar::test::TemporaryDirectory directory;
  const std::string dir = directory.path();
  for (const char* assignment : {"0 --rehearse Input --record Record --review Play", "7 --review Mute"}) {
    ASSERT_EQ(std::system(fmt::format("'{}' settings assign {} --dir '{}' >/dev/null", ZAR_DAWCTL, assignment, dir)
                              .c_str()),
              0);
  }
  zar::native::LocalFileUtility files(dir);
  const auto list = files.readFile(directory.file("AudioTrackModeList.bin"));
  const auto matrix = files.readFile(directory.file("RecMuteMatrix.bin"));
  ASSERT_TRUE(list && matrix);

  const Output run = dawctl(fmt::format("demo --virtual-time --json --dir '{}'", dir));
  EXPECT_EQ(run.status, 1);
  const auto differences = ofKind(run.events, "difference");
  ASSERT_FALSE(differences.empty());
  for (const auto& difference : differences) {
    EXPECT_EQ(difference["position"], 7) << difference["text"];
    EXPECT_EQ(difference["pass"], "review");
    EXPECT_NE(difference["text"].get<std::string>().find("track 7"), std::string::npos);
  }
  EXPECT_EQ(run.events.back()["event"], "result");
  EXPECT_EQ(run.events.back()["ok"], false);
  EXPECT_EQ(files.readFile(directory.file("AudioTrackModeList.bin")), list);
  EXPECT_EQ(files.readFile(directory.file("RecMuteMatrix.bin")), matrix);
}

}  // namespace
