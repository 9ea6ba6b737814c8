// dawctl demo end to end in virtual time, read from its JSON lines. The framework's behaviour is
// pinned by its own tests; this one pins what the demo shows of it and its verdict.
#include <gtest/gtest.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <vector>

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
  std::string line;
  for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) {
    if (c != '\n') {
      line.push_back(static_cast<char>(c));
      continue;
    }
    run.events.push_back(json::parse(line));
    line.clear();
  }
  const int status = pclose(pipe);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

std::vector<json> ofKind(const std::vector<json>& events, const std::string& kind) {
  std::vector<json> found;
  for (const auto& event : events) {
    if (event["event"] == kind) found.push_back(event);
  }
  return found;
}

// The tracks of a table as Pro Tools shows them, without the marks of what changed.
json shown(const json& table) {
  json tracks = table.at("tracks");
  for (auto& track : tracks) track.erase("changed");
  return tracks;
}

std::string fileContent(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream content;
  content << in.rdbuf();
  return content.str();
}

TEST(DemoCommand, ShowsTheRoadOfATakeAsProToolsShowsItAndAgreesWithTheModes) {
  const Output run = dawctl("demo --virtual-time --json");
  ASSERT_FALSE(run.events.empty());
  const auto& events = run.events;

  // Pro Tools is found before anything else happens; then the passes, in order.
  const auto passes = ofKind(events, "pass");
  ASSERT_EQ(passes.size(), 5U);
  const auto added = ofKind(events, "notification").at(0);
  EXPECT_EQ(added["name"], "ZAR_DAWApplicationAdded");
  EXPECT_LE(added["t"].get<double>(), passes[0]["t"].get<double>());
  const std::vector<std::pair<std::string, bool>> expectedPasses{
      {"rehearse", true}, {"record", true}, {"record", true}, {"review", true}, {"record", false}};
  for (std::size_t i = 0; i < passes.size(); ++i) {
    EXPECT_EQ(passes[i]["pass"], expectedPasses[i].first) << i;
    EXPECT_EQ(passes[i]["hui"], expectedPasses[i].second) << i;
  }

  // The record track is named from the character, the takes so far and the cue; the count grows.
  const auto renamed = ofKind(events, "renamed");
  ASSERT_EQ(renamed.size(), 2U);
  EXPECT_EQ(renamed[0]["from"], "JO Dialog");
  EXPECT_EQ(renamed[0]["to"], "JO_0_101");
  EXPECT_EQ(renamed[1]["from"], "JO_0_101");
  EXPECT_EQ(renamed[1]["to"], "JO_1_101");
  const auto takes = ofKind(events, "takes");
  ASSERT_EQ(takes.size(), 2U);
  EXPECT_EQ(takes[0]["count"], 1);
  EXPECT_EQ(takes[1]["count"], 2);

  // Per pass, in order: its tables, what it did to Pro Tools and what Pro Tools received. The demo's
  // verdict compares each table with the modes; the framework's own tests pin the presses.
  struct Pass {
    std::vector<std::string> phases;
    std::vector<json> tables;
    std::vector<std::string> actions;
    json received;
  };
  std::vector<Pass> byPass;
  json before;  // the last table before each pass
  std::vector<json> tableBefore;
  for (const auto& event : events) {
    const std::string kind = event["event"];
    if (kind == "pass") {
      byPass.emplace_back();
      tableBefore.push_back(before);
    }
    if (kind == "table") before = event;
    if (byPass.empty()) continue;
    Pass& pass = byPass.back();
    if (kind == "table" && event["settled"] == true) {
      pass.phases.push_back(event["phase"]);
      pass.tables.push_back(event);
    }
    if (kind == "hui" || kind == "pressed" || kind == "typed" || kind == "double-click" || kind == "script") {
      pass.actions.push_back(kind);
    }
    if (kind == "received") pass.received = event;
  }
  ASSERT_EQ(byPass.size(), 5U);
  const std::vector<std::string> phases{"before", "during", "after"};
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(byPass[i].phases, phases) << "pass " << i;
    EXPECT_GT(byPass[i].received["hui"].get<int>(), 0) << "pass " << i;
  }

  // The aux track has no modes: nothing ever touches it.
  for (const auto& table : ofKind(events, "table")) {
    const auto& fx = table["tracks"].at(5);
    EXPECT_EQ(fx["name"], "FX");
    EXPECT_FALSE(fx["rec"].get<bool>() || fx["input"].get<bool>() || fx["mute"].get<bool>()) << table["title"];
  }

  // Without HUI: the warning, and nothing reaches Pro Tools; its tracks stay as they were.
  const Pass& withoutHUI = byPass[4];
  EXPECT_TRUE(withoutHUI.actions.empty());
  for (const char* what : {"hui", "keys", "mouse"}) EXPECT_EQ(withoutHUI.received[what], 0) << what;
  const auto warnings = ofKind(events, "warning");
  ASSERT_EQ(warnings.size(), 1U);
  EXPECT_EQ(warnings[0]["message"], "Can't establish HUI connection");
  ASSERT_EQ(withoutHUI.tables.size(), 1U);
  EXPECT_EQ(shown(withoutHUI.tables[0]), shown(tableBefore[4]));

  // The verdict.
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
  const std::string list = fileContent(directory.file("AudioTrackModeList.bin"));
  const std::string matrix = fileContent(directory.file("RecMuteMatrix.bin"));

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
  EXPECT_EQ(fileContent(directory.file("AudioTrackModeList.bin")), list);
  EXPECT_EQ(fileContent(directory.file("RecMuteMatrix.bin")), matrix);
}

}  // namespace
