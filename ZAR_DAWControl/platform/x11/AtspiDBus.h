#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "ZAR_DAWControl/platform/x11/AtspiConnection.h"
#include "ZAR_DAWControl/platform/x11/AtspiTransport.h"

namespace zar::x11 {

/// The accessibility bus of the desktop (AT-SPI over D-Bus, through libdbus).
///
/// The bus is looked for as toolkits look for it: $AT_SPI_BUS_ADDRESS, then the X root window's
/// AT_SPI_BUS property, then the launcher's org.a11y.Bus on the session bus. Once connected, the
/// transport asks the registry for the changes the mirror needs (state, property, children, bounds
/// and text changes: applications announce only what some client registered for) and hears which
/// connections leave the bus. When the connection closes (the bus went away) the sink hears it,
/// and the next call connects again, at most once a second, so a bus that comes back is found
/// without the host's doing. A registry that quits and is started again has forgotten the events
/// asked for: they are asked for again at the next call.
///
/// Each call waits at most two seconds for its replies: an application that hangs is a failed
/// read (cannotComplete), never a hung caller.
class AtspiDBus final : public AtspiTransport {
 public:
  AtspiDBus();
  ~AtspiDBus() override;

  void setEventSink(EventSink sink) override;
  bool reachable() override;
  /// Answered from memory (the registry's connection, learnt when connecting).
  AtspiRef desktop() override;
  std::vector<AtspiReply> read(const std::vector<AtspiRead>& reads) override;
  std::optional<std::int32_t> processOf(const std::string& bus) override;
  platform::AXError doAction(const AtspiRef& ref, std::int32_t index) override;
  platform::AXError actionText(const AtspiRef& ref, std::int32_t index, std::string& text) override;
  platform::AXError setText(const AtspiRef& ref, const std::string& text) override;
  platform::AXError setValue(const AtspiRef& ref, double value) override;
  void barrier(const std::string& bus) override;
  std::uint64_t messagesSent() const override;

  /// Whether toolkit accessibility is switched on: org.a11y.Status IsEnabled on the session bus,
  /// the switch toolkits other than GTK 3 read before they join the accessibility bus.
  static bool toolkitAccessibilityEnabled();

 private:
  /// The connection, opened when there is none (at most once a second); null while the bus can't
  /// be reached.
  std::shared_ptr<AtspiConnection> connection();
  /// Asks the bus for the signals, then registers the events.
  bool subscribe(AtspiConnection& connection);
  /// Asks the registry for the events (which starts it when none runs); learns its name.
  bool registerEvents(AtspiConnection& connection);
  void signal(DBusMessage* signal);
  void deliver(const AtspiEvent& event);
  /// One call with its reply, or the error for it.
  platform::AXError callOne(DBusMessageRef message, DBusMessageRef& reply);

  std::mutex _connectMutex;  // one thread connects at a time
  mutable std::mutex _mutex;
  std::shared_ptr<AtspiConnection> _connection;
  std::string _registry;
  std::atomic<bool> _registryChanged{false};  // another registry than the one the events were asked of
  double _lastAttempt = -1;
  bool _lost = false;  // the bus closed; its return is not logged yet
  std::atomic<std::uint64_t> _sentBefore{0};  // by connections closed since

  std::mutex _sinkMutex;
  EventSink _sink;
};

}  // namespace zar::x11
