#include "ZAR_DAWControl/platform/sim/SimAppleScript.h"

#include <gtest/gtest.h>

#include "ZAR_DAWControl/platform/sim/SimDesktop.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"

namespace {

using zar::sim::SimAppleScript;

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
    desktop.workspace()->launch(daw);
    desktop.workspace()->activate(2001);
  }
  std::shared_ptr<zar::sim::VirtualClock> clock = std::make_shared<zar::sim::VirtualClock>(1234.5);
  zar::sim::SimDesktop desktop{clock, nullptr, zar::platform::HostIdentity{}};
  SimAppleScript& script = *desktop.appleScript();
  std::shared_ptr<zar::sim::SimApplication> daw =
      std::make_shared<zar::sim::SimApplication>(zar::sim::SimApplication::Info{2001, {}, {}, {}, {}});
};

TEST_F(SimAppleScriptTest, TheTypingScriptTypesItsUnescapedTextIntoTheFrontmostApplicationThenReturn) {
  EXPECT_FALSE(script.execute(typingScript(R"(JO\"_2\\_1\t\n)") + "\n").has_value());
  EXPECT_EQ(daw->typedText(), "JO\"_2\\_1\t\n\n") << "escapes understood; a trailing line feed too";
  EXPECT_EQ(desktop.workspace()->hostApplication()->typedText(), "");
  const auto log = desktop.eventPoster()->keyboardEvents();
  ASSERT_EQ(log.size(), 22u);
  EXPECT_DOUBLE_EQ(log[0].event.timestamp, 1234.5);
  EXPECT_EQ(log[20].event.keyCode, 36);
  EXPECT_TRUE(log[20].event.characters.empty());
  EXPECT_FALSE(log[21].event.keyDown);

  desktop.workspace()->activateIgnoringOtherApps(true);
  EXPECT_FALSE(script.execute(typingScript("é")).has_value());
  EXPECT_EQ(desktop.workspace()->hostApplication()->typedText(), "é\n") << "keys follow the frontmost application";
  ASSERT_EQ(script.executions().size(), 2u);
  EXPECT_FALSE(script.executions()[0].error.has_value());
}

TEST_F(SimAppleScriptTest, MalformedScriptsDoNotCompileAndTypeNothing) {
  const std::string x = typingScript("x");
  for (const auto& source : {typingScript(R"(JO"_2\_101)"), std::string(), std::string("display dialog \"hi\""),
                             std::string("property sourceString : \"unterminated"),
                             std::string("property sourceString : \"ends in a backslash\\"),
                             typingScript(R"(bad \q escape)"), x.substr(0, 60), x + "\ndelay 1",
                             std::string(x).replace(x.find("key code 36"), 11, "key code 76")}) {
    const auto error = script.execute(source);
    ASSERT_TRUE(error.has_value()) << source;
    EXPECT_EQ(error->number, SimAppleScript::syntaxErrorNumber) << source;
    EXPECT_FALSE(error->message.empty());
  }
  EXPECT_NE(script.executions()[0].error->message.find("Expected end of line"), std::string::npos)
      << "an unescaped quote ends the literal early";
  EXPECT_EQ(daw->typedText(), "");
  EXPECT_TRUE(desktop.eventPoster()->keyboardEvents().empty());
}

}  // namespace
