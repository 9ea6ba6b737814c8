#pragma once

#include <cstdint>
#include <span>

/// Hears what passes on the HUI ports: every message handed to the HUI output port, every message
/// for it that never got there, and every lamp Pro Tools sends. One observer for the process, so
/// it hears the MIDI systems of every installed platform (a test's too).
///
/// The calls come on the thread where the traffic happens (a pass's, the paced output's own
/// thread, the MIDI thread), some of them under the locks of the HUI output and of the surface:
/// an observer returns quickly, takes no lock that anything calling the MIDI system holds, and
/// never calls back into it.
class ZAR_HUITrafficObserver {
 public:
  virtual ~ZAR_HUITrafficObserver() = default;

  /// `message` (one MIDI message) was handed to the HUI output port.
  virtual void huiMessageSent(std::span<const std::uint8_t> message) = 0;
  /// `message` was refused, failed by the port or dropped from the queue; `why` says which.
  virtual void huiMessageNotSent(std::span<const std::uint8_t> message, const char* why) = 0;
  /// A lamp message of Pro Tools: `port` of `zone` turned `on`. For a channel strip `track` is the
  /// track position it shows (bank offset + strip) when the bank in view is known, else -1.
  virtual void huiLampReceived(std::uint8_t zone, std::uint8_t port, bool on, std::int32_t track) = 0;
  /// The surface pressed the record-ready (`recordReady`) or mute button of `track` while it knew
  /// the lamp: it takes the lamp for `on` from now on, as the framework does. Pro Tools' next lamps
  /// confirm it, or, when Pro Tools didn't take the press, turn it back (a lamp change like any).
  virtual void huiLampToggled(std::int32_t track, bool recordReady, bool on) = 0;

  /// Installs the process's observer (nothing: none); it must live as long as the process or until
  /// it is replaced. Any thread.
  static void setShared(ZAR_HUITrafficObserver* observer);
  /// The process's observer, or nothing. Any thread; one atomic read.
  static ZAR_HUITrafficObserver* shared();
};
