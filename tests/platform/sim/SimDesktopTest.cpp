#include "ZAR_DAWControl/platform/sim/SimDesktop.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <limits>

#include "ZAR_DAWControl/platform/default/DefaultPlatform.h"
#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"
#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"
#include "support/Rendezvous.h"

// The simulated desktop's services, for what the framework's own tests don't reach: refusals, error
// answers, and the rules of activation, hit-testing and modal alerts they rely on.

namespace {

using zar::platform::AXAttributeValue;
using zar::platform::AXError;
using zar::platform::AXUIElementRef;
using zar::platform::AXValueList;
using zar::platform::Point;
using zar::platform::Rect;
using zar::sim::SimApplication;
using Applications = std::vector<std::shared_ptr<SimApplication>>;

// Takes a mouse event where one of its elements lies, as an application with windows there would.
class Clickable final : public SimApplication {
 public:
  explicit Clickable(std::int32_t pid) : SimApplication(Info{pid, "com.example." + std::to_string(pid), {}, "App", {}}) {}
  bool mouseEvent(const zar::platform::MouseEvent& event) override { return hitTest(event.location) != nullptr; }
};

class SimDesktopTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(workspace.launch(a));
    ASSERT_TRUE(workspace.launch(b));
    a->addWindow("Back")->setFrame(Rect{{0, 0}, {500, 500}});
  }
  void click(Point location, std::int64_t clickState = 1) {
    zar::platform::MouseEvent event;
    event.location = location;
    event.clickState = clickState;
    for (const auto type : {zar::platform::MouseEventType::leftMouseDown, zar::platform::MouseEventType::leftMouseUp}) {
      event.type = type;
      desktop.eventPoster()->postMouseEvent(event);
    }
  }

  std::shared_ptr<zar::sim::VirtualClock> clock = std::make_shared<zar::sim::VirtualClock>(100.0);
  std::shared_ptr<zar::native::MainRunLoop> runLoop = std::make_shared<zar::native::MainRunLoop>(clock);
  zar::sim::SimDesktop desktop{clock, runLoop, zar::platform::HostIdentity{"com.example.Host", "Host"}};
  zar::sim::SimWorkspace& workspace = *desktop.workspace();
  zar::sim::SimAccessibility& accessibility = *desktop.accessibility();
  std::shared_ptr<SimApplication> host = workspace.hostApplication();
  std::shared_ptr<Clickable> a = std::make_shared<Clickable>(2000);
  std::shared_ptr<Clickable> b = std::make_shared<Clickable>(1500);
  AXAttributeValue value;
};

TEST_F(SimDesktopTest, TheWorkspaceListsLaunchesAndHandsActivationBackToTheHost) {
  EXPECT_EQ(workspace.runningApplications().at(0)->processIdentifier, static_cast<std::int32_t>(::getpid()));
  EXPECT_EQ(workspace.mainBundleIdentifier(), "com.example.Host");
  for (const auto& refused : {std::make_shared<Clickable>(1500), std::make_shared<Clickable>(0), {}}) {
    EXPECT_FALSE(workspace.launch(refused)) << "a pid in use, no pid or no application";
  }
  EXPECT_FALSE(workspace.quit(host->processIdentifier()));
  EXPECT_FALSE(workspace.activate(4711));
  EXPECT_EQ(workspace.applicationsFrontToBack(), (Applications{host, a, b})) << "launching doesn't activate";
  ASSERT_TRUE(workspace.activate(1500));
  EXPECT_EQ(workspace.applicationsFrontToBack(), (Applications{b, host, a}));
  EXPECT_EQ(workspace.activeApplication()->at("NSApplicationBundleIdentifier"), zar::platform::PropertyValue("com.example.1500"));
  workspace.activateIgnoringOtherApps(false);
  EXPECT_EQ(workspace.frontmostApplication(), b) << "the host doesn't push itself forward";
  workspace.activateIgnoringOtherApps(true);
  EXPECT_EQ(workspace.frontmostApplication(), host);
  workspace.activate(2000);
  ASSERT_TRUE(workspace.quit(2000));
  EXPECT_FALSE(workspace.quit(2000));
  EXPECT_EQ(workspace.applicationsFrontToBack(), (Applications{host, b})) << "the active one quit: the host is active";
  EXPECT_EQ(workspace.runningApplicationWithProcessIdentifier(2000), nullptr);
  zar::platform::ProcessSerialNumber psn{7, 7};
  EXPECT_EQ(workspace.getProcessForPID(2000, psn), zar::platform::ProcessLookupProcNotFound);
  EXPECT_EQ(psn, zar::platform::ProcessSerialNumber{});
  ASSERT_EQ(workspace.getProcessForPID(1500, psn), zar::platform::ProcessLookupNoErr);
  EXPECT_EQ(workspace.application(psn), b);
  EXPECT_EQ(workspace.application(zar::platform::ProcessSerialNumber{0, 1}), nullptr);
  EXPECT_FALSE(workspace.bundleInfoDictionary("file:///nowhere/").has_value());
}

