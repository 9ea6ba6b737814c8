#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"

#include <gtest/gtest.h>

#include "support/HUISimulation.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// Pro Tools' HUI side stands on the framework's virtual ports and keeps what arrives.
TEST(ZAR_MIDISystem, PortsThatStopWorkingAreOpenedAgainAtTheNextCall) {
  zar::test::HUISimulation sim;
  const Bytes note{0x90, 0x00, 0x7F};
  ASSERT_TRUE(sim.system->openHUIPort());
  const auto before = sim.makeHost(8);
  ASSERT_TRUE(before->portsOpen());
  EXPECT_TRUE(sim.system->openHUIPort());
  EXPECT_TRUE(sim.system->sendHUIMessage(note));
  sim.settle();
  EXPECT_EQ(before->receivedMessages(), std::vector<Bytes>{note}) << "working ports are kept, not opened again";

  sim.loopback->breakPorts(ZAR_MIDISystem::kDefaultHUIPortName);
  sim.system->sendHUIMessage(note);  // fails on the wire
  sim.settle();
  EXPECT_EQ(before->receivedMessages().size(), 1u);

  ASSERT_TRUE(sim.system->openHUIPort());
  const auto after = sim.makeHost(8);
  ASSERT_TRUE(after->portsOpen()) << "new virtual ports under the same name";
  EXPECT_TRUE(sim.system->sendHUIMessage(note));
  sim.settle();
  EXPECT_EQ(after->receivedMessages(), std::vector<Bytes>{note});
}

}  // namespace
