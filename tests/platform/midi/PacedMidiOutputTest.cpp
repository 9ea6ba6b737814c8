#include "ZAR_DAWControl/platform/midi/PacedMidiOutput.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/linux/SystemClock.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"
#include "support/CapturingLogger.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using zar::platform::LogFlag;
using zar::platform::PacedMidiOutput;
using Bytes = std::vector<std::uint8_t>;

constexpr double kStart = 1000.0;
constexpr double kInterval = 3 * 10 / 31250.0;  // a three-byte message at MIDI's rate

// A port that keeps what it is sent, with the clock's time, and fails sends when told to.
class RecordingPair final : public zar::platform::MidiPortPair {
 public:
  struct Sent {
    double time;
    Bytes bytes;
  };
  explicit RecordingPair(std::shared_ptr<zar::platform::Clock> clock) : _clock(std::move(clock)) {}
  bool send(std::span<const std::uint8_t> bytes) override {
    std::lock_guard lock(_mutex);
    if (_failing) return false;
    _sent.push_back({_clock->now(), Bytes(bytes.begin(), bytes.end())});
    return true;
  }
  std::string inputName() const override { return "in"; }
  std::string outputName() const override { return "out"; }
  void setFailing(bool failing) {
    std::lock_guard lock(_mutex);
    _failing = failing;
  }
  std::vector<Sent> sent() const {
    std::lock_guard lock(_mutex);
    return _sent;
  }
  std::vector<Bytes> bytes() const {
    std::vector<Bytes> result;
    for (const auto& sent : sent()) result.push_back(sent.bytes);
    return result;
  }

 private:
  const std::shared_ptr<zar::platform::Clock> _clock;
  mutable std::mutex _mutex;
  bool _failing = false;
  std::vector<Sent> _sent;
};

// A button press of HUI: zone select, port on, zone select, port off; `n` tells presses apart.
Bytes press(std::uint8_t n) { return {0xB0, 0x0F, n, 0xB0, 0x2F, 0x41, 0xB0, 0x0F, n, 0xB0, 0x2F, 0x01}; }
std::vector<Bytes> messagesOf(const Bytes& press) {
  std::vector<Bytes> messages;
  for (auto at = press.begin(); at != press.end(); at += 3) messages.emplace_back(at, at + 3);
  return messages;
}
const Bytes kPing{0x90, 0x00, 0x7F};

// Virtual time, and a platform whose log the test reads.
class PacedMidiOutputTest : public testing::Test {
 protected:
  PacedMidiOutputTest() : _previous(zar::platform::Platform::installed()) {
    auto platform = std::make_shared<zar::platform::Platform>();
    platform->clock = clock;
    platform->logger = logger;
    zar::platform::Platform::install(platform);
  }
  ~PacedMidiOutputTest() override { zar::platform::Platform::install(_previous); }

  std::shared_ptr<zar::sim::VirtualClock> clock = std::make_shared<zar::sim::VirtualClock>(kStart);
  std::shared_ptr<zar::test::CapturingLogger> logger = std::make_shared<zar::test::CapturingLogger>();
  std::shared_ptr<RecordingPair> pair = std::make_shared<RecordingPair>(clock);

 private:
  std::shared_ptr<const zar::platform::Platform> _previous;
};

TEST_F(PacedMidiOutputTest, MessagesLeaveInOrderOneLinkIntervalApartAsTimeIsMovedThroughThem) {
  PacedMidiOutput output("test", clock, 31250, 64);
  output.attach(pair);
  std::vector<Bytes> expected;
  std::optional<double> carried;
  for (std::uint8_t n = 0; n < 10; ++n) {
    carried = output.send(press(n));
    for (auto& message : messagesOf(press(n))) expected.push_back(std::move(message));
  }
  ASSERT_TRUE(carried);
  EXPECT_NEAR(*carried, kStart + 40 * kInterval, 1e-9) << "when the link has carried the last";
  EXPECT_EQ(pair->sent().size(), 1u) << "the first leaves at once, the others wait for time to move";

  clock->advanceBy(0.005);  // moved past five departures: each message leaves at its own
  EXPECT_EQ(pair->sent().size(), 6u);
  output.waitUntilSent();  // moves time on to the last departure
  const auto sent = pair->sent();
  EXPECT_EQ(pair->bytes(), expected);
  for (std::size_t n = 0; n < sent.size(); ++n) {
    EXPECT_NEAR(sent[n].time, kStart + static_cast<double>(n) * kInterval, 1e-9) << "message " << n;
  }
  EXPECT_NEAR(clock->now(), kStart + 39 * kInterval, 1e-9);
  EXPECT_EQ(output.counts().sent, 40u);
}

TEST_F(PacedMidiOutputTest, APressIsTakenWholeOrRefusedAndFailuresAreCountedAndLoggedOncePerRun) {
  PacedMidiOutput output("test", clock, 31250, 6);
  output.attach(pair);
  EXPECT_TRUE(output.send(press(1)));   // one leaves, three wait
  EXPECT_FALSE(output.send(press(2)));  // four more don't fit: none of them is taken
  EXPECT_FALSE(output.send(press(2)));  // the same run of failures: logged once
  output.waitUntilSent();               // the three that waited leave: the run ends
  EXPECT_EQ(pair->bytes(), messagesOf(press(1)));

  // The port fails with a press on its way: what waits is dropped, and every send is refused
  // until the ports are attached again, without the old queue.
  EXPECT_TRUE(output.send(press(3)));
  pair->setFailing(true);
  output.waitUntilSent();
  EXPECT_TRUE(output.failed());
  EXPECT_FALSE(output.send(kPing));
  const auto fresh = std::make_shared<RecordingPair>(clock);
  output.attach(fresh);
  EXPECT_TRUE(output.send(kPing));
  EXPECT_THAT(fresh->bytes(), ElementsAre(kPing));
  const auto counts = output.counts();
  EXPECT_EQ(counts.sent, 5u);
  EXPECT_EQ(counts.failed, 8u + 5u);
  EXPECT_THAT(logger->messages(LogFlag::error),
              ElementsAre(HasSubstr("test: 4 MIDI messages not sent: the queue is full"),
                          HasSubstr("test: 1 MIDI message not sent: the port failed a send")));
  EXPECT_THAT(logger->messages(LogFlag::warning), ElementsAre(HasSubstr("MIDI messages are sent again; 8 were not"),
                                                              HasSubstr("MIDI messages are sent again; 5 were not")));
}

// Closing with a full queue sends it at once and never waits for the link, on either clock.
TEST_F(PacedMidiOutputTest, ClosingSendsWhatWaitsAtOnceAndRefusesWhatComesAfter) {
  const std::shared_ptr<zar::platform::Clock> clocks[] = {clock, std::make_shared<zar::native::SystemClock>()};
  for (const auto& onClock : clocks) {
    const auto port = std::make_shared<RecordingPair>(onClock);
    auto output = std::make_unique<PacedMidiOutput>("test", onClock, 300, 8);  // a tenth of a second a message
    output->attach(port);
    EXPECT_TRUE(output->send(press(1)));
    EXPECT_TRUE(output->send(press(2)));
    EXPECT_FALSE(output->send(press(3))) << "full";
    output->close();
    EXPECT_EQ(port->bytes().size(), 8u);
    EXPECT_FALSE(output->send(kPing));
    EXPECT_EQ(output->counts().queued, 0u);
    output.reset();
  }
  EXPECT_NEAR(clock->now(), kStart, 1e-12) << "virtual time did not move";
}

}  // namespace
