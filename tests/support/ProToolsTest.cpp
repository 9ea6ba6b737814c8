#include "support/ProToolsTest.h"

#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"
#include "ZAR_DAWControl/platform/sim/SimHUIHost.h"

namespace zar::test {

const ZAR_Error ProToolsTest::communicationDown{
    "ZAR_ErrorDomain", 1,
    "Vantrole can't communicate with Pro Tools. Please make sure the application is opened and a session is loaded."};
const ZAR_Error ProToolsTest::notTimecode{
    "ZAR_ErrorDomain", 2,
    "Pro Tools' primary time format is not set to  timecode. Please set it to timecode and try again."};

sim::SimProTools::Options ProToolsTest::defaultOptions() {
  sim::SimProTools::Options options;
  options.tracks = {{"Dialog 1"}, {"Dialog 2"}, {"FX", sim::SimProTools::TrackKind::aux}};
  return options;
}

std::shared_ptr<ZAR_DAWAudioTrackMode> ProToolsTest::mode(ZAR_DAWTrackState before, ZAR_DAWTrackState during,
                                                          ZAR_DAWTrackState after) {
  auto made = std::make_shared<ZAR_DAWAudioTrackMode>();
  made->setBeforeState(before);
  made->setDuringState(during);
  made->setAfterState(after);
  return made;
}

std::shared_ptr<sim::SimProTools> ProToolsTest::launchProTools(sim::SimProTools::Options options) {
  return test::launchProTools(sim, std::move(options));
}

std::shared_ptr<sim::SimProTools> launchProTools(SimPlatform& sim, sim::SimProTools::Options options) {
  options.processIdentifier = sim.desktop->workspace()->unusedProcessIdentifier();
  auto proTools = std::make_shared<sim::SimProTools>(std::move(options));
  EXPECT_TRUE(sim.desktop->workspace()->launch(proTools));
  return proTools;
}

void ProToolsTest::quit(const std::shared_ptr<sim::SimProTools>& proTools) {
  EXPECT_TRUE(sim.desktop->workspace()->quit(proTools->processIdentifier()));
}

platform::RunningApplicationRef ProToolsTest::running(const std::shared_ptr<sim::SimProTools>& proTools) {
  return sim.desktop->workspace()->runningApplicationWithProcessIdentifier(proTools->processIdentifier());
}

std::shared_ptr<ZAR_DAWApplicationProTools> ProToolsTest::attach(const std::shared_ptr<sim::SimProTools>& proTools) {
  return std::dynamic_pointer_cast<ZAR_DAWApplicationProTools>(
      ZAR_DAWApplication::createWithType(ZAR_DAWApplicationTypeProTools, running(proTools)));
}

void EnabledProToolsTest::start(bool hui, sim::SimProTools::Options options,
                                const std::function<void(sim::SimProTools&)>& user) {
  _proTools = launchProTools(std::move(options));
  if (hui) attachHUI(sim, *_proTools);
  if (user) user(*_proTools);
  _manager->setAllowed(true);
  _manager->setEnabled(true);
  _driver = std::dynamic_pointer_cast<ZAR_DAWApplicationProTools>(_manager->currentApplication());
  ASSERT_TRUE(_driver);
  sim.desktop->eventPoster()->clearLog();
  clearPosted();
}

void attachHUI(SimPlatform& sim, sim::SimProTools& proTools) {
  proTools.attachHUI(sim.midiPorts, sim::SimHUIHost::defaultPortRequest(ZAR_MIDISystem::kDefaultHUIPortName, "loopback"));
}

}  // namespace zar::test
