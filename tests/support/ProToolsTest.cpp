#include "support/ProToolsTest.h"

namespace zar::test {

sim::SimProTools::Options ProToolsTest::defaultOptions() {
  sim::SimProTools::Options options;
  options.tracks = {{"Dialog 1"}, {"Dialog 2"}, {"FX", sim::SimProTools::TrackKind::aux}};
  return options;
}

std::shared_ptr<sim::SimProTools> ProToolsTest::launchProTools(sim::SimProTools::Options options) {
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

}  // namespace zar::test
