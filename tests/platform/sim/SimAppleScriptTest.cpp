#include <gtest/gtest.h>

#include "ZAR_DAWControl/platform/sim/SimAppleScript.h"
#include "ZAR_DAWControl/platform/sim/SimEventPoster.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"

namespace {

using zar::platform::HostIdentity;
using zar::platform::ProcessSerialNumber;
using zar::sim::SimApplication;
using zar::sim::SimAppleScript;
using zar::sim::SimEventPoster;
using zar::sim::SimScreens;
using zar::sim::SimWorkspace;
using zar::sim::VirtualClock;

// The typing script with `literal` as the source string's literal text.
std::string typingScript(const std::string& literal) {
  return "property sourceString : \"" + literal +
         "\"\n"
         "set cnt to length of sourceString\n"
         "repeat with i from 1 to cnt\n"
         "    tell application \"System Events\" to keystroke character i of sourceString\n"
         "end repeat\n"
         "tell application \"System Events\" to key code 36";
}

class SimAppleScriptTest : public ::testing::Test {
 protected:
  void SetUp() override {
    SimApplication::Info info;
    info.processIdentifier = 2001;
    info.bundleIdentifier = "com.avid.ProTools";
    daw = std::make_shared<SimApplication>(info);
    workspace->launch(daw);
    workspace->activate(2001);
  }

  std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
  std::shared_ptr<SimWorkspace> workspace = std::make_shared<SimWorkspace>(HostIdentity{});
  std::shared_ptr<SimEventPoster> poster =
      std::make_shared<SimEventPoster>(clock, workspace, std::make_shared<SimScreens>());
  SimAppleScript script{clock, workspace, poster};
  std::shared_ptr<SimApplication> daw;
};

TEST_F(SimAppleScriptTest, TypesTheTextIntoTheFrontmostApplicationThenReturn) {
  EXPECT_FALSE(script.execute(typingScript("01:00:00:00")).has_value());
  EXPECT_EQ(daw->typedText(), "01:00:00:00\n");
  EXPECT_EQ(workspace->hostApplication()->typedText(), "");
  const auto log = poster->keyboardEvents();
  ASSERT_EQ(log.size(), 24u);
  ProcessSerialNumber psn;
  workspace->getProcessForPID(2001, psn);
  EXPECT_EQ(log[0].psn, psn);
  EXPECT_EQ(log[0].event.keyCode, 29);
  EXPECT_EQ(log[22].event.keyCode, 36);
  EXPECT_TRUE(log[22].event.keyDown);
  EXPECT_TRUE(log[22].event.characters.empty());
  EXPECT_FALSE(log[23].event.keyDown);
}

TEST_F(SimAppleScriptTest, EscapedQuotesAndBackslashesArriveIntact) {
  EXPECT_FALSE(script.execute(typingScript(R"(JO\"_2\\_101)")).has_value());
  EXPECT_EQ(daw->typedText(), "JO\"_2\\_101\n");
  ASSERT_EQ(script.executions().size(), 1u);
  EXPECT_FALSE(script.executions()[0].error.has_value());
}

TEST_F(SimAppleScriptTest, OtherEscapesAndATrailingLineFeedAreUnderstood) {
  EXPECT_FALSE(script.execute(typingScript(R"(a\tb\nc)") + "\n").has_value());
  EXPECT_EQ(daw->typedText(), "a\tb\nc\n");
}

TEST_F(SimAppleScriptTest, AnUnescapedQuoteDoesNotCompileAndTypesNothing) {
  const auto error = script.execute(typingScript(R"(JO"_2\_101)"));
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->number, SimAppleScript::syntaxErrorNumber);
  EXPECT_NE(error->message.find("Expected end of line"), std::string::npos) << error->message;
  EXPECT_EQ(daw->typedText(), "");
  EXPECT_TRUE(poster->keyboardEvents().empty());
  ASSERT_EQ(script.executions().size(), 1u);
  EXPECT_TRUE(script.executions()[0].error.has_value());
}

TEST_F(SimAppleScriptTest, MalformedScriptsDoNotCompile) {
  const std::vector<std::string> broken = {
      "",
      "display dialog \"hi\"",
      "property sourceString : \"unterminated",
      "property sourceString : \"ends in a backslash\\",
      typingScript(R"(bad \q escape)"),
      typingScript("x").substr(0, 60),
      typingScript("x") + "\ndelay 1",
      typingScript("x").replace(typingScript("x").find("key code 36"), 11, "key code 76"),
  };
  for (const auto& source : broken) {
    const auto error = script.execute(source);
    ASSERT_TRUE(error.has_value()) << source;
    EXPECT_EQ(error->number, -2741) << source;
    EXPECT_FALSE(error->message.empty());
  }
  EXPECT_TRUE(poster->keyboardEvents().empty());
}

TEST_F(SimAppleScriptTest, KeysFollowTheFrontmostApplicationAndAreTimestamped) {
  workspace->activateIgnoringOtherApps(true);
  clock->advanceTo(1234.5);
  EXPECT_FALSE(script.execute(typingScript("é")).has_value());
  EXPECT_EQ(workspace->hostApplication()->typedText(), "é\n");
  EXPECT_EQ(daw->typedText(), "");
  EXPECT_DOUBLE_EQ(poster->keyboardEvents().at(0).event.timestamp, 1234.5);
}

}  // namespace
