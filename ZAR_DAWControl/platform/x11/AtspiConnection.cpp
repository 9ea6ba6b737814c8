#include "ZAR_DAWControl/platform/x11/AtspiConnection.h"

#include <dbus/dbus.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <mutex>

namespace zar::x11 {

namespace {

thread_local std::uint64_t sentHere = 0;

}  // namespace

std::uint64_t AtspiConnection::sentOnThisThread() { return sentHere; }

void DBusMessageUnref::operator()(DBusMessage* message) const { dbus_message_unref(message); }

namespace {

// The replies one call waits for. A reply may complete before the call has finished sending, and
// after it stopped waiting: each is counted once, and whoever is last frees this.
struct Waiting {
  std::mutex mutex;
  std::condition_variable done;
  std::vector<bool> completed;
  std::size_t left = 0;

  void complete(std::size_t index) {
    std::lock_guard lock(mutex);
    if (completed[index]) return;
    completed[index] = true;
    if (--left == 0) done.notify_all();
  }
};

struct Completion {
  std::shared_ptr<Waiting> waiting;
  std::size_t index;
};

}  // namespace

std::unique_ptr<AtspiConnection> AtspiConnection::open(const std::string& address, SignalHandler onSignal,
                                                       std::function<void()> onClosed) {
  DBusError error;
  dbus_error_init(&error);
  DBusConnection* connection = dbus_connection_open_private(address.c_str(), &error);
  dbus_error_free(&error);
  if (connection == nullptr) return nullptr;
  dbus_connection_set_exit_on_disconnect(connection, false);
  // Before the reading thread starts, this thread alone uses the connection.
  dbus_error_init(&error);
  const bool registered = dbus_bus_register(connection, &error) != 0;
  dbus_error_free(&error);
  const int wake = registered ? ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC) : -1;
  if (wake < 0) {
    dbus_connection_close(connection);
    dbus_connection_unref(connection);
    return nullptr;
  }
  return std::unique_ptr<AtspiConnection>(
      new AtspiConnection(connection, wake, std::move(onSignal), std::move(onClosed)));
}

AtspiConnection::AtspiConnection(DBusConnection* connection, int wake, SignalHandler onSignal,
                                 std::function<void()> onClosed)
    : _connection(connection), _wake(wake), _onSignal(std::move(onSignal)), _onClosed(std::move(onClosed)) {
  const auto filter = [](DBusConnection*, DBusMessage* message, void* data) {
    auto& self = *static_cast<AtspiConnection*>(data);
    if (dbus_message_get_type(message) != DBUS_MESSAGE_TYPE_SIGNAL) return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
    if (dbus_message_is_signal(message, DBUS_INTERFACE_LOCAL, "Disconnected")) {
      self.closed();
    } else {
      self._onSignal(message);
    }
    return DBUS_HANDLER_RESULT_HANDLED;
  };
  dbus_connection_add_filter(_connection, filter, this, nullptr);
  // A message queued while another thread held the connection's I/O waits for the reading thread.
  dbus_connection_set_wakeup_main_function(
      _connection, [](void* self) { static_cast<AtspiConnection*>(self)->wake(); }, this, nullptr);
  // Messages read by a thread that sent (libdbus may read while it writes) wait for dispatching.
  dbus_connection_set_dispatch_status_function(
      _connection,
      [](DBusConnection*, DBusDispatchStatus status, void* self) {
        if (status == DBUS_DISPATCH_DATA_REMAINS) static_cast<AtspiConnection*>(self)->wake();
      },
      this, nullptr);
  _reader = std::thread([this] { run(); });
}

AtspiConnection::~AtspiConnection() {
  _stopping.store(true);
  wake();
  _reader.join();
  dbus_connection_set_wakeup_main_function(_connection, nullptr, nullptr, nullptr);
  dbus_connection_set_dispatch_status_function(_connection, nullptr, nullptr, nullptr);
  dbus_connection_close(_connection);
  dbus_connection_unref(_connection);
  ::close(_wake);
}

void AtspiConnection::wake() {
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = ::write(_wake, &one, sizeof one);
}

void AtspiConnection::closed() {
  if (!_closed.exchange(true) && _onClosed) _onClosed();
}

void AtspiConnection::run() {
  int socket = -1;
  if (!dbus_connection_get_socket(_connection, &socket)) {
    closed();
    return;
  }
  while (!_stopping.load()) {
    const short events = static_cast<short>(POLLIN | (dbus_connection_has_messages_to_send(_connection) ? POLLOUT : 0));
    pollfd descriptors[2] = {{socket, events, 0}, {_wake, POLLIN, 0}};
    if (::poll(descriptors, 2, -1) < 0 && errno != EINTR) break;
    if (descriptors[1].revents != 0) {
      std::uint64_t count = 0;
      [[maybe_unused]] const auto read = ::read(_wake, &count, sizeof count);
    }
    if (_stopping.load()) break;
    const bool open = dbus_connection_read_write(_connection, 0) != 0;
    while (dbus_connection_dispatch(_connection) == DBUS_DISPATCH_DATA_REMAINS) {
    }
    if (!open || !dbus_connection_get_is_connected(_connection)) {
      closed();
      break;
    }
  }
}

std::vector<DBusMessageRef> AtspiConnection::call(std::vector<DBusMessageRef> messages,
                                                  std::chrono::milliseconds timeout) {
  std::vector<DBusMessageRef> replies(messages.size());
  if (messages.empty() || _closed.load()) return replies;
  auto waiting = std::make_shared<Waiting>();
  waiting->completed.assign(messages.size(), false);
  waiting->left = messages.size();
  std::vector<DBusPendingCall*> pending(messages.size(), nullptr);
  for (std::size_t i = 0; i < messages.size(); ++i) {
    // No timeout of libdbus's: its timeouts need a main loop; the wait below bounds the call.
    if (!dbus_connection_send_with_reply(_connection, messages[i].get(), &pending[i], DBUS_TIMEOUT_INFINITE) ||
        pending[i] == nullptr) {
      waiting->complete(i);
      continue;
    }
    _sent.fetch_add(1);
    ++sentHere;
    dbus_pending_call_set_notify(
        pending[i],
        [](DBusPendingCall*, void* data) {
          const auto* completion = static_cast<Completion*>(data);
          completion->waiting->complete(completion->index);
        },
        new Completion{waiting, i}, [](void* data) { delete static_cast<Completion*>(data); });
    // Completed before the notification was in place.
    if (dbus_pending_call_get_completed(pending[i])) waiting->complete(i);
  }
  {
    std::unique_lock lock(waiting->mutex);
    waiting->done.wait_for(lock, timeout, [&] { return waiting->left == 0; });
  }
  for (std::size_t i = 0; i < messages.size(); ++i) {
    if (pending[i] == nullptr) continue;
    if (dbus_pending_call_get_completed(pending[i])) {
      replies[i].reset(dbus_pending_call_steal_reply(pending[i]));
    } else {
      dbus_pending_call_cancel(pending[i]);
    }
    dbus_pending_call_unref(pending[i]);
  }
  return replies;
}

}  // namespace zar::x11