TEST_F(SimDesktopTest, AccessibilityAnswersForLiveElementsOnlyAndWhileTheHostIsTrusted) {
  auto edit = a->addWindow("Edit: Session");
  auto field = edit->addChild(a->makeElement("AXTextField", "Edit Selection Start"));
  const auto root = accessibility.createApplication(2000);
  ASSERT_EQ(accessibility.copyAttributeValue(root, "AXTitle", value), AXError::success);
  EXPECT_EQ(value, AXAttributeValue("App"));
  ASSERT_TRUE(a->closeWindow(edit));
  EXPECT_FALSE(a->closeWindow(edit));
  EXPECT_EQ(accessibility.copyAttributeValue(field, "AXRole", value), AXError::invalidUIElement);
  long count = 0;
  ASSERT_EQ(accessibility.getAttributeValueCount(root, "AXWindows", count), AXError::success);
  EXPECT_EQ(count, 1) << "closing a window kills only that window";

  class Foreign : public zar::platform::AXUIElement {};
  const AXUIElementRef foreign = std::make_shared<Foreign>();
  EXPECT_EQ(accessibility.copyAttributeValue(nullptr, "AXRole", value), AXError::illegalArgument);
  EXPECT_EQ(accessibility.copyAttributeValue(foreign, "AXRole", value), AXError::illegalArgument);
  EXPECT_EQ(accessibility.genericDescription(nullptr), "<AXUIElement (null)>");
  EXPECT_EQ(accessibility.genericDescription(foreign).rfind("<AXUIElement 0x", 0), 0u);
  EXPECT_EQ(accessibility.performAction(accessibility.createApplication(99999), "AXPress"), AXError::cannotComplete);
  EXPECT_NE(accessibility.genericDescription(accessibility.createApplication(99999)).find("pid=99999>"), std::string::npos);

  const auto& helper = desktop.accessibilityHelper();
  helper->setTrusted(false);
  EXPECT_EQ(accessibility.copyAttributeValue(root, "AXRole", value), AXError::apiDisabled);
  helper->setGrantsOnRequest(true);
  std::thread([&] { helper->askUserToActivateAccessibility(); }).join();
  EXPECT_EQ(accessibility.copyAttributeValue(root, "AXRole", value), AXError::success);
  EXPECT_FALSE(helper->requests().at(0).onMainThread);

  workspace.quit(2000);
  EXPECT_EQ(accessibility.copyAttributeValue(root, "AXRole", value), AXError::invalidUIElement);
  EXPECT_EQ(accessibility.copyAttributeValue(accessibility.createApplication(2000), "AXRole", value),
            AXError::cannotComplete) << "nobody there any more";
}

TEST_F(SimDesktopTest, ClicksGoToTheFrontmostApplicationWithAnElementThereAndTheDeepestElementIsHit) {
  auto front = b->addWindow("Front");
  front->setFrame(Rect{{100, 100}, {400, 300}});
  auto row = front->addChild(b->makeElement("AXGroup"))->addChild(b->makeElement("AXGroup"));
  row->setFrame(Rect{{100, 150}, {400, 50}});
  auto name = row->addChild(b->makeElement("AXTextField"));
  name->setFrame(Rect{{110, 160}, {80, 20}});
  auto overlapping = row->addChild(b->makeElement("AXButton"));
  overlapping->setFrame(Rect{{150, 160}, {20, 20}});
  const std::pair<Point, std::shared_ptr<zar::sim::SimElement>> hits[] = {
      {{120, 170}, name}, {{155, 165}, overlapping},  // the later sibling lies on top
      {{300, 190}, row},  {{190, 170}, row},          // right and bottom edges lie outside
      {{50, 50}, nullptr}};
  for (const auto& [point, element] : hits) EXPECT_EQ(b->hitTest(point), element) << point.x;
  name->invalidate();
  EXPECT_EQ(b->hitTest(Point{120, 170}), row);

  click({120, 170}, 2);
  EXPECT_EQ(workspace.frontmostApplication(), a) << "in front of the later launched, it takes the click";
  EXPECT_EQ(desktop.eventPoster()->mouseEvents().at(0).handledBy, 2000);
  workspace.activate(1500);
  click({120, 170});
  EXPECT_EQ(workspace.frontmostApplication(), b);
  click({1000, 1000});
  EXPECT_EQ(desktop.eventPoster()->mouseEvents().back().handledBy, 0);
  EXPECT_EQ(desktop.screens()->mouseLocation(), (Point{1000, 80})) << "the pointer in Cocoa coordinates";
  EXPECT_EQ(workspace.frontmostApplication(), b) << "an unhandled click activates nobody";
}

