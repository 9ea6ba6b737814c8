#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "ZAR_DAWControl/platform/midi/hui/HUIBankNavigator.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIBankSurvey.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIDecoder.h"
#include "ZAR_DAWControl/platform/midi/hui/HUILampDebouncer.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIProtocol.h"

namespace zar::hui {

/// The surface side of one HUI port pair: what the host has said over time (pings, lamps) and
/// what the surface has done (its bank moves). Bytes from the host come in through `receive`;
/// bytes to the host go out through the sink given at construction, always whole messages and
/// never two senders interleaved, and the moves that bring a track into view together with the
/// press that follows them in one call. The sink takes a call whole or refuses it, and says by
/// when the host will have it (a paced output may hold it a while): a move settles, and a toggle's
/// lamp waits for the host, from then on. A refused move leaves the bank unknown, so the next
/// move learns it again. Time is passed in, so the model runs on any clock; `tick` does what is
/// due at a time and `nextDeadline` says when the next thing is due.
///
/// Knowing which tracks are in view: the host never says which track the first strip shows. When
/// the host starts talking (the first ping answered, or the first after it was away) the surface
/// brings the first bank into view with bank-left presses and counts its moves from there. After
/// every move it holds the lamps it receives for `kBankSettleTime` and then takes the last lamp of
/// each strip, so that lamps the host sent before it saw the move are not taken for the new bank's
/// (a lamp of every strip is no sign that the host has caught up: the refresh of an earlier move
/// in the same series may still be on its way); lamps that come while the bank is not known are
/// kept per strip and count once it is. Then it surveys the session: every bank is brought into view once, long
/// enough to tell flashing from steady lamps, so that a track armed out of view is known too.
///
/// Thread-safe: the MIDI thread feeds it while host threads press buttons.
class HUISurface {
 public:
  /// Sends whole messages that belong together; returns when the host will have them (a time of
  /// the clock passed in), or nothing when they were refused.
  using Sink = std::function<std::optional<double>(std::span<const std::uint8_t>)>;
  using Change = HUILampDebouncer::Change;

  /// A host that has not pinged for this long is gone.
  static constexpr double kConnectionTimeout = 2.0;
  /// Pro Tools flashes lamps at about one flash a second: longer than half a flash, and short
  /// enough that a change is known within a second of its last lamp.
  static constexpr double kLampDebounceWindow = 0.75;
  /// How long the host may take to show a new bank's lamps after the surface moved the bank.
  static constexpr double kBankSettleTime = 0.25;

  explicit HUISurface(Sink sink, double lampDebounceWindow = kLampDebounceWindow);

  /// Host bytes arriving at `now`. Answers pings when `answerPings` (a device is attached), and
  /// then also brings the bank into a known position when it is not known. Returns the lamp
  /// changes of tracks. Every lamp message is told to the process's `ZAR_HUITrafficObserver`, as
  /// it is decoded (under the surface's lock).
  std::vector<Change> receive(std::span<const std::uint8_t> bytes, double now, bool answerPings);
  /// Does what is due by `now` (debounced lamps, the end of a settle, the survey's next bank).
  std::vector<Change> tick(double now);
  /// When `tick` has something to do next; nothing when it has nothing.
  std::optional<double> nextDeadline() const;
  /// Brings `track` into view and presses and releases the strip's `port`; the lamp of that port
  /// is unknown until the host shows it again. False when the track is outside 0..63.
  bool pressStripPort(int track, std::uint8_t port, double now);
  /// Sends a message of another sender (the transport); false when the sink refused it. A zone it
  /// selects is restored after the surface's own presses, so a press of ours between its zone
  /// select and its port message cannot redirect that port.
  bool sendForeign(std::span<const std::uint8_t> message);
  /// How many tracks the session shows on HUI (clamped to 64). A new count after a known one means
  /// tracks came or went: positions and lamps are learned again. Returns the lamp changes due.
  std::vector<Change> setTrackCount(int count, double now);
  /// The lamps known now, by track, for tracks of the session.
  std::vector<Change> knownLamps() const;

  /// The host pinged within the last two seconds.
  bool connected(double now) const;
  /// Connected, the bank in view is known and settled, and every bank has been surveyed.
  bool lampsKnown(double now) const;
  std::uint64_t pingCount() const;
  std::optional<int> bankOffset() const;

 private:
  enum class View { unknown, settling, settled };
  /// The last lamp state each strip showed, for the two lamps followed.
  using StripLamps = std::array<std::array<std::optional<bool>, 2>, kStripsPerBank>;

  bool connectedLocked(double now) const;
  std::optional<double> sendLocked(std::span<const std::uint8_t> bytes);
  /// A press and release of `port` in `zone`, and the foreign zone selected again after it.
  void appendPressLocked(std::vector<std::uint8_t>& bytes, std::uint8_t zone, std::uint8_t port) const;
  /// Sends the moves, then `then` (a press in the new bank), as one, and holds lamps until the
  /// host has shown the new bank. Returns when the host will have it all, or nothing when it was
  /// refused: the bank is then unknown.
  std::optional<double> moveLocked(const std::vector<std::uint8_t>& moves, double now,
                                   std::span<const std::uint8_t> then = {});
  void forgetPositionLocked();
  /// Settles a bank, surveys further, sweeps: everything due by `now`.
  void advanceLocked(double now, std::vector<Change>& changes);
  void settleLocked(double now, std::vector<Change>& changes);
  void lampLocked(int strip, HUILamp lamp, bool on, double now, std::vector<Change>& changes);
  bool inSessionLocked(int track) const;

  Sink _sink;
  const double _window;
  mutable std::mutex _mutex;
  HUIDecoder _decoder;
  HUIBankNavigator _navigator;
  HUIBankSurvey _survey;
  HUILampDebouncer _debouncer;
  StripLamps _strips{};
  View _view = View::unknown;
  double _movedAt = 0;
  std::optional<int> _trackCount;
  std::optional<double> _lastPing;
  std::uint64_t _pingCount = 0;
  std::optional<std::uint8_t> _foreignZone;
};

}  // namespace zar::hui
