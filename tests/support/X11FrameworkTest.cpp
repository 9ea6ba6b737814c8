#include "support/X11FrameworkTest.h"

#include <unistd.h>

#include <algorithm>
#include <thread>

#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"
#include "ZAR_DAWControl/platform/linux/PlistUserDefaults.h"
#include "ZAR_DAWControl/platform/linux/RtMidiPorts.h"
#include "ZAR_DAWControl/platform/linux/SynchronousNotificationCenter.h"
#include "ZAR_DAWControl/platform/linux/ThreadPoolDispatch.h"
#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"

namespace zar::test {

using namespace std::chrono_literals;

namespace {
// Each test's own ports: those of an earlier test in the same program may still be open.
int tests = 0;
}  // namespace

X11FrameworkTest::X11FrameworkTest()
    : _huiPort("ZAR e2e HUI " + std::to_string(::getpid()) + "-" + std::to_string(++tests)) {}

void X11FrameworkTest::startFramework() {
  _runLoop = std::make_shared<native::MainRunLoop>(_clock);
  _platform->clock = _clock;
  _platform->mainRunLoop = _runLoop;
  _platform->dispatch = std::make_shared<native::ThreadPoolDispatch>(_runLoop);
  _platform->notificationCenter = std::make_shared<native::SynchronousNotificationCenter>();
  _platform->logger = _logger;
  _platform->userDefaults = std::make_shared<native::PlistUserDefaults>(std::nullopt, _platform->logger);
  _platform->fileUtility = std::make_shared<native::LocalFileUtility>(_support.path());
  _platform->midiPorts = std::make_shared<native::RtMidiPorts>();
  _platform->userDefaults->registerDefaults(
      {{ZAR_MIDISystem::kBackendPrefKey, "jack"}, {ZAR_MIDISystem::kHUIPortNamePrefKey, _huiPort}});
  _desktop = std::make_unique<x11::X11Desktop>(_platform->host, _clock);
  _desktop->provideServices(*_platform);
  _desktop->alerts()->setPresenter([this](const platform::AlertRequest& request) {
    _alerts.push_back(request.messageText);
    return platform::AlertResponse{};
  });
  platform::Platform::install(_platform);
}

void X11FrameworkTest::TearDown() {
  if (HasFailure()) {
    for (const auto& message : _logger->messages()) std::fprintf(stderr, "framework: %s\n", message.c_str());
    if (_standIn) {
      for (const auto& line : _standIn->lines()) std::fprintf(stderr, "stand-in: %s\n", line.c_str());
    }
  }
  if (_manager) _manager->setEnabled(false);
  platform::Platform::install(nullptr);
}

void X11FrameworkTest::launchStandIn(std::vector<std::string> options) {
  std::vector<std::string> arguments{ZAR_STANDIN_PATH, "--hui-port", _huiPort};
  arguments.insert(arguments.end(), options.begin(), options.end());
  _standIn = std::make_unique<ChildProcess>(arguments);
  ASSERT_TRUE(_standIn->waitForLine("ready", kPatience)) << "the stand-in did not start";
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!_desktop->workspace()->runningApplicationWithProcessIdentifier(_standIn->pid())) {
    ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "the stand-in never joined the accessibility bus";
    std::this_thread::sleep_for(20ms);
  }
}

std::shared_ptr<ZAR_DAWApplicationProTools> X11FrameworkTest::attach(bool hui) {
  _manager = ZAR_DAWApplicationManager::sharedManager();
  _manager->setAllowed(true);
  _manager->setEnabled(true);
  auto driver = std::dynamic_pointer_cast<ZAR_DAWApplicationProTools>(_manager->currentApplication());
  EXPECT_TRUE(driver) << "the first discovery pass did not find the stand-in";
  if (hui) {
    EXPECT_TRUE(_standIn->waitForLine("hui ping answered", kPatience)) << "no HUI between the framework and the stand-in";
  }
  return driver;
}

bool X11FrameworkTest::said(const std::string& line) { return _standIn->waitForLine(line, kPatience).has_value(); }

bool X11FrameworkTest::userDoes(const std::string& command, const std::string& line) {
  if (!_standIn->send(command) || !said(line)) return false;
  _desktop->mirror()->inputPosted();
  return true;
}

bool X11FrameworkTest::caughtUp() {
  const std::string line = "caught up " + std::to_string(++_handshakes);
  return _standIn->send("say " + line) && said(line);
}

void X11FrameworkTest::rehearse(const std::shared_ptr<ZAR_DAWApplicationProTools>& driver,
                                const std::vector<std::string>& modes) {
  const auto& list = *_manager->trackModeList()->audioTrackModes();
  for (std::size_t i = 0; i < modes.size(); ++i) {
    const auto mode = std::find_if(list.begin(), list.end(), [&](const auto& m) { return m->name() == modes[i]; });
    _manager->muteRecMatrix()->setRehearseMode(*mode, static_cast<std::int32_t>(i));
  }
  driver->rehearseWithEvent(_cue);
}

void X11FrameworkTest::play(const std::shared_ptr<ZAR_DAWApplicationProTools>& driver, int frames) {
  for (int i = 0; i < frames; ++i) {
    driver->updateDAWTrackStatesForFrameIndex(1100);
    std::this_thread::sleep_for(42ms);  // the picture's pace, not a wait for anything
  }
}

std::string X11FrameworkTest::shown(const platform::AXUIElementRef& button) {
  platform::AXAttributeValue value;
  _desktop->accessibility()->copyAttributeValue(button, "AXValue", value);
  const auto* text = value.get<std::string>();
  return text != nullptr ? *text : "";
}

}  // namespace zar::test