TEST_F(SimDesktopTest, KeysAndTheTypingScriptReachTheirApplication) {
  zar::platform::ProcessSerialNumber psn;
  workspace.getProcessForPID(1500, psn);
  for (const auto& event : zar::platform::KeyboardLayout::keyEventsForText("1:", true)) {
    desktop.eventPoster()->postKeyboardEvent(psn, event);
  }
  zar::platform::KeyboardEvent shortcut;
  shortcut.keyDown = true;
  shortcut.flags = zar::platform::EventFlagMaskCommand;
  desktop.eventPoster()->postKeyboardEvent(psn, shortcut);
  EXPECT_EQ(b->typedText(), "1:\n") << "a shortcut types nothing";
  workspace.quit(1500);
  desktop.eventPoster()->postKeyboardEvent(psn, shortcut);
  EXPECT_FALSE(desktop.eventPoster()->keyboardEvents().back().delivered);

  const auto script = [](const std::string& literal) {
    return "property sourceString : \"" + literal +
           "\"\nset cnt to length of sourceString\nrepeat with i from 1 to cnt\n"
           "    tell application \"System Events\" to keystroke character i of sourceString\n"
           "end repeat\ntell application \"System Events\" to key code 36";
  };
  workspace.activate(2000);
  EXPECT_FALSE(desktop.appleScript()->execute(script(R"(JO\"_2\\_1\té)") + "\n").has_value());
  EXPECT_EQ(a->typedText(), "JO\"_2\\_1\té\n") << "escapes understood, into the frontmost application";
  const std::string x = script("x");
  for (const auto& broken : {script(R"(JO"_2)"), std::string(), std::string("display dialog \"hi\""),
                             std::string("property sourceString : \"open"), std::string("property sourceString : \"\\"),
                             script(R"(\q)"), x.substr(0, 60), x + "\ndelay 1",
                             std::string(x).replace(x.find("key code 36"), 11, "key code 76")}) {
    const auto error = desktop.appleScript()->execute(broken);
    EXPECT_EQ(error.value_or(zar::platform::AppleScriptError{}).number, zar::sim::SimAppleScript::syntaxErrorNumber)
        << broken;
  }
  EXPECT_EQ(a->typedText(), "JO\"_2\\_1\té\n") << "a script that doesn't compile types nothing";
}

TEST_F(SimDesktopTest, AlertsTakeScriptedAnswersWhileTheMainLoopRunsNested) {
  zar::platform::AlertRequest request;
  request.defaultButton = "OK";
  auto& alerts = *desktop.alerts();
  alerts.enqueueAnswer({zar::platform::AlertAlternateReturn, true, 0});
  const auto plain = alerts.runModal(request);
  EXPECT_EQ(plain.buttonReturn, zar::platform::AlertDefaultReturn) << "no alternate button to press";
  EXPECT_FALSE(plain.suppressionButtonChecked) << "no box to tick";
  request.alternateButton = "Cancel";
  request.otherButton = "More";
  request.showsSuppressionButton = true;
  request.suppressionButtonChecked = true;
  EXPECT_TRUE(alerts.runModal(request).suppressionButtonChecked) << "unscripted: closed as it was";
  alerts.enqueueAnswer({zar::platform::AlertOtherReturn, true, 0});
  EXPECT_EQ(alerts.runModal(request).buttonReturn, zar::platform::AlertOtherReturn);

  int ticks = 0;
  auto timer = runLoop->scheduleRepeatingTimer(0.5, [&] { ++ticks; });
  runLoop->perform([&] { alerts.runModal(request); });
  alerts.enqueueAnswer({zar::platform::AlertDefaultReturn, false, 2.0});
  alerts.enqueueAnswer({zar::platform::AlertAlternateReturn, true, 0});
  EXPECT_FALSE(alerts.runModal(request).suppressionButtonChecked);
  EXPECT_EQ(ticks, 4);
  EXPECT_DOUBLE_EQ(clock->now(), 102.0);
  EXPECT_EQ(alerts.shownAlerts().back().response.buttonReturn, zar::platform::AlertAlternateReturn)
      << "raised during the first, it took the next answer";
  EXPECT_EQ(alerts.pendingAnswers(), 0u);

  zar::sim::SimAlerts loopless(clock, nullptr);
  loopless.enqueueAnswer({zar::platform::AlertDefaultReturn, false, 3.0});
  loopless.enqueueAnswer({zar::platform::AlertDefaultReturn, false, std::numeric_limits<double>::infinity()});
  loopless.runModal(request);
  loopless.runModal(request);
  EXPECT_DOUBLE_EQ(clock->now(), 105.0) << "without a loop time jumps; an endless think doesn't";
  EXPECT_FALSE(loopless.shownAlerts().at(0).onMainThread);
}

