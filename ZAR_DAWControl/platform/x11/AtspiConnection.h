#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

typedef struct DBusConnection DBusConnection;
typedef struct DBusMessage DBusMessage;

namespace zar::x11 {

/// Drops a reference to a D-Bus message.
struct DBusMessageUnref {
  void operator()(DBusMessage* message) const;
};
using DBusMessageRef = std::unique_ptr<DBusMessage, DBusMessageUnref>;

/// One connection to a message bus (libdbus) with the one thread that reads it.
///
/// Only that thread reads and dispatches: signals reach `onSignal` and replies complete their
/// calls in the order the bus sent them, so a signal that came before a reply has been handled
/// when the call that waited for the reply returns. Calls may be made from any thread; they send
/// their messages at once and wait for the replies, never reading the connection themselves.
class AtspiConnection {
 public:
  using SignalHandler = std::function<void(DBusMessage* signal)>;

  /// Connects to the bus at `address` and registers on it; nothing when either fails. `onSignal`
  /// gets every signal, `onClosed` is told once when the connection closes, both on the reading
  /// thread.
  static std::unique_ptr<AtspiConnection> open(const std::string& address, SignalHandler onSignal,
                                               std::function<void()> onClosed);
  ~AtspiConnection();
  AtspiConnection(const AtspiConnection&) = delete;
  AtspiConnection& operator=(const AtspiConnection&) = delete;

  bool connected() const { return !_closed.load(); }
  /// Sends the messages together and waits, at most `timeout` in all, for their replies: for each
  /// message its reply or error reply, or nothing when none came in time or the connection closed.
  std::vector<DBusMessageRef> call(std::vector<DBusMessageRef> messages, std::chrono::milliseconds timeout);
  /// The messages sent so far.
  std::uint64_t sent() const { return _sent.load(); }
  /// The messages the calling thread has sent, on any connection: the calls it waited for.
  static std::uint64_t sentOnThisThread();

 private:
  AtspiConnection(DBusConnection* connection, int wake, SignalHandler onSignal, std::function<void()> onClosed);
  void run();
  void wake();
  void closed();

  DBusConnection* const _connection;
  const int _wake;
  const SignalHandler _onSignal;
  const std::function<void()> _onClosed;
  std::atomic<bool> _closed{false};
  std::atomic<bool> _stopping{false};
  std::atomic<std::uint64_t> _sent{0};
  std::thread _reader;
};

}  // namespace zar::x11
