#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "ZAR_DAWControl/platform/default/DefaultPlatform.h"
#include "ZAR_DAWControl/platform/sim/SimDesktop.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"

namespace {

using zar::platform::AXAttributeValue;
using zar::platform::AXError;
using zar::platform::AXUIElementRef;
using zar::platform::AXValueList;
using zar::platform::HostIdentity;
using zar::platform::Platform;
using zar::sim::SimApplication;
using zar::sim::SimDesktop;
using zar::sim::SimElement;
using zar::sim::VirtualClock;

TEST(SimDesktop, ProvidesItsServicesToAPlatform) {
  SimDesktop desktop(std::make_shared<VirtualClock>(), nullptr, HostIdentity{"com.example.Host", "Host"});
  Platform platform;
  desktop.provideServices(platform);
  EXPECT_EQ(platform.accessibility, desktop.accessibility());
  EXPECT_EQ(platform.accessibilityHelper, desktop.accessibilityHelper());
  EXPECT_EQ(platform.eventPoster, desktop.eventPoster());
  EXPECT_EQ(platform.workspace, desktop.workspace());
  EXPECT_EQ(platform.screens, desktop.screens());
  EXPECT_EQ(platform.alerts, desktop.alerts());
  EXPECT_EQ(platform.appleScript, desktop.appleScript());
  EXPECT_EQ(platform.workspace->mainBundleIdentifier(), "com.example.Host");
  EXPECT_EQ(platform.clock, nullptr);
}

TEST(SimDesktop, NeedsAClock) {
  EXPECT_THROW(SimDesktop(nullptr, nullptr, HostIdentity{}), std::invalid_argument);
}

TEST(SimDesktop, TheDefaultPlatformRunsOnTheSimulatedDesktop) {
  const auto platform = zar::platform::makeDefaultPlatform(HostIdentity{"com.example.Default", "Default"});
  ASSERT_NE(platform->workspace, nullptr);
  ASSERT_NE(platform->accessibility, nullptr);
  ASSERT_NE(platform->appleScript, nullptr);
  EXPECT_EQ(platform->workspace->mainBundleIdentifier(), "com.example.Default");
  EXPECT_EQ(platform->workspace->runningApplications().size(), 1u);
  EXPECT_EQ(platform->screens->screenFrames().size(), 1u);
}

TEST(SimDesktop, ADoubleClickThenTypingReachesTheApplicationUnderThePointer) {
  // An application whose name field takes a double-click and then what is typed.
  class NamingApplication : public SimApplication {
   public:
    using SimApplication::SimApplication;
    bool mouseEvent(const zar::platform::MouseEvent& event) override { return hitTest(event.location) != nullptr; }
  };
  auto clock = std::make_shared<VirtualClock>();
  SimDesktop desktop(clock, nullptr, HostIdentity{});
  SimApplication::Info info;
  info.processIdentifier = desktop.workspace()->unusedProcessIdentifier();
  auto daw = std::make_shared<NamingApplication>(info);
  auto window = daw->addWindow("Edit: Session");
  window->setFrame({{0, 0}, {800, 600}});
  ASSERT_TRUE(desktop.workspace()->launch(daw));

  zar::platform::MouseEvent click;
  click.type = zar::platform::MouseEventType::leftMouseDown;
  click.location = {400, 300};
  desktop.eventPoster()->postMouseEvent(click);
  EXPECT_EQ(desktop.workspace()->frontmostApplication(), daw);
  const auto error = desktop.appleScript()->execute(
      "property sourceString : \"Vox\"\n"
      "set cnt to length of sourceString\n"
      "repeat with i from 1 to cnt\n"
      "    tell application \"System Events\" to keystroke character i of sourceString\n"
      "end repeat\n"
      "tell application \"System Events\" to key code 36");
  EXPECT_FALSE(error.has_value());
  EXPECT_EQ(daw->typedText(), "Vox\n");
}

// Readers walk and read the tree through the accessibility interface while a writer rebuilds it
// and kills parts of it; every answer must be a whole one.
TEST(SimDesktop, ElementReadsStayConsistentWhileTheTreeChanges) {
  SimDesktop desktop(std::make_shared<VirtualClock>(), nullptr, HostIdentity{});
  SimApplication::Info info;
  info.processIdentifier = desktop.workspace()->unusedProcessIdentifier();
  auto application = std::make_shared<SimApplication>(info);
  ASSERT_TRUE(desktop.workspace()->launch(application));
  auto window = application->addWindow("Edit: Session");
  auto& accessibility = *desktop.accessibility();
  const auto root = accessibility.createApplication(info.processIdentifier);

  std::atomic<bool> done{false};
  std::atomic<long> reads{0};
  std::atomic<long> inconsistencies{0};
  std::atomic<int> started{0};
  auto reader = [&] {
    ++started;
    while (!done.load()) {
      AXAttributeValue windows;
      if (accessibility.copyAttributeValue(root, "AXWindows", windows) != AXError::success) {
        ++inconsistencies;
        continue;
      }
      for (const auto& w : *windows.get<AXValueList>()) {
        AXAttributeValue children;
        const auto& element = *w.get<AXUIElementRef>();
        const auto result = accessibility.copyAttributeValue(element, "AXChildren", children);
        if (result == AXError::invalidUIElement) {
          continue;
        }
        long count = -1;
        accessibility.getAttributeValueCount(element, "AXChildren", count);
        for (const auto& child : *children.get<AXValueList>()) {
          AXAttributeValue title;
          const auto titleResult = accessibility.copyAttributeValue(*child.get<AXUIElementRef>(), "AXTitle", title);
          // A row is made with its title in one locked step, so it never lacks one.
          if (titleResult == AXError::attributeUnsupported) {
            ++inconsistencies;
          }
          ++reads;
        }
      }
    }
  };
  std::thread r1(reader);
  std::thread r2(reader);
  while (started.load() < 2) {
    std::this_thread::yield();
  }
  // Enough rounds to overlap with many reads, however the threads get scheduled.
  for (int round = 0; round < 300 || (reads.load() < 2000 && round < 1000000); ++round) {
    auto lock = SimElement::lockTree();
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
  done = true;
  r1.join();
  r2.join();
  EXPECT_EQ(inconsistencies.load(), 0);
  EXPECT_GT(reads.load(), 0);
}

}  // namespace
