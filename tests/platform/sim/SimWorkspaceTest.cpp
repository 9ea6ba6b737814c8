#include "ZAR_DAWControl/platform/sim/SimWorkspace.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using zar::platform::ProcessSerialNumber;
using zar::platform::PropertyValue;
using zar::sim::SimApplication;
using Applications = std::vector<std::shared_ptr<SimApplication>>;

std::shared_ptr<SimApplication> makeApplication(std::int32_t pid, const std::string& bundleIdentifier) {
  SimApplication::Info info;
  info.processIdentifier = pid;
  info.bundleIdentifier = bundleIdentifier;
  info.bundleURL = "file:///Applications/" + bundleIdentifier + ".app/";
  info.infoDictionary = {{"CFBundleVersion", "10.3.10"}};
  return std::make_shared<SimApplication>(info);
}

class SimWorkspaceTest : public ::testing::Test {
 protected:
  zar::sim::SimWorkspace workspace{zar::platform::HostIdentity{"com.example.Host", "Host"}};
  std::shared_ptr<SimApplication> host = workspace.hostApplication();
  std::shared_ptr<SimApplication> a = makeApplication(2000, "com.a");
  std::shared_ptr<SimApplication> b = makeApplication(1500, "com.b");
};

TEST_F(SimWorkspaceTest, TheHostRunsFromTheStartAndOthersAreListedInLaunchOrder) {
  ASSERT_EQ(workspace.runningApplications().size(), 1u);
  EXPECT_EQ(workspace.runningApplications()[0]->processIdentifier, static_cast<std::int32_t>(::getpid()));
  EXPECT_EQ(workspace.runningApplications()[0]->localizedName, "Host");
  EXPECT_EQ(workspace.mainBundleIdentifier(), "com.example.Host");
  EXPECT_EQ(workspace.activeApplication()->at("NSApplicationProcessIdentifier"), PropertyValue(std::int64_t{::getpid()}));
  EXPECT_FALSE(workspace.quit(host->processIdentifier()));

  ASSERT_TRUE(workspace.launch(a));
  ASSERT_TRUE(workspace.launch(b));
  for (const auto& refused : {makeApplication(1500, "com.dup"), makeApplication(0, "com.zero"), {}}) {
    EXPECT_FALSE(workspace.launch(refused));
  }
  std::vector<std::int32_t> pids;
  for (const auto& app : workspace.runningApplications()) pids.push_back(app->processIdentifier);
  EXPECT_EQ(pids, (std::vector<std::int32_t>{host->processIdentifier(), 2000, 1500}));
  ASSERT_TRUE(workspace.quit(2000));
  EXPECT_FALSE(workspace.quit(2000));
  EXPECT_EQ(workspace.runningApplicationWithProcessIdentifier(2000), nullptr);
  EXPECT_EQ(workspace.runningApplicationWithProcessIdentifier(1500)->bundleIdentifier, "com.b");
  EXPECT_EQ(workspace.applications(), (Applications{host, b}));
  // Bundle information outlives the process.
  EXPECT_EQ(workspace.bundleInfoDictionary("file:///Applications/com.a.app/")->at("CFBundleVersion"),
            PropertyValue("10.3.10"));
  EXPECT_FALSE(workspace.bundleInfoDictionary("file:///nowhere/").has_value());
}

TEST_F(SimWorkspaceTest, ActivationAndTheFrontToBackOrder) {
  workspace.launch(a);
  workspace.launch(b);
  EXPECT_EQ(workspace.applicationsFrontToBack(), (Applications{host, a, b})) << "launching doesn't activate";
  ASSERT_TRUE(workspace.activate(1500));
  EXPECT_FALSE(workspace.activate(4711));
  EXPECT_EQ(workspace.applicationsFrontToBack(), (Applications{b, host, a}));
  EXPECT_EQ(workspace.activeApplication()->at("NSApplicationBundleIdentifier"), PropertyValue("com.b"));
  workspace.activateIgnoringOtherApps(false);
  EXPECT_EQ(workspace.frontmostApplication(), b) << "the host doesn't push itself forward";
  workspace.activateIgnoringOtherApps(true);
  EXPECT_EQ(workspace.frontmostApplication(), host);
  workspace.activate(2000);
  ASSERT_TRUE(workspace.quit(2000));
  EXPECT_EQ(workspace.applicationsFrontToBack(), (Applications{host, b})) << "the host is active again";
}

TEST_F(SimWorkspaceTest, ProcessSerialNumbersAreDistinctAndLookedUpBothWays) {
  workspace.launch(a);
  workspace.launch(b);
  ProcessSerialNumber psnA;
  ProcessSerialNumber psnB;
  ASSERT_EQ(workspace.getProcessForPID(2000, psnA), zar::platform::ProcessLookupNoErr);
  ASSERT_EQ(workspace.getProcessForPID(1500, psnB), zar::platform::ProcessLookupNoErr);
  EXPECT_NE(psnA, psnB);
  EXPECT_NE(psnA, ProcessSerialNumber{});
  EXPECT_EQ(workspace.application(psnA), a);
  EXPECT_EQ(workspace.application(1500), b);
  ProcessSerialNumber unknown{7, 7};
  EXPECT_EQ(workspace.getProcessForPID(4711, unknown), zar::platform::ProcessLookupProcNotFound);
  EXPECT_EQ(unknown, ProcessSerialNumber{});
  workspace.quit(2000);
  EXPECT_EQ(workspace.application(psnA), nullptr);
}

}  // namespace
