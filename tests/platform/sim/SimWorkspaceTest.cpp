#include <gtest/gtest.h>

#include <unistd.h>

#include "ZAR_DAWControl/platform/sim/SimWorkspace.h"

namespace {

using zar::platform::HostIdentity;
using zar::platform::ProcessLookupNoErr;
using zar::platform::ProcessLookupProcNotFound;
using zar::platform::ProcessSerialNumber;
using zar::platform::PropertyDictionary;
using zar::platform::PropertyValue;
using zar::sim::SimApplication;
using zar::sim::SimWorkspace;

std::shared_ptr<SimApplication> makeApplication(std::int32_t pid, const std::string& bundleIdentifier,
                                                const std::string& version = "12.5.0") {
  SimApplication::Info info;
  info.processIdentifier = pid;
  info.bundleIdentifier = bundleIdentifier;
  info.bundleURL = "file:///Applications/" + bundleIdentifier + ".app/";
  info.localizedName = bundleIdentifier;
  info.infoDictionary = {{"CFBundleVersion", version}};
  return std::make_shared<SimApplication>(info);
}

TEST(SimWorkspace, TheHostRunsAndIsActiveFromTheStart) {
  SimWorkspace workspace(HostIdentity{"com.example.Host", "Host"});
  const auto running = workspace.runningApplications();
  ASSERT_EQ(running.size(), 1u);
  EXPECT_EQ(running[0]->processIdentifier, static_cast<std::int32_t>(::getpid()));
  EXPECT_EQ(running[0]->bundleIdentifier, "com.example.Host");
  EXPECT_EQ(running[0]->localizedName, "Host");
  EXPECT_EQ(workspace.mainBundleIdentifier(), "com.example.Host");
  const auto active = workspace.activeApplication();
  ASSERT_TRUE(active.has_value());
  EXPECT_EQ(active->at("NSApplicationBundleIdentifier"), PropertyValue("com.example.Host"));
  EXPECT_EQ(active->at("NSApplicationName"), PropertyValue("Host"));
  EXPECT_EQ(active->at("NSApplicationProcessIdentifier"), PropertyValue(std::int64_t{::getpid()}));
  EXPECT_FALSE(workspace.quit(workspace.hostApplication()->processIdentifier()));
}

TEST(SimWorkspace, ApplicationsAreListedInLaunchOrder) {
  SimWorkspace workspace(HostIdentity{});
  const auto host = workspace.hostApplication()->processIdentifier();
  ASSERT_TRUE(workspace.launch(makeApplication(2000, "com.b")));
  ASSERT_TRUE(workspace.launch(makeApplication(1500, "com.a")));
  EXPECT_FALSE(workspace.launch(makeApplication(1500, "com.dup")));
  EXPECT_FALSE(workspace.launch(makeApplication(0, "com.zero")));
  EXPECT_FALSE(workspace.launch(nullptr));
  std::vector<std::int32_t> pids;
  for (const auto& app : workspace.runningApplications()) {
    pids.push_back(app->processIdentifier);
  }
  EXPECT_EQ(pids, (std::vector<std::int32_t>{host, 2000, 1500}));
  ASSERT_TRUE(workspace.quit(2000));
  EXPECT_FALSE(workspace.quit(2000));
  EXPECT_EQ(workspace.runningApplicationWithProcessIdentifier(2000), nullptr);
  ASSERT_NE(workspace.runningApplicationWithProcessIdentifier(1500), nullptr);
  EXPECT_EQ(workspace.runningApplicationWithProcessIdentifier(1500)->bundleIdentifier, "com.a");
  EXPECT_EQ(workspace.applications().size(), 2u);
}

TEST(SimWorkspace, ActivationAndTheFrontToBackOrder) {
  SimWorkspace workspace(HostIdentity{});
  const auto host = workspace.hostApplication();
  auto a = makeApplication(1001, "com.a");
  auto b = makeApplication(1002, "com.b");
  workspace.launch(a);
  workspace.launch(b);
  // Launching doesn't activate; the newcomer goes to the back.
  EXPECT_EQ(workspace.frontmostApplication(), host);
  EXPECT_EQ(workspace.applicationsFrontToBack(), (std::vector<std::shared_ptr<SimApplication>>{host, a, b}));

  ASSERT_TRUE(workspace.activate(1002));
  EXPECT_FALSE(workspace.activate(4711));
  EXPECT_EQ(workspace.frontmostApplication(), b);
  EXPECT_EQ(workspace.applicationsFrontToBack(), (std::vector<std::shared_ptr<SimApplication>>{b, host, a}));
  EXPECT_EQ(workspace.activeApplication()->at("NSApplicationBundleIdentifier"), PropertyValue("com.b"));

  // Without ignoring other applications the host doesn't push itself forward.
  workspace.activateIgnoringOtherApps(false);
  EXPECT_EQ(workspace.frontmostApplication(), b);
  workspace.activateIgnoringOtherApps(true);
  EXPECT_EQ(workspace.frontmostApplication(), host);

  // The active application quitting hands activation back to the host.
  workspace.activate(1001);
  ASSERT_TRUE(workspace.quit(1001));
  EXPECT_EQ(workspace.frontmostApplication(), host);
  EXPECT_EQ(workspace.applicationsFrontToBack(), (std::vector<std::shared_ptr<SimApplication>>{host, b}));
}

TEST(SimWorkspace, ProcessSerialNumbersAreDistinctAndLookedUpBothWays) {
  SimWorkspace workspace(HostIdentity{});
  auto a = makeApplication(1001, "com.a");
  auto b = makeApplication(1002, "com.b");
  workspace.launch(a);
  workspace.launch(b);
  ProcessSerialNumber psnA;
  ProcessSerialNumber psnB;
  ASSERT_EQ(workspace.getProcessForPID(1001, psnA), ProcessLookupNoErr);
  ASSERT_EQ(workspace.getProcessForPID(1002, psnB), ProcessLookupNoErr);
  EXPECT_NE(psnA, psnB);
  EXPECT_NE(psnA, ProcessSerialNumber{});
  EXPECT_EQ(workspace.application(psnA), a);
  EXPECT_EQ(workspace.application(psnB), b);

  ProcessSerialNumber unknown{7, 7};
  EXPECT_EQ(workspace.getProcessForPID(4711, unknown), ProcessLookupProcNotFound);
  EXPECT_EQ(unknown, ProcessSerialNumber{});
  workspace.quit(1001);
  EXPECT_EQ(workspace.getProcessForPID(1001, psnA), ProcessLookupProcNotFound);
  EXPECT_EQ(workspace.application(ProcessSerialNumber{0, 0x1002}), nullptr);
}

TEST(SimWorkspace, BundleInformationOutlivesTheProcess) {
  SimWorkspace workspace(HostIdentity{});
  workspace.launch(makeApplication(1001, "com.avid.ProTools", "10.3.10"));
  const std::string url = "file:///Applications/com.avid.ProTools.app/";
  ASSERT_TRUE(workspace.bundleInfoDictionary(url).has_value());
  EXPECT_EQ(workspace.bundleInfoDictionary(url)->at("CFBundleVersion"), PropertyValue("10.3.10"));
  workspace.quit(1001);
  EXPECT_TRUE(workspace.bundleInfoDictionary(url).has_value());
  EXPECT_FALSE(workspace.bundleInfoDictionary("file:///nowhere/").has_value());
}

}  // namespace
