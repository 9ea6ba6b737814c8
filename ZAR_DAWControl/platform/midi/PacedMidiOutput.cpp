#include "ZAR_DAWControl/platform/midi/PacedMidiOutput.h"

#include <algorithm>

#include "ZAR_DAWControl/platform/Log.h"
#include "ZAR_DAWControl/platform/midi/MidiMessageSplitter.h"
#include "ZAR_DAWControl/platform/midi/ZAR_HUITrafficObserver.h"

namespace zar::platform {

PacedMidiOutput::PacedMidiOutput(std::string label, std::shared_ptr<Clock> clock, double baudRate,
                                 std::size_t capacity, bool huiTraffic)
    : _label(std::move(label)),
      _clock(std::move(clock)),
      _baudRate(_clock && baudRate > 0 ? baudRate : 0),
      _capacity(capacity),
      _huiTraffic(huiTraffic) {
  if (_baudRate > 0) {
    _waiter = _clock->makeBackgroundWaiter();
    _thread = std::thread([this] { run(); });
  }
}

PacedMidiOutput::~PacedMidiOutput() { close(); }

void PacedMidiOutput::attach(std::shared_ptr<MidiPortPair> pair) {
  std::lock_guard sending(_sendMutex);
  std::lock_guard lock(_mutex);
  dropQueueLocked("the ports were replaced");
  _pair = std::move(pair);
  _failed = false;
}

void PacedMidiOutput::detach() {
  std::lock_guard sending(_sendMutex);  // no send to the pair is under way when it is let go
  std::lock_guard lock(_mutex);
  dropQueueLocked("the ports closed");
  _pair.reset();
  _failed = false;
}

bool PacedMidiOutput::failed() const {
  std::lock_guard lock(_mutex);
  return _failed;
}

void PacedMidiOutput::close() {
  {
    std::lock_guard sending(_sendMutex);
    std::unique_lock lock(_mutex);
    if (_closed) {
      return;
    }
    _closed = true;
    // What waits leaves at once: a Stop sent just before the host quits still reaches Pro Tools,
    // and closing never waits for the link, on any clock.
    const double now = _clock ? _clock->now() : 0;
    while (!_queue.empty()) {
      sendHeadLocked(lock, now);
    }
    _progress.notify_all();
  }
  if (_waiter) {
    _waiter->wake();
  }
  if (_thread.joinable()) {
    _thread.join();
  }
  std::lock_guard lock(_mutex);
  _waiter.reset();  // a virtual clock waits for this sender no more
  _pair.reset();
}

std::optional<double> PacedMidiOutput::send(std::span<const std::uint8_t> bytes) {
  auto messages = MidiMessageSplitter().split(bytes);
  std::lock_guard sending(_sendMutex);
  std::unique_lock lock(_mutex);
  const double now = _clock ? _clock->now() : 0;
  if (messages.empty()) {
    return now;
  }
  const char* refusal = _closed ? "the output is closed"
                        : !_pair ? "the ports are not open"
                        : _failed ? "the ports failed a send and are not open again yet"
                        : _queue.size() + messages.size() > _capacity ? "the queue is full"
                                                                       : nullptr;
  if (refusal) {
    failLocked(messages.size(), refusal);
    lock.unlock();
    reportNotSent(messages, refusal);
    return std::nullopt;
  }
  const auto portFailed = [&](std::size_t failed) {
    const char* why = "the port failed a send";
    failLocked(messages.size() - failed - 1, why);
    lock.unlock();
    reportNotSent(std::span(messages).subspan(failed + 1), why);
    return std::nullopt;
  };
  if (_baudRate <= 0) {
    for (std::size_t i = 0; i < messages.size(); ++i) {
      if (!sendLocked(lock, messages[i], now)) {
        return portFailed(i);
      }
    }
    return now;
  }
  std::size_t first = 0;
  const bool wasIdle = _queue.empty();
  if (wasIdle && now >= _linkFreeAt) {
    if (!sendLocked(lock, messages.front(), now)) {
      return portFailed(0);
    }
    first = 1;
  }
  for (std::size_t i = first; i < messages.size(); ++i) {
    _queuedSeconds += carriedIn(messages[i].size());
    _queue.push_back(std::move(messages[i]));
  }
  if (wasIdle && !_queue.empty()) {
    _waiter->wake();  // it waited with nothing to send; now it waits for the link
  }
  return std::max(now, _linkFreeAt) + _queuedSeconds;
}

void PacedMidiOutput::waitUntilSent() {
  if (_baudRate <= 0) {
    return;
  }
  std::unique_lock lock(_mutex);
  while (!_queue.empty()) {
    const double now = _clock->now();
    const double until = std::max(std::max(now, _linkFreeAt) + _queuedSeconds, now + carriedIn(3));
    _clock->waitUntil(_progress, lock, until);
    // On a virtual clock the sender woken at a departure sends while this settles.
    lock.unlock();
    _clock->settle();
    lock.lock();
  }
}

PacedMidiOutput::Counts PacedMidiOutput::counts() const {
  std::lock_guard lock(_mutex);
  Counts counts = _counts;
  counts.queued = _queue.size();
  return counts;
}

void PacedMidiOutput::run() {
  for (;;) {
    std::unique_lock sending(_sendMutex);
    std::unique_lock lock(_mutex);
    if (_closed) {
      return;
    }
    const double now = _clock->now();
    if (_queue.empty() || now < _linkFreeAt) {
      sending.unlock();
      _waiter->waitUntil(lock, _queue.empty() ? Clock::distantFuture : _linkFreeAt);
      continue;
    }
    sendHeadLocked(lock, now);
  }
}

double PacedMidiOutput::carriedIn(std::size_t bytes) const {
  return _baudRate > 0 ? static_cast<double>(bytes) * kBitsPerByte / _baudRate : 0;
}

bool PacedMidiOutput::sendLocked(std::unique_lock<std::mutex>& lock, const std::vector<std::uint8_t>& message,
                                 double now) {
  // The port is called without the lock, which `waitUntilSent` and the counts take: a port may
  // call out (a tap, a backend that waits for room). `_sendMutex` keeps the order.
  const auto pair = _pair;
  lock.unlock();
  const bool sent = pair->send(message);
  if (auto* observer = _huiTraffic ? ZAR_HUITrafficObserver::shared() : nullptr) {
    if (sent) {
      observer->huiMessageSent(message);
    } else {
      observer->huiMessageNotSent(message, "the port failed a send");
    }
  }
  lock.lock();
  if (!sent) {
    _failed = true;
    failLocked(1, "the port failed a send");
    dropQueueLocked("the port failed a send");
    return false;
  }
  ++_counts.sent;
  _linkFreeAt = std::max(now, _linkFreeAt) + carriedIn(message.size());
  if (_failedInRun > 0) {
    ZAR_LOG_WARN("{}: MIDI messages are sent again; {} were not", _label, _failedInRun);
    _failedInRun = 0;
  }
  return true;
}

void PacedMidiOutput::sendHeadLocked(std::unique_lock<std::mutex>& lock, double now) {
  const std::vector<std::uint8_t> next = std::move(_queue.front());
  _queue.pop_front();
  _queuedSeconds = _queue.empty() ? 0 : std::max(0.0, _queuedSeconds - carriedIn(next.size()));
  sendLocked(lock, next, now);
  _progress.notify_all();
}

void PacedMidiOutput::dropQueueLocked(const char* why) {
  if (_queue.empty()) {
    return;
  }
  failLocked(_queue.size(), why);
  for (const auto& message : _queue) reportNotSent(std::span(&message, 1), why);
  _queue.clear();
  _queuedSeconds = 0;
  _progress.notify_all();
}

void PacedMidiOutput::failLocked(std::uint64_t messages, const std::string& why) {
  if (messages == 0) {
    return;
  }
  _counts.failed += messages;
  if (_failedInRun == 0) {
    ZAR_LOG_ERROR("{}: {} MIDI message{} not sent: {}", _label, messages, messages == 1 ? "" : "s", why);
  }
  _failedInRun += messages;
}

void PacedMidiOutput::reportNotSent(std::span<const std::vector<std::uint8_t>> messages, const char* why) const {
  auto* observer = _huiTraffic ? ZAR_HUITrafficObserver::shared() : nullptr;
  if (observer == nullptr) {
    return;
  }
  for (const auto& message : messages) observer->huiMessageNotSent(message, why);
}

}  // namespace zar::platform
