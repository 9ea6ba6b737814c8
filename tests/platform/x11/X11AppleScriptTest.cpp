#include "ZAR_DAWControl/platform/x11/X11AppleScript.h"
#include "ZAR_DAWControl/platform/utility/TypingScript.h"

#include <gtest/gtest.h>

#include "ZAR_DAWControl/platform/sim/VirtualClock.h"
#include "support/FakeAtspiBus.h"

namespace {

using zar::platform::TypingScript;
using zar::x11::X11AppleScript;

std::string script(const std::string& literal) {
  return "property sourceString : \"" + literal +
         "\"\nset cnt to length of sourceString\nrepeat with i from 1 to cnt\n"
         "    tell application \"System Events\" to keystroke character i of sourceString\n"
         "end repeat\ntell application \"System Events\" to key code 36";
}

TEST(X11AppleScriptTest, RecognisesOnlyTheTypingScript) {
  EXPECT_EQ(TypingScript::typedText(script(R"(JO\"_2\\_1\té)") + "\n"), "JO\"_2\\_1\té");
  EXPECT_EQ(TypingScript::typedText(script("")), "");
  const std::string x = script("x");
  for (const auto& broken : {script(R"(JO"_2)"), std::string(), std::string("display dialog \"hi\""),
                             std::string("property sourceString : \"open"), std::string("property sourceString : \"\\"),
                             script(R"(\q)"), x.substr(0, 60), x + "\ndelay 1",
                             std::string(x).replace(x.find("key code 36"), 11, "key code 76")}) {
    EXPECT_FALSE(TypingScript::typedText(broken)) << broken;
  }
  // A script that does not compile fails as one before anything is typed.
  X11AppleScript service(std::make_shared<zar::x11::X11Keyboard>(std::make_shared<zar::x11::X11Display>()),
                         std::make_shared<zar::x11::AtspiMirror>(std::make_shared<zar::test::FakeAtspiBus>(),
                                                                 std::make_shared<zar::sim::VirtualClock>(),
                                                                 zar::x11::AtspiMirror::Options{}));
  const auto error = service.execute("display dialog \"hi\"");
  ASSERT_TRUE(error);
  EXPECT_EQ(error->number, X11AppleScript::syntaxErrorNumber);
}

}  // namespace
