// The desktop's services failing under the framework: each case kills one (the stand-in Pro Tools,
// the X server, the session bus, the accessibility bus or the JACK server) at one moment, starts it
// again, and follows the host through it. Every case runs on a private desktop of its own.

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <future>
#include <map>
#include <mutex>
#include <thread>

#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/platform/NotificationObservation.h"
#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"
#include "support/DesktopSession.h"
#include "support/X11FrameworkTest.h"

namespace {

using namespace std::chrono_literals;
using zar::test::DesktopSession;
using Service = DesktopSession::Service;

enum class Killed { standIn, xServer, sessionBus, accessibilityBus, jack };
enum class Moment { idle, midPass, midTyping };

struct Fault {
  Killed killed;
  Moment moment;
};

const char* const kKilledNames[] = {"StandIn", "XServer", "SessionBus", "AccessibilityBus", "Jack"};
const char* const kMomentNames[] = {"Idle", "MidPass", "MidTyping"};

// The service of the desktop that each is (the stand-in is none).
const std::map<Killed, Service> kServices{{Killed::xServer, Service::xServer},
                                          {Killed::sessionBus, Service::sessionBus},
                                          {Killed::accessibilityBus, Service::accessibilityBus},
                                          {Killed::jack, Service::jack}};

// The line that says what went away; each is logged once however long the service stays away.
const std::map<Killed, std::string> kCause{
    {Killed::standIn, "Pro Tools (process"},
    {Killed::xServer, "X11: the X server"},
    {Killed::sessionBus, "Accessibility: the accessibility bus closed"},
    {Killed::accessibilityBus, "Accessibility: the accessibility bus closed"},
    {Killed::jack, "The HUI MIDI ports stopped working"}};

class X11FaultTest : public zar::test::X11FrameworkTest, public testing::WithParamInterface<Fault> {
 protected:
  void SetUp() override {
    _session = std::make_unique<DesktopSession>();
    if (!_session->started()) GTEST_SKIP() << "X11 fault tests skipped: " << _session->reason();
    ddLogLevel = zar::platform::LogLevelInfo;
    startFramework();
    for (const char* name : {ZAR_DAWApplicationAddedNotification, ZAR_DAWApplicationRemovedNotification}) {
      _observations.emplace_back(_platform->notificationCenter, std::string(name),
                                 [this](const zar::platform::Notification& notification) {
                                   std::lock_guard lock(_mutex);
                                   _posted.push_back(notification.name);
                                 });
    }
  }

  void TearDown() override {
    _observations.clear();
    X11FrameworkTest::TearDown();
  }

  std::vector<std::string> posted() {
    std::lock_guard lock(_mutex);
    return _posted;
  }

  std::shared_ptr<ZAR_DAWApplicationProTools> current() {
    return std::dynamic_pointer_cast<ZAR_DAWApplicationProTools>(_manager->currentApplication());
  }

  // The host's ticks (discovery, and the application's refresh) until `done`, at most `patience`.
  bool tickUntil(const std::function<bool()>& done, std::chrono::seconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!done()) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      _manager->refreshDAWs();
      if (const auto driver = current()) driver->onUIRefreshTimerRanOut(nullptr);
      std::this_thread::sleep_for(100ms);
    }
    return true;
  }

  std::size_t logged(const std::string& text) const {
    std::size_t count = 0;
    for (const auto& message : _logger->messages()) count += message.find(text) != std::string::npos ? 1 : 0;
    return count;
  }

  std::unique_ptr<DesktopSession> _session;
  std::mutex _mutex;
  std::vector<std::string> _posted;
  std::vector<zar::platform::NotificationObservation> _observations;
};

