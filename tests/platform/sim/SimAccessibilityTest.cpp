#include "ZAR_DAWControl/platform/sim/SimAccessibility.h"

#include <gtest/gtest.h>

#include "ZAR_DAWControl/platform/sim/SimDesktop.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"

namespace {

using zar::platform::AXAttributeValue;
using zar::platform::AXError;
using zar::platform::AXUIElementRef;
using zar::platform::AXValueList;

class SimAccessibilityTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(desktop.workspace()->launch(application)); }
  AXError read(const AXUIElementRef& element, const std::string& attribute) {
    return accessibility.copyAttributeValue(element, attribute, value);
  }

  zar::sim::SimDesktop desktop{std::make_shared<zar::sim::VirtualClock>(), nullptr, zar::platform::HostIdentity{}};
  zar::sim::SimAccessibility& accessibility = *desktop.accessibility();
  std::shared_ptr<zar::sim::SimApplication> application =
      std::make_shared<zar::sim::SimApplication>(zar::sim::SimApplication::Info{4711, {}, {}, "Pro Tools", {}});
  AXAttributeValue value;
};

TEST_F(SimAccessibilityTest, TheApplicationElementOfARunningApplicationListsItsWindows) {
  auto mix = application->addWindow("Mix: Session");
  auto edit = application->addWindow("Edit: Session");
  const auto element = accessibility.createApplication(4711);
  EXPECT_EQ(element, application->applicationElement());
  ASSERT_EQ(read(element, "AXRole"), AXError::success);
  EXPECT_EQ(value, AXAttributeValue("AXApplication"));
  ASSERT_EQ(read(element, "AXTitle"), AXError::success);
  EXPECT_EQ(value, AXAttributeValue("Pro Tools"));
  std::int32_t pid = 0;
  ASSERT_EQ(accessibility.getPid(edit, pid), AXError::success);
  EXPECT_EQ(pid, 4711);

  // Closing a window kills only that window.
  auto cluster = edit->addChild(application->makeElement("AXGroup", "Counter Display Cluster"));
  ASSERT_TRUE(application->closeWindow(edit));
  EXPECT_FALSE(application->closeWindow(edit));
  EXPECT_EQ(read(cluster, "AXTitle"), AXError::invalidUIElement);
  ASSERT_EQ(read(element, "AXWindows"), AXError::success);
  EXPECT_EQ(value, AXAttributeValue(AXValueList{AXUIElementRef(mix)}));
  long count = 0;
  ASSERT_EQ(accessibility.getAttributeValueCount(element, "AXWindows", count), AXError::success);
  EXPECT_EQ(count, 1);
}

TEST_F(SimAccessibilityTest, UnknownProcessesNullOrForeignHandlesAndAnUntrustedHostAreRefused) {
  class ForeignElement : public zar::platform::AXUIElement {};
  const auto unknown = accessibility.createApplication(99999);
  ASSERT_NE(unknown, nullptr);
  EXPECT_EQ(accessibility.performAction(unknown, "AXPress"), AXError::cannotComplete);
  EXPECT_NE(accessibility.genericDescription(unknown).find("pid=99999>"), std::string::npos);
  const AXUIElementRef foreign = std::make_shared<ForeignElement>();
  EXPECT_EQ(read(nullptr, "AXRole"), AXError::illegalArgument);
  EXPECT_EQ(read(foreign, "AXRole"), AXError::illegalArgument);
  EXPECT_EQ(accessibility.genericDescription(nullptr), "<AXUIElement (null)>");
  EXPECT_EQ(accessibility.genericDescription(foreign).rfind("<AXUIElement 0x", 0), 0u);

  const auto element = accessibility.createApplication(4711);
  const auto& helper = desktop.accessibilityHelper();
  helper->setTrusted(false);
  EXPECT_EQ(read(element, "AXRole"), AXError::apiDisabled);
  helper->setGrantsOnRequest(true);
  helper->askUserToActivateAccessibility();
  EXPECT_TRUE(helper->checkIfAccessibilityIsAvailable());
  EXPECT_EQ(read(element, "AXRole"), AXError::success);
  ASSERT_EQ(helper->requests().size(), 1u);
  EXPECT_FALSE(helper->requests()[0].onMainThread);
}

TEST_F(SimAccessibilityTest, QuittingKillsEveryElementOfTheApplication) {
  auto window = application->addWindow("Edit: Session");
  auto field = window->addChild(application->makeElement("AXTextField", "Edit Selection Start"));
  auto detached = application->makeElement("AXMenu");
  const auto root = accessibility.createApplication(4711);
  ASSERT_TRUE(desktop.workspace()->quit(4711));
  for (const auto& element : std::vector<AXUIElementRef>{field, window, detached, root}) {
    EXPECT_EQ(read(element, "AXRole"), AXError::invalidUIElement);
  }
  EXPECT_EQ(read(accessibility.createApplication(4711), "AXRole"), AXError::cannotComplete) << "nobody there";
}

}  // namespace
