#include "ZAR_DAWControl/platform/sim/SimDesktop.h"

#include <gtest/gtest.h>

#include <atomic>

#include "ZAR_DAWControl/platform/default/DefaultPlatform.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"
#include "support/Rendezvous.h"

namespace {

using zar::platform::AXAttributeValue;
using zar::platform::AXError;
using zar::platform::AXUIElementRef;
using zar::platform::AXValueList;
using zar::platform::HostIdentity;

TEST(SimDesktop, TheDefaultPlatformRunsOnTheSimulatedDesktop) {
  EXPECT_THROW(zar::sim::SimDesktop(nullptr, nullptr, HostIdentity{}), std::invalid_argument);
  const auto platform = zar::platform::makeDefaultPlatform(HostIdentity{"com.example.Default", "Default"});
  ASSERT_TRUE(platform->workspace && platform->accessibility && platform->appleScript && platform->alerts);
  EXPECT_EQ(platform->workspace->mainBundleIdentifier(), "com.example.Default");
  EXPECT_EQ(platform->workspace->runningApplications().size(), 1u);
  EXPECT_EQ(platform->screens->screenFrames().size(), 1u);
}

// Readers walk the tree through the accessibility interface while a writer rebuilds it and kills
// parts of it under the tree lock; every answer must be a whole one. Each round of the writer
// waits until the readers have read since the round before, so the two overlap on every machine.
TEST(SimDesktop, ElementReadsStayConsistentWhileTheTreeChanges) {
  zar::sim::SimDesktop desktop(std::make_shared<zar::sim::VirtualClock>(), nullptr, HostIdentity{});
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
