#include <gtest/gtest.h>

#include "ZAR_DAWControl/accessibility/AXNames.h"
#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/protools/ZAR_DAWApplicationProTools.h"
#include "support/ProToolsTest.h"

namespace {

using zar::platform::AXAttributeValue;
using zar::platform::AXValueList;
using zar::sim::SimProTools;

// A list value of elements, as "AXWindows" gives it.
template <typename... Elements>
AXAttributeValue list(const Elements&... elements) {
  return AXAttributeValue(AXValueList{AXAttributeValue(zar::platform::AXUIElementRef(elements))...});
}

class ProToolsConnectionTest : public zar::test::ProToolsTest {
 protected:
  // A driver that hasn't attached, to try its finders on made-up windows.
  std::shared_ptr<ZAR_DAWApplicationProTools> detachedDriver() {
    auto driver = std::make_shared<ZAR_DAWApplicationProTools>();
    driver->setCurrentProject("before");
    return driver;
  }
  std::shared_ptr<zar::sim::SimElement> window(const std::shared_ptr<SimProTools>& app, const std::string& title) {
    return app->makeElement(zar::ax::kWindowRole, title);
  }
};

TEST_F(ProToolsConnectionTest, AttachesToTheEditWindowAndReadsTheBundle) {
  const auto proTools = launchProTools();
  const auto driver = attach(proTools);
  ASSERT_TRUE(driver);
  EXPECT_EQ(driver->type(), ZAR_DAWApplicationTypeProTools);
  EXPECT_EQ(driver->name(), "Pro Tools");
  EXPECT_EQ(driver->currentProject(), " Dialogue Session");
  EXPECT_EQ(driver->editWindow(), proTools->editWindow());
  EXPECT_EQ(driver->startTCTextfield(), proTools->selectionStartField());
  EXPECT_EQ(driver->endTCTextfield(), proTools->selectionEndField());
  EXPECT_EQ(driver->appRootElement(), proTools->applicationElement());
  EXPECT_TRUE(driver->connected());
  EXPECT_FALSE(ZAR_DAWApplication::createWithType(1, running(proTools)));

  const std::pair<std::optional<std::string>, std::int32_t> versions[] = {
      {"10.3.10", 10}, {"2023.12.1", 2023}, {"v12", 0}, {std::nullopt, 0}};
  for (const auto& [version, major] : versions) {
    auto options = defaultOptions();
    options.bundleVersion = version;
    const auto other = attach(launchProTools(options));
    ASSERT_TRUE(other);
    EXPECT_EQ(other->versionString(), version.value_or(""));
    EXPECT_EQ(other->majorVersion(), major) << version.value_or("(none)");
  }
}

TEST_F(ProToolsConnectionTest, NoSessionOrNoCountersMeansNoDriver) {
  auto options = defaultOptions();
  options.sessionName = std::nullopt;
  const auto proTools = launchProTools(options);
  EXPECT_FALSE(attach(proTools)) << "no window titled Edit:";
  proTools->addWindow("Mix: Dialogue Session");
  EXPECT_FALSE(attach(proTools));

  // The first window with "Edit:" in its title is the edit window, even without counters in it.
  proTools->addWindow("Edit: Scratch");
  proTools->openSession("Dialogue Session");
  EXPECT_FALSE(attach(proTools));
  EXPECT_EQ(sim.runLoop->validTimerCount(), 0u) << "failed drivers leave no timer";
}

TEST_F(ProToolsConnectionTest, FindersMatchAsPlatformTitlesAreWritten) {
  const auto proTools = launchProTools();
  const auto driver = detachedDriver();
  const auto a = window(proTools, "Mix: Reel 1");
  const auto b = window(proTools, "Pro Tools Edit: Reel 1");
  const auto c = window(proTools, "Edit: Reel 2");
  EXPECT_EQ(driver->findEditWindowFromWindowArray(list(a, b, c)), b);
  EXPECT_EQ(driver->currentProject(), "ools Edit: Reel 1") << "the title less its first five characters";
  const auto bare = window(proTools, "Edit:");
  EXPECT_EQ(driver->findEditWindowFromWindowArray(list(bare)), bare);
  EXPECT_EQ(driver->currentProject(), "");

  driver->setCurrentProject("kept");
  EXPECT_FALSE(driver->findEditWindowFromWindowArray(list(a, window(proTools, "edit: lower"))));
  EXPECT_FALSE(driver->findEditWindowFromWindowArray(std::nullopt));
  EXPECT_FALSE(driver->findEditWindowFromWindowArray(list()));
  EXPECT_EQ(driver->currentProject(), "kept");

  const auto cluster = proTools->makeElement(zar::ax::kGroupRole, std::string("Counter Display Cluster"));
  cluster->addChild(proTools->makeElement(zar::ax::kTextFieldRole, std::string("Edit Selection Start ")));
  EXPECT_FALSE(driver->findStartTCTextFieldFromCounterDisplayCluster(cluster)) << "titles match exactly";
  const auto end = cluster->addChild(proTools->makeElement(zar::ax::kTextFieldRole, std::string("Edit Selection End")));
  EXPECT_EQ(driver->findEndTCTextFieldFromCounterDisplayCluster(cluster), end);
  EXPECT_FALSE(driver->findCounterDisplayClusterFromEditWindow(nullptr));
}

TEST_F(ProToolsConnectionTest, ConnectedWhileTheStartFieldAnswersAndCountersMustShowTimecode) {
  const auto proTools = launchProTools();
  const auto driver = attach(proTools);
  EXPECT_FALSE(driver->checkIfCommunicationIsDown());
  EXPECT_FALSE(driver->checkIfTimecodeFormatIsWrong());
  for (const auto format : {SimProTools::TimeFormat::barsBeats, SimProTools::TimeFormat::minSecs,
                            SimProTools::TimeFormat::samples, SimProTools::TimeFormat::feetFrames}) {
    proTools->setTimeFormat(format);
    EXPECT_EQ(driver->checkIfTimecodeFormatIsWrong(), notTimecode);
  }
  proTools->selectionStartField()->setFailure(zar::platform::AXError::cannotComplete);
  EXPECT_FALSE(driver->connected());
  EXPECT_EQ(driver->checkIfCommunicationIsDown(), communicationDown);
  EXPECT_FALSE(driver->ZAR_DAWApplication::connected()) << "the stored flag is cleared too";

  const auto other = launchProTools();
  const auto second = attach(other);
  const auto third = attach(other);
  other->closeSession();
  EXPECT_FALSE(second->connected());
  quit(other);
  EXPECT_FALSE(third->connected());
}

}  // namespace
