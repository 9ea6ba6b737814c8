#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"

#include <gtest/gtest.h>

#include <mutex>

#include "support/HUISimulation.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// Stands where Pro Tools stands: connected to the framework's virtual HUI ports, it keeps what
// arrives.
class Listener {
 public:
  explicit Listener(zar::sim::LoopbackMidiPorts& ports) {
    _pair = ports.open({"loopback", "listener", ZAR_MIDISystem::kDefaultHUIPortName, ""},
                       [this](std::span<const std::uint8_t> bytes) {
                         std::lock_guard lock(_mutex);
                         _received.emplace_back(bytes.begin(), bytes.end());
                       });
  }
  bool connected() const { return _pair != nullptr; }
  std::vector<Bytes> received() {
    std::lock_guard lock(_mutex);
    return _received;
  }

 private:
  std::mutex _mutex;
  std::vector<Bytes> _received;
  std::shared_ptr<zar::platform::MidiPortPair> _pair;
};

TEST(ZAR_MIDISystem, PortsThatStopWorkingAreOpenedAgainAtTheNextCall) {
  zar::test::HUISimulation sim;
  const Bytes note{0x90, 0x00, 0x7F};
  ASSERT_TRUE(sim.system->openHUIPort());
  Listener before(*sim.loopback);
  ASSERT_TRUE(before.connected());
  EXPECT_TRUE(sim.system->openHUIPort());
  EXPECT_TRUE(sim.system->sendHUIMessage(note));
  sim.settle();
  EXPECT_EQ(before.received(), std::vector<Bytes>{note}) << "working ports are kept, not opened again";

  sim.loopback->breakPorts(ZAR_MIDISystem::kDefaultHUIPortName);
  sim.system->sendHUIMessage(note);  // fails on the wire
  sim.settle();
  EXPECT_EQ(before.received().size(), 1u);

  ASSERT_TRUE(sim.system->openHUIPort());
  Listener after(*sim.loopback);
  ASSERT_TRUE(after.connected()) << "new virtual ports under the same name";
  EXPECT_TRUE(sim.system->sendHUIMessage(note));
  sim.settle();
  EXPECT_EQ(after.received(), std::vector<Bytes>{note});
}

}  // namespace