TEST_P(X11FaultTest, TheHostLivesSaysRemovedAndFindsProToolsAgainWithHUIAndKeys) {
  const auto [killed, moment] = GetParam();
  launchStandIn();
  auto driver = attach();
  ASSERT_TRUE(driver);
  {
    std::lock_guard lock(_mutex);
    _posted.clear();
  }

  std::atomic<bool> stop{false};
  std::future<void> work;
  if (moment == Moment::midPass) {
    work = std::async(std::launch::async, [&] {
      rehearse(driver, {"Input", "Play"});
      while (!stop) play(driver, 1);
      driver->stopPlayback();
    });
    ASSERT_TRUE(said("transport playing"));
  } else if (moment == Moment::midTyping) {
    work = std::async(std::launch::async, [&] { driver->setSelectionStartTC("00:10:00:00"); });
    ASSERT_TRUE(said("counter start open"));
  }

  if (killed == Killed::standIn) {
    _standIn->kill(SIGKILL);
  } else {
    _session->kill(kServices.at(killed));
  }
  stop = true;
  if (work.valid()) {
    ASSERT_EQ(work.wait_for(20s), std::future_status::ready) << "the host hangs";
  }

  if (killed == Killed::jack) {
    // Pro Tools itself is still there; only HUI is gone.
    EXPECT_TRUE(tickUntil([&] { return !driver->huiDevice()->connected(); }, 10s)) << "HUI still reported connected";
    EXPECT_TRUE(posted().empty());
  } else {
    EXPECT_TRUE(tickUntil([&] { return !posted().empty(); }, 10s));
    EXPECT_EQ(posted(), std::vector<std::string>{ZAR_DAWApplicationRemovedNotification});
  }

  const auto restarted = std::chrono::steady_clock::now();
  if (killed != Killed::standIn) {
    ASSERT_TRUE(_session->restart(kServices.at(killed))) << _session->reason();
  }
  // The stand-in of a desktop gone, or on a bus gone, is started again; after JACK it opens new
  // ports by itself.
  const bool newStandIn = killed != Killed::jack;
  if (newStandIn) launchStandIn();
  const std::size_t answers = newStandIn ? 1 : 2;
  ASSERT_TRUE(tickUntil([&] { return current() && _standIn->count("hui ping answered") >= answers; }, 30s))
      << "Pro Tools not found again with HUI";
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - restarted).count();
  RecordProperty("recovery_ms", static_cast<int>(seconds * 1000));
  std::printf("%s killed %s: Pro Tools found again with HUI %.2f s after the restart\n",
              kKilledNames[static_cast<int>(killed)], kMomentNames[static_cast<int>(moment)], seconds);
  if (newStandIn) {
    EXPECT_EQ(posted(), (std::vector<std::string>{ZAR_DAWApplicationRemovedNotification, ZAR_DAWApplicationAddedNotification}));
  } else {
    EXPECT_TRUE(posted().empty()) << "Pro Tools was reachable all along";
  }

  // Everything works again: keys, HUI, and the changes the stand-in announces.
  driver = current();
  EXPECT_FALSE(driver->setSelectionStartTC("00:00:12:05"));
  EXPECT_TRUE(said("selection start 00:00:12:05"));
  driver->huiDevice()->toggleTrackMuteForTrackIndex(1);
  EXPECT_TRUE(said("track 1 mute on"));
  ASSERT_TRUE(userDoes("rename 1 Bee", "track 1 renamed"));
  driver->onUIRefreshTimerRanOut(nullptr);
  EXPECT_EQ(driver->audioTracks()[1]->name(), "Bee ");

  EXPECT_EQ(logged(kCause.at(killed)), 1u) << "the cause is said once";
  const auto warnings = _logger->messages(zar::platform::LogFlag::warning);
  for (const auto& warning : warnings) EXPECT_EQ(std::count(warnings.begin(), warnings.end(), warning), 1) << warning;
}

std::vector<Fault> everyFault() {
  std::vector<Fault> faults;
  for (const auto killed : {Killed::standIn, Killed::xServer, Killed::sessionBus, Killed::accessibilityBus, Killed::jack}) {
    for (const auto moment : {Moment::idle, Moment::midPass, Moment::midTyping}) faults.push_back({killed, moment});
  }
  return faults;
}

INSTANTIATE_TEST_SUITE_P(EveryService, X11FaultTest, testing::ValuesIn(everyFault()),
                         [](const testing::TestParamInfo<Fault>& fault) {
                           return std::string(kKilledNames[static_cast<int>(fault.param.killed)]) +
                                  kMomentNames[static_cast<int>(fault.param.moment)];
                         });

}  // namespace
