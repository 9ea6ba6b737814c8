#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "ZAR_DAWControl/platform/Clock.h"
#include "ZAR_DAWControl/platform/MidiPorts.h"

namespace zar::platform {

/// The output of a MIDI port pair at the pace of a MIDI link: a message leaves once the link has
/// carried the one before it, ten bits a byte (start, eight data, stop) at the given baud rate, so
/// MIDI's 31,250 baud sends a three-byte message every 0.96 ms. A burst then never overruns a
/// buffer between here and a reader that reads at its own pace (JACK hands a late reader a buffer
/// that the next period is already refilling, and loses what was in it).
///
/// - Messages leave in the order given. One to an idle link leaves at once, on the caller's
///   thread; the others wait in a queue that a thread of the output sends from, waiting through
///   the clock's background waiter (on a virtual clock they leave as time is moved through their
///   departures, and the nth leaves no earlier than n intervals after the first).
/// - What one `send` is given (a button's press and release) is queued whole or refused whole, so
///   a press is not left without its release.
/// - At most `capacity` messages wait; a send that doesn't fit is refused.
/// - A send the port fails: the queue is dropped and every send is refused until a pair is
///   attached again (the owner opens the ports again).
/// - Closing sends what waits at once and never waits for the link.
/// - Messages refused, failed or dropped are counted and logged once per run of failures; the
///   first message sent after a run says so (a warning).
/// - The HUI output tells the process's `ZAR_HUITrafficObserver` of every message handed to the
///   port and of every one refused, failed or dropped (a dropped queue under the output's lock).
///
/// Thread-safe. The pair is sent to one message at a time, in order, and without the lock that
/// `waitUntilSent`, the counts and the queue's state take, so a pair that calls out can't hold them.
class PacedMidiOutput {
 public:
  static constexpr double kBitsPerByte = 10;

  struct Counts {
    /// Messages handed to the port.
    std::uint64_t sent = 0;
    /// Messages refused, failed by the port, or dropped from the queue.
    std::uint64_t failed = 0;
    /// Messages waiting now.
    std::size_t queued = 0;
  };

  /// `label` names the output in the log. A baud rate that is not positive (or no clock) sends
  /// every message at once. `huiTraffic`: the output is the HUI output, whose traffic the
  /// process's `ZAR_HUITrafficObserver` hears.
  PacedMidiOutput(std::string label, std::shared_ptr<Clock> clock, double baudRate, std::size_t capacity,
                  bool huiTraffic = false);
  /// Closes.
  ~PacedMidiOutput();
  PacedMidiOutput(const PacedMidiOutput&) = delete;
  PacedMidiOutput& operator=(const PacedMidiOutput&) = delete;

  /// Sends from now on to `pair`, which is working. Nothing: every send is refused.
  void attach(std::shared_ptr<MidiPortPair> pair);
  /// Drops what waits (counted) and lets go of the pair, which the caller closes.
  void detach();
  /// The pair failed a send since it was attached.
  bool failed() const;
  /// Sends what waits at once and stops the thread; later sends are refused. Waits for a send in
  /// progress.
  void close();

  /// Sends `bytes`, whole MIDI messages that belong together; an incomplete message at the end is
  /// dropped. Returns the clock time by which the link will have carried them, or nothing when
  /// they were refused (no pair, a pair that failed, no room, closed) or the port failed the first.
  std::optional<double> send(std::span<const std::uint8_t> bytes);
  /// Returns once nothing waits (everything left or was dropped), waiting through the clock (a
  /// virtual clock is moved through the departures). Not under a lock the sends need.
  void waitUntilSent();
  Counts counts() const;

 private:
  void run();
  double carriedIn(std::size_t bytes) const;
  /// Sends one message now, with `lock` (of `_mutex`) let go meanwhile; `_sendMutex` is held.
  /// False (the queue dropped, the failure counted) when the port fails it.
  bool sendLocked(std::unique_lock<std::mutex>& lock, const std::vector<std::uint8_t>& message, double now);
  void sendHeadLocked(std::unique_lock<std::mutex>& lock, double now);
  void dropQueueLocked(const char* why);
  void failLocked(std::uint64_t messages, const std::string& why);
  /// Tells the HUI traffic observer, if this output has one, that `messages` were not sent.
  void reportNotSent(std::span<const std::vector<std::uint8_t>> messages, const char* why) const;

  const std::string _label;
  const std::shared_ptr<Clock> _clock;
  const double _baudRate;
  const std::size_t _capacity;
  const bool _huiTraffic;
  std::unique_ptr<Clock::BackgroundWaiter> _waiter;

  std::mutex _sendMutex;  // held while a message is handed to the pair, and taken before `_mutex`
  mutable std::mutex _mutex;
  std::condition_variable _progress;  // a message left or was dropped
  std::shared_ptr<MidiPortPair> _pair;
  bool _failed = false;
  bool _closed = false;
  std::deque<std::vector<std::uint8_t>> _queue;
  double _queuedSeconds = 0;  // what the link takes to carry the queue
  double _linkFreeAt = 0;     // when the link has carried the last message sent
  Counts _counts;
  std::uint64_t _failedInRun = 0;  // since the last message sent
  std::thread _thread;
};

}  // namespace zar::platform