TEST(SimDesktop, TheDefaultPlatformRunsOnTheSimulatedDesktop) {
  EXPECT_THROW(zar::sim::SimDesktop(nullptr, nullptr, zar::platform::HostIdentity{}), std::invalid_argument);
  const auto platform = zar::platform::makeDefaultPlatform(zar::platform::HostIdentity{"com.example.Default", "Default"});
  ASSERT_TRUE(platform->workspace && platform->accessibility && platform->appleScript && platform->alerts);
  EXPECT_EQ(platform->workspace->mainBundleIdentifier(), "com.example.Default");
  EXPECT_EQ(platform->screens->screenFrames().size(), 1u);
}
// Readers walk the tree through the accessibility interface while a writer rebuilds it and kills
// parts of it under the tree lock; every answer must be a whole one. Each round of the writer
// waits until the readers have read since the round before, so the two overlap on every machine.
TEST(SimDesktop, ElementReadsStayConsistentWhileTheTreeChanges) {
  zar::sim::SimDesktop desktop(std::make_shared<zar::sim::VirtualClock>(), nullptr, zar::platform::HostIdentity{});
  auto application = std::make_shared<zar::sim::SimApplication>(zar::sim::SimApplication::Info{4711, {}, {}, {}, {}});
  ASSERT_TRUE(desktop.workspace()->launch(application));
  auto window = application->addWindow("Edit: Session");
  auto& accessibility = *desktop.accessibility();
  const auto root = accessibility.createApplication(4711);

  std::atomic<bool> done{false};
  std::atomic<long> reads{0};
  std::atomic<long> inconsistencies{0};
  auto reader = [&] {
    while (!done.load()) {
      AXAttributeValue windows;
      if (accessibility.copyAttributeValue(root, "AXWindows", windows) != AXError::success) {
        ++inconsistencies;
        continue;
      }
      for (const auto& w : *windows.get<AXValueList>()) {
        AXAttributeValue children;
        if (accessibility.copyAttributeValue(*w.get<AXUIElementRef>(), "AXChildren", children) != AXError::success) {
          continue;  // the window died meanwhile
        }
        for (const auto& child : *children.get<AXValueList>()) {
          AXAttributeValue title;
          // A row is made with its title in one locked step, so it never lacks one.
          const auto result = accessibility.copyAttributeValue(*child.get<AXUIElementRef>(), "AXTitle", title);
          if (result == AXError::attributeUnsupported) ++inconsistencies;
        }
      }
      ++reads;
    }
  };
  std::thread r1(reader);
  std::thread r2(reader);
  for (int round = 0; round < 100; ++round) {
    {
      auto lock = zar::sim::SimElement::lockTree();
      auto row = application->makeElement("AXRow", "Audio " + std::to_string(round));
      window->addChild(row);
      row->setAttribute("AXValue", static_cast<double>(round));
      if (round % 10 == 9) {
        application->closeWindow(window);
        window = application->addWindow("Edit: Session " + std::to_string(round));
      } else if (window->children().size() > 5) {
        window->removeChild(window->children().front());
      }
    }
    const long before = reads.load();
    if (!zar::test::eventually([&] { return reads.load() > before + 2; })) break;
  }
  done = true;
  r1.join();
  r2.join();
  EXPECT_EQ(inconsistencies.load(), 0);
  EXPECT_GT(reads.load(), 200);
}

}  // namespace
