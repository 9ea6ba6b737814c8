#include <gtest/gtest.h>

#include "ZAR_DAWControl/platform/sim/SimAccessibility.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"

namespace {

using zar::platform::AXAttributeValue;
using zar::platform::AXError;
using zar::platform::AXUIElement;
using zar::platform::AXUIElementRef;
using zar::platform::AXValueList;
using zar::platform::HostIdentity;
using zar::sim::SimAccessibility;
using zar::sim::SimAccessibilityHelper;
using zar::sim::SimApplication;
using zar::sim::SimWorkspace;
using zar::sim::VirtualClock;

class ForeignElement : public AXUIElement {};

class SimAccessibilityTest : public ::testing::Test {
 protected:
  std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
  std::shared_ptr<SimWorkspace> workspace = std::make_shared<SimWorkspace>(HostIdentity{});
  std::shared_ptr<SimAccessibilityHelper> helper = std::make_shared<SimAccessibilityHelper>(clock, nullptr);
  SimAccessibility accessibility{workspace, helper};

  std::shared_ptr<SimApplication> launch(const std::string& name) {
    SimApplication::Info info;
    info.processIdentifier = workspace->unusedProcessIdentifier();
    info.localizedName = name;
    auto application = std::make_shared<SimApplication>(info);
    EXPECT_TRUE(workspace->launch(application));
    return application;
  }
};

TEST_F(SimAccessibilityTest, ApplicationElementOfARunningApplication) {
  auto application = launch("Pro Tools");
  auto window = application->addWindow("Edit: Session");

  const auto element = accessibility.createApplication(application->processIdentifier());
  EXPECT_EQ(element, application->applicationElement());
  AXAttributeValue value;
  ASSERT_EQ(accessibility.copyAttributeValue(element, "AXRole", value), AXError::success);
  EXPECT_EQ(value, AXAttributeValue("AXApplication"));
  ASSERT_EQ(accessibility.copyAttributeValue(element, "AXTitle", value), AXError::success);
  EXPECT_EQ(value, AXAttributeValue("Pro Tools"));
  ASSERT_EQ(accessibility.copyAttributeValue(element, "AXWindows", value), AXError::success);
  EXPECT_EQ(value, AXAttributeValue(AXValueList{AXUIElementRef(window)}));
  long count = 0;
  ASSERT_EQ(accessibility.getAttributeValueCount(element, "AXWindows", count), AXError::success);
  EXPECT_EQ(count, 1);
  std::int32_t pid = 0;
  ASSERT_EQ(accessibility.getPid(window, pid), AXError::success);
  EXPECT_EQ(pid, application->processIdentifier());
}

TEST_F(SimAccessibilityTest, UnknownProcessGivesAnElementThatCannotComplete) {
  const auto element = accessibility.createApplication(99999);
  ASSERT_NE(element, nullptr);
  std::vector<std::string> names;
  EXPECT_EQ(accessibility.copyAttributeNames(element, names), AXError::cannotComplete);
  EXPECT_EQ(accessibility.performAction(element, "AXPress"), AXError::cannotComplete);
  EXPECT_NE(accessibility.genericDescription(element).find("pid=99999>"), std::string::npos);
}

TEST_F(SimAccessibilityTest, NullAndForeignHandlesAreIllegalArguments) {
  const AXUIElementRef foreign = std::make_shared<ForeignElement>();
  AXAttributeValue value;
  std::int32_t pid = 0;
  EXPECT_EQ(accessibility.copyAttributeValue(nullptr, "AXRole", value), AXError::illegalArgument);
  EXPECT_EQ(accessibility.copyAttributeValue(foreign, "AXRole", value), AXError::illegalArgument);
  EXPECT_EQ(accessibility.getPid(nullptr, pid), AXError::illegalArgument);
  EXPECT_EQ(accessibility.genericDescription(nullptr), "<AXUIElement (null)>");
  EXPECT_EQ(accessibility.genericDescription(foreign).rfind("<AXUIElement 0x", 0), 0u);
}

TEST_F(SimAccessibilityTest, WhileUntrustedEveryCallIsRefused) {
  auto application = launch("App");
  const auto element = accessibility.createApplication(application->processIdentifier());
  helper->setTrusted(false);
  AXAttributeValue value;
  EXPECT_EQ(accessibility.copyAttributeValue(element, "AXRole", value), AXError::apiDisabled);
  helper->setGrantsOnRequest(true);
  helper->askUserToActivateAccessibility();
  EXPECT_TRUE(helper->checkIfAccessibilityIsAvailable());
  EXPECT_EQ(accessibility.copyAttributeValue(element, "AXRole", value), AXError::success);
  ASSERT_EQ(helper->requests().size(), 1u);
  EXPECT_FALSE(helper->requests()[0].onMainThread);
}

TEST_F(SimAccessibilityTest, QuittingKillsEveryElementOfTheApplication) {
  auto application = launch("Pro Tools");
  auto window = application->addWindow("Edit: Session");
  auto field = window->addChild(application->makeElement("AXTextField", "Edit Selection Start"));
  auto detached = application->makeElement("AXMenu");
  const auto root = accessibility.createApplication(application->processIdentifier());

  ASSERT_TRUE(workspace->quit(application->processIdentifier()));
  AXAttributeValue value;
  EXPECT_EQ(accessibility.copyAttributeValue(field, "AXTitle", value), AXError::invalidUIElement);
  EXPECT_EQ(accessibility.copyAttributeValue(window, "AXTitle", value), AXError::invalidUIElement);
  EXPECT_EQ(accessibility.copyAttributeValue(detached, "AXRole", value), AXError::invalidUIElement);
  EXPECT_EQ(accessibility.copyAttributeValue(root, "AXRole", value), AXError::invalidUIElement);
  // Asking again for the process finds nobody there.
  EXPECT_EQ(accessibility.copyAttributeValue(accessibility.createApplication(application->processIdentifier()),
                                             "AXRole", value),
            AXError::cannotComplete);
}

TEST_F(SimAccessibilityTest, ClosingAWindowKillsOnlyThatWindow) {
  auto application = launch("Pro Tools");
  auto mix = application->addWindow("Mix: Session");
  auto edit = application->addWindow("Edit: Session");
  auto cluster = edit->addChild(application->makeElement("AXGroup", "Counter Display Cluster"));
  ASSERT_TRUE(application->closeWindow(edit));
  EXPECT_FALSE(application->closeWindow(edit));
  AXAttributeValue value;
  EXPECT_EQ(accessibility.copyAttributeValue(cluster, "AXTitle", value), AXError::invalidUIElement);
  ASSERT_EQ(accessibility.copyAttributeValue(application->applicationElement(), "AXWindows", value), AXError::success);
  EXPECT_EQ(value, AXAttributeValue(AXValueList{AXUIElementRef(mix)}));
  EXPECT_EQ(application->applicationElement()->children(), application->windows());
}

}  // namespace
