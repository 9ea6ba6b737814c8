#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "ZAR_DAWControl/platform/midi/hui/HUIBankNavigator.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIDecoder.h"
#include "ZAR_DAWControl/platform/midi/hui/HUILampDebouncer.h"

namespace zar::hui {

/// The surface side of one HUI port pair: what the host has said over time (pings, lamps) and
/// what the surface has done (its bank moves). Bytes from the host come in through `receive`;
/// bytes to the host go out through the sink given at construction, always whole messages and
/// never two senders interleaved. Time is passed in, so the model runs on any clock.
/// Thread-safe: the MIDI thread feeds it while host threads press buttons.
class HUISurface {
 public:
  using Sink = std::function<void(std::span<const std::uint8_t>)>;

  /// A host that has not pinged for this long is gone.
  static constexpr double kConnectionTimeout = 2.0;
  /// Longer than Pro Tools' flash period of about one second.
  static constexpr double kLampDebounceWindow = 1.5;

  explicit HUISurface(Sink sink, double lampDebounceWindow = kLampDebounceWindow);

  /// Host bytes arriving at `now`. Answers pings when `answerPings`; returns the lamp changes of
  /// tracks, after debouncing.
  std::vector<HUILampDebouncer::Change> receive(std::span<const std::uint8_t> bytes, double now, bool answerPings);
  /// Brings `track` into view and presses and releases the strip's `port`. False when the
  /// track is outside 0..63.
  bool pressStripPort(int track, std::uint8_t port, double now);
  /// Sends a message of another sender (the transport). A zone it selects is restored after
  /// the surface's own presses, so a press of ours between its zone select and its port message
  /// cannot redirect that port.
  void sendForeign(std::span<const std::uint8_t> message);

  /// The host pinged within the last two seconds.
  bool connected(double now) const;
  std::uint64_t pingCount() const;
  std::optional<double> lastPingTime() const;
  std::optional<int> bankOffset() const;

 private:
  bool connectedLocked(double now) const;
  void sendLocked(std::span<const std::uint8_t> bytes);

  Sink _sink;
  mutable std::mutex _mutex;
  HUIDecoder _decoder;
  HUIBankNavigator _navigator;
  HUILampDebouncer _debouncer;
  std::optional<double> _lastPing;
  std::uint64_t _pingCount = 0;
  std::optional<std::uint8_t> _foreignZone;
};

}  // namespace zar::hui
