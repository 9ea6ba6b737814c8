#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"

#include <gtest/gtest.h>

#include "support/HUISimulation.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// Pro Tools' HUI side stands on the framework's virtual ports and keeps what arrives.
TEST(ZAR_MIDISystem, PortsThatStopWorkingAreOpenedAgainAtTheNextCallWithoutWhatWaitedForThem) {
  zar::test::HUISimulation sim;
  const Bytes note{0x90, 0x00, 0x7F};
  ASSERT_TRUE(sim.system->openHUIPort());
  const auto before = sim.makeHost(8);
  ASSERT_TRUE(before->portsOpen());
  EXPECT_TRUE(sim.system->openHUIPort());
  EXPECT_TRUE(sim.system->sendHUIMessage(note));
  sim.settle();
  EXPECT_EQ(before->receivedMessages(), std::vector<Bytes>{note}) << "working ports are kept, not opened again";

  // Three more wait for the link (it carries the first still) when the ports break.
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(sim.system->sendHUIMessage(note));
  EXPECT_EQ(sim.system->huiOutputCounts().queued, 3u);
  sim.midiPorts->breakPorts(ZAR_MIDISystem::kDefaultHUIPortName);
  sim.settle();  // the first fails on the wire; the others are dropped
  EXPECT_EQ(before->receivedMessages().size(), 1u);
  EXPECT_FALSE(sim.system->sendHUIMessage(note)) << "refused until the ports are opened again";
  auto counts = sim.system->huiOutputCounts();
  EXPECT_EQ(counts.sent, 1u);
  EXPECT_EQ(counts.failed, 4u);

  ASSERT_TRUE(sim.system->openHUIPort());
  const auto after = sim.makeHost(8);
  ASSERT_TRUE(after->portsOpen()) << "new virtual ports under the same name";
  EXPECT_TRUE(sim.system->sendHUIMessage(note));
  sim.settle();
  EXPECT_EQ(after->receivedMessages(), std::vector<Bytes>{note}) << "nothing of what waited for the old ports";
  EXPECT_EQ(sim.system->huiOutputCounts().sent, 2u);
}

}  // namespace
