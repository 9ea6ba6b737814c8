#include "ZAR_DAWControl/platform/x11/AtspiDBus.h"

#include <dbus/dbus.h>
#include <fmt/format.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "ZAR_DAWControl/platform/Log.h"

namespace zar::x11 {

using platform::AXError;

namespace {

constexpr auto kCallTimeout = std::chrono::milliseconds(2000);
constexpr double kReconnectInterval = 1.0;

constexpr const char* kLauncherName = "org.a11y.Bus";
constexpr const char* kLauncherPath = "/org/a11y/bus";
constexpr const char* kRegistryName = "org.a11y.atspi.Registry";
constexpr const char* kRegistryPath = "/org/a11y/atspi/registry";
constexpr const char* kAccessible = "org.a11y.atspi.Accessible";
constexpr const char* kEventObject = "org.a11y.atspi.Event.Object";

// The changes the mirror hears of: the signal's member and the event name the registry knows it by.
struct Subscription {
  const char* member;
  const char* event;
};
constexpr Subscription kSubscriptions[] = {{"StateChanged", "object:state-changed"},
                                           {"PropertyChange", "object:property-change"},
                                           {"ChildrenChanged", "object:children-changed"},
                                           {"BoundsChanged", "object:bounds-changed"},
                                           {"TextChanged", "object:text-changed"}};

double seconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// A call to an object. Names and paths come from other processes: libdbus aborts the process on
// an invalid one, so they are checked first (null for an invalid one).
DBusMessageRef methodCall(const std::string& bus, const std::string& path, const char* interface,
                          const char* method) {
  if (!dbus_validate_bus_name(bus.c_str(), nullptr) || !dbus_validate_path(path.c_str(), nullptr)) return nullptr;
  return DBusMessageRef(dbus_message_new_method_call(bus.c_str(), path.c_str(), interface, method));
}

DBusMessageRef busCall(const char* method) {
  return DBusMessageRef(dbus_message_new_method_call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, method));
}

DBusMessageRef propertyGet(const AtspiRef& ref, const char* interface, const char* property) {
  auto message = methodCall(ref.bus, ref.path, DBUS_INTERFACE_PROPERTIES, "Get");
  if (message) {
    dbus_message_append_args(message.get(), DBUS_TYPE_STRING, &interface, DBUS_TYPE_STRING, &property,
                             DBUS_TYPE_INVALID);
  }
  return message;
}

DBusMessageRef withInt(DBusMessageRef message, std::int32_t value) {
  if (message) dbus_message_append_args(message.get(), DBUS_TYPE_INT32, &value, DBUS_TYPE_INVALID);
  return message;
}

DBusMessageRef readMessage(const AtspiRead& read) {
  const AtspiRef& ref = read.ref;
  switch (read.field) {
    case AtspiField::role: return methodCall(ref.bus, ref.path, kAccessible, "GetRole");
    case AtspiField::interfaces: return methodCall(ref.bus, ref.path, kAccessible, "GetInterfaces");
    case AtspiField::states: return methodCall(ref.bus, ref.path, kAccessible, "GetState");
    case AtspiField::children: return methodCall(ref.bus, ref.path, kAccessible, "GetChildren");
    case AtspiField::name: return propertyGet(ref, kAccessible, "Name");
    case AtspiField::description: return propertyGet(ref, kAccessible, "Description");
    case AtspiField::parent: return propertyGet(ref, kAccessible, "Parent");
    case AtspiField::value: return propertyGet(ref, "org.a11y.atspi.Value", "CurrentValue");
    case AtspiField::actionCount: return propertyGet(ref, "org.a11y.atspi.Action", "NActions");
    case AtspiField::text: {
      auto message = methodCall(ref.bus, ref.path, "org.a11y.atspi.Text", "GetText");
      const std::int32_t start = 0;
      const std::int32_t end = -1;
      if (message) dbus_message_append_args(message.get(), DBUS_TYPE_INT32, &start, DBUS_TYPE_INT32, &end, DBUS_TYPE_INVALID);
      return message;
    }
    case AtspiField::extents: {
      auto message = methodCall(ref.bus, ref.path, "org.a11y.atspi.Component", "GetExtents");
      const std::uint32_t screen = 0;
      if (message) dbus_message_append_args(message.get(), DBUS_TYPE_UINT32, &screen, DBUS_TYPE_INVALID);
      return message;
    }
  }
  return nullptr;
}

AXError errorOf(DBusMessage* reply) {
  if (reply == nullptr) return AXError::cannotComplete;
  if (dbus_message_get_type(reply) != DBUS_MESSAGE_TYPE_ERROR) return AXError::success;
  const char* name = dbus_message_get_error_name(reply);
  const std::string_view error = name != nullptr ? name : "";
  // The object, or the connection of its application, is gone.
  if (error == DBUS_ERROR_UNKNOWN_OBJECT || error == DBUS_ERROR_SERVICE_UNKNOWN || error == DBUS_ERROR_NAME_HAS_NO_OWNER) {
    return AXError::invalidUIElement;
  }
  if (error == DBUS_ERROR_UNKNOWN_METHOD || error == DBUS_ERROR_UNKNOWN_INTERFACE ||
      error == DBUS_ERROR_UNKNOWN_PROPERTY || error == DBUS_ERROR_INVALID_ARGS) {
    return AXError::attributeUnsupported;
  }
  return AXError::cannotComplete;
}

// The reply's first argument, looked into when it is a variant (a property's value).
bool firstArgument(DBusMessage* reply, DBusMessageIter& iter) {
  if (!dbus_message_iter_init(reply, &iter)) return false;
  if (dbus_message_iter_get_arg_type(&iter) == DBUS_TYPE_VARIANT) {
    DBusMessageIter inner;
    dbus_message_iter_recurse(&iter, &inner);
    iter = inner;
  }
  return true;
}

template <typename T>
bool basic(DBusMessageIter& iter, int type, T& out) {
  if (dbus_message_iter_get_arg_type(&iter) != type) return false;
  dbus_message_iter_get_basic(&iter, &out);
  return true;
}

bool text(DBusMessageIter& iter, std::string& out) {
  const char* value = nullptr;
  if (!basic(iter, DBUS_TYPE_STRING, value) && !basic(iter, DBUS_TYPE_OBJECT_PATH, value)) return false;
  out = value != nullptr ? value : "";
  return true;
}

// A reference, (so).
bool reference(DBusMessageIter& iter, AtspiRef& ref) {
  if (dbus_message_iter_get_arg_type(&iter) != DBUS_TYPE_STRUCT) return false;
  DBusMessageIter fields;
  dbus_message_iter_recurse(&iter, &fields);
  if (!text(fields, ref.bus) || !dbus_message_iter_next(&fields)) return false;
  return text(fields, ref.path);
}

// The elements of an array, each read by `each`.
template <typename Each>
bool array(DBusMessageIter& iter, Each each) {
  if (dbus_message_iter_get_arg_type(&iter) != DBUS_TYPE_ARRAY) return false;
  DBusMessageIter element;
  dbus_message_iter_recurse(&iter, &element);
  while (dbus_message_iter_get_arg_type(&element) != DBUS_TYPE_INVALID) {
    if (!each(element)) return false;
    dbus_message_iter_next(&element);
  }
  return true;
}

std::uint64_t interfaceBit(std::string_view name) {
  if (name == "org.a11y.atspi.Action") return kAtspiAction;
  if (name == "org.a11y.atspi.Component") return kAtspiComponent;
  if (name == "org.a11y.atspi.EditableText") return kAtspiEditableText;
  if (name == "org.a11y.atspi.Text") return kAtspiText;
  if (name == "org.a11y.atspi.Value") return kAtspiValue;
  return 0;
}

template <typename T>
bool scalar(DBusMessageIter& iter, int type, AtspiValue& value) {
  T out{};
  if (!basic(iter, type, out)) return false;
  value = out;
  return true;
}

// What a write answers: whether it was done.
AXError done(DBusMessage* reply) {
  dbus_bool_t done = 0;
  DBusMessageIter iter;
  if (!firstArgument(reply, iter) || !basic(iter, DBUS_TYPE_BOOLEAN, done)) return AXError::cannotComplete;
  return done != 0 ? AXError::success : AXError::cannotComplete;
}

// The value of a successful reply to a read; false when it isn't of the field's form.
bool parse(AtspiField field, DBusMessage* reply, AtspiValue& value) {
  DBusMessageIter iter;
  if (!firstArgument(reply, iter)) return false;
  switch (field) {
    case AtspiField::role: return scalar<std::uint32_t>(iter, DBUS_TYPE_UINT32, value);
    case AtspiField::value: return scalar<double>(iter, DBUS_TYPE_DOUBLE, value);
    case AtspiField::actionCount: return scalar<std::int32_t>(iter, DBUS_TYPE_INT32, value);
    case AtspiField::interfaces: {
      std::uint64_t bits = 0;
      std::string name;
      if (!array(iter, [&](DBusMessageIter& element) { return text(element, name) && ((bits |= interfaceBit(name)), true); })) {
        return false;
      }
      value = bits;
      return true;
    }
    case AtspiField::states: {
      std::uint64_t bits = 0;
      int word = 0;
      if (!array(iter, [&](DBusMessageIter& element) {
            std::uint32_t part = 0;
            if (!basic(element, DBUS_TYPE_UINT32, part)) return false;
            if (word < 2) bits |= std::uint64_t{part} << (32 * word);
            ++word;
            return true;
          })) {
        return false;
      }
      value = bits;
      return true;
    }
    case AtspiField::name:
    case AtspiField::description:
    case AtspiField::text: {
      std::string out;
      if (!text(iter, out)) return false;
      value = std::move(out);
      return true;
    }
    case AtspiField::children: {
      std::vector<AtspiRef> children;
      if (!array(iter, [&](DBusMessageIter& element) {
            AtspiRef ref;
            if (!reference(element, ref)) return false;
            children.push_back(std::move(ref));
            return true;
          })) {
        return false;
      }
      value = std::move(children);
      return true;
    }
    case AtspiField::parent: {
      AtspiRef ref;
      if (!reference(iter, ref)) return false;
      // The null reference (a path ending in "null") stands for no parent.
      if (ref.path.ends_with("/null")) ref = {};
      value = std::move(ref);
      return true;
    }
    case AtspiField::extents: {
      if (dbus_message_iter_get_arg_type(&iter) != DBUS_TYPE_STRUCT) return false;
      DBusMessageIter fields;
      dbus_message_iter_recurse(&iter, &fields);
      std::int32_t numbers[4] = {};
      for (int i = 0; i < 4; ++i) {
        if (!basic(fields, DBUS_TYPE_INT32, numbers[i])) return false;
        dbus_message_iter_next(&fields);
      }
      value = AtspiExtents{numbers[0], numbers[1], numbers[2], numbers[3]};
      return true;
    }
  }
  return false;
}

struct ConnectionCloser {
  void operator()(DBusConnection* connection) const {
    dbus_connection_close(connection);
    dbus_connection_unref(connection);
  }
};
using PrivateConnection = std::unique_ptr<DBusConnection, ConnectionCloser>;

PrivateConnection sessionBus() {
  DBusError error;
  dbus_error_init(&error);
  DBusConnection* connection = dbus_bus_get_private(DBUS_BUS_SESSION, &error);
  dbus_error_free(&error);
  if (connection != nullptr) dbus_connection_set_exit_on_disconnect(connection, false);
  return PrivateConnection(connection);
}

// Calls a method of the bus launcher on the session bus; the reply or nothing.
DBusMessageRef callLauncher(DBusConnection* bus, DBusMessageRef call) {
  DBusError error;
  dbus_error_init(&error);
  DBusMessage* reply = dbus_connection_send_with_reply_and_block(bus, call.get(), 2000, &error);
  dbus_error_free(&error);
  return DBusMessageRef(reply);
}

// The address that the launcher announces on the X root window.
std::optional<std::string> addressFromRootWindow() {
  const char* display = std::getenv("DISPLAY");
  if (display == nullptr || *display == 0) return std::nullopt;
  xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
  std::optional<std::string> address;
  if (xcb_connection_has_error(connection) == 0) {
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    const char name[] = "AT_SPI_BUS";
    auto* atom = xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 1, sizeof name - 1, name), nullptr);
    if (atom != nullptr && atom->atom != XCB_ATOM_NONE) {
      auto* property = xcb_get_property_reply(
          connection, xcb_get_property(connection, 0, screen->root, atom->atom, XCB_ATOM_STRING, 0, 4096), nullptr);
      if (property != nullptr && xcb_get_property_value_length(property) > 0) {
        address.emplace(static_cast<const char*>(xcb_get_property_value(property)),
                        static_cast<std::size_t>(xcb_get_property_value_length(property)));
      }
      std::free(property);
    }
    std::free(atom);
  }
  xcb_disconnect(connection);
  return address;
}

// The address the launcher gives on the session bus.
std::optional<std::string> addressFromLauncher() {
  const auto bus = sessionBus();
  if (!bus) return std::nullopt;
  DBusMessageRef call(dbus_message_new_method_call(kLauncherName, kLauncherPath, "org.a11y.Bus", "GetAddress"));
  const DBusMessageRef reply = callLauncher(bus.get(), std::move(call));
  const char* address = nullptr;
  if (!reply || !dbus_message_get_args(reply.get(), nullptr, DBUS_TYPE_STRING, &address, DBUS_TYPE_INVALID) ||
      address == nullptr || *address == 0) {
    return std::nullopt;
  }
  return std::string(address);
}

}  // namespace

AtspiDBus::AtspiDBus() = default;

AtspiDBus::~AtspiDBus() {
  std::shared_ptr<AtspiConnection> connection;
  {
    std::lock_guard lock(_mutex);
    connection = std::move(_connection);
  }
  // Its reading thread stops before the sink goes: nothing is delivered to a mirror gone.
  connection.reset();
}

void AtspiDBus::setEventSink(EventSink sink) {
  std::lock_guard lock(_sinkMutex);
  _sink = std::move(sink);
}

void AtspiDBus::deliver(const AtspiEvent& event) {
  // Held while the sink runs, so that a sink replaced is never called again afterwards.
  std::lock_guard lock(_sinkMutex);
  if (_sink) _sink(event);
}

std::shared_ptr<AtspiConnection> AtspiDBus::connection() {
  {
    std::unique_lock lock(_mutex);
    if (_connection && _connection->connected()) {
      auto connection = _connection;
      lock.unlock();
      // A registry started again knows nobody's events.
      if (_registryChanged.exchange(false) && !registerEvents(*connection)) _registryChanged = true;
      return connection;
    }
  }
  std::lock_guard connecting(_connectMutex);
  std::shared_ptr<AtspiConnection> closed;
  {
    std::lock_guard lock(_mutex);
    if (_connection && _connection->connected()) return _connection;
    const double now = seconds();
    if (_lastAttempt >= 0 && now - _lastAttempt < kReconnectInterval) return nullptr;
    _lastAttempt = now;
    if (_connection) {
      _sentBefore.fetch_add(_connection->sent());
      closed = std::move(_connection);
      if (!_lost) {
        _lost = true;
        ZAR_LOG_WARN("Accessibility: the accessibility bus closed; no application can be reached until it is back");
      }
    }
  }
  closed.reset();
  std::shared_ptr<AtspiConnection> fresh;
  std::string address;
  const auto open = [&](std::optional<std::string> candidate) {
    if (fresh || !candidate || *candidate == address) return;
    address = std::move(*candidate);
    fresh = AtspiConnection::open(
        address, [this](DBusMessage* message) { signal(message); },
        [this] { deliver(AtspiEvent{AtspiEvent::Kind::busLost, {}, {}}); });
    if (fresh && !subscribe(*fresh)) fresh.reset();
    if (!fresh) ZAR_LOG_DEBUG("The accessibility bus at {} did not answer", address);
  };
  // Where toolkits look for the bus, in their order. The root window may name a bus gone (its
  // launcher was killed and couldn't take the name back): the launcher, asked, starts a new one.
  if (const char* given = std::getenv("AT_SPI_BUS_ADDRESS"); given != nullptr && *given != 0) {
    open(std::string(given));
  } else {
    open(addressFromRootWindow());
    open(addressFromLauncher());
  }
  if (!fresh) return nullptr;
  std::lock_guard lock(_mutex);
  if (_lost) {
    _lost = false;
    ZAR_LOG_INFO("Accessibility: connected to the accessibility bus again, at {}", address);
  }
  _connection = fresh;
  return fresh;
}

bool AtspiDBus::subscribe(AtspiConnection& connection) {
  std::vector<DBusMessageRef> calls;
  const auto addMatch = [&](const std::string& rule) {
    auto message = busCall("AddMatch");
    const char* text = rule.c_str();
    dbus_message_append_args(message.get(), DBUS_TYPE_STRING, &text, DBUS_TYPE_INVALID);
    calls.push_back(std::move(message));
  };
  addMatch("type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',member='NameOwnerChanged'");
  for (const auto& subscription : kSubscriptions) {
    addMatch(fmt::format("type='signal',interface='{}',member='{}'", kEventObject, subscription.member));
  }
  for (const auto& reply : connection.call(std::move(calls), kCallTimeout)) {
    if (errorOf(reply.get()) != AXError::success) return false;
  }
  return registerEvents(connection);
}

bool AtspiDBus::registerEvents(AtspiConnection& connection) {
  std::vector<DBusMessageRef> calls;
  for (const auto& subscription : kSubscriptions) {
    // Applications announce only the events some client registered for.
    DBusMessageRef message(dbus_message_new_method_call(kRegistryName, kRegistryPath, kRegistryName, "RegisterEvent"));
    DBusMessageIter iter;
    DBusMessageIter properties;
    const char* event = subscription.event;
    const char* application = "";
    dbus_message_iter_init_append(message.get(), &iter);
    dbus_message_iter_append_basic(&iter, DBUS_TYPE_STRING, &event);
    dbus_message_iter_open_container(&iter, DBUS_TYPE_ARRAY, DBUS_TYPE_STRING_AS_STRING, &properties);
    dbus_message_iter_close_container(&iter, &properties);
    dbus_message_iter_append_basic(&iter, DBUS_TYPE_STRING, &application);
    calls.push_back(std::move(message));
  }
  for (const auto& reply : connection.call(std::move(calls), kCallTimeout)) {
    if (errorOf(reply.get()) != AXError::success) return false;
  }
  // The registry runs now (registering started it): the desktop is on its connection.
  auto owner = busCall("GetNameOwner");
  const char* name = kRegistryName;
  dbus_message_append_args(owner.get(), DBUS_TYPE_STRING, &name, DBUS_TYPE_INVALID);
  std::vector<DBusMessageRef> ownerCall;
  ownerCall.push_back(std::move(owner));
  const auto reply = std::move(connection.call(std::move(ownerCall), kCallTimeout).front());
  const char* unique = nullptr;
  if (errorOf(reply.get()) != AXError::success ||
      !dbus_message_get_args(reply.get(), nullptr, DBUS_TYPE_STRING, &unique, DBUS_TYPE_INVALID) || unique == nullptr) {
    return false;
  }
  std::lock_guard lock(_mutex);
  _registry = unique;
  _registryChanged = false;
  return true;
}

void AtspiDBus::signal(DBusMessage* message) {
  const char* interface = dbus_message_get_interface(message);
  const char* member = dbus_message_get_member(message);
  if (interface == nullptr || member == nullptr) return;
  if (std::strcmp(interface, kEventObject) == 0) {
    const char* sender = dbus_message_get_sender(message);
    const char* path = dbus_message_get_path(message);
    if (sender == nullptr || path == nullptr) return;
    AtspiEvent event{AtspiEvent::Kind::changed, AtspiRef{sender, path}, AtspiField::states};
    // What changed, said by the event's first argument: "checked", "accessible-name", "add" ...
    DBusMessageIter iter;
    std::string detail;
    if (dbus_message_iter_init(message, &iter)) text(iter, detail);
    const std::string_view signal = member;
    if (signal == "StateChanged") {
      // A control shown or hidden has a place on the screen, or none, from then on: toolkits
      // announce only moves of a control shown.
      if (detail == "showing" || detail == "visible") {
        deliver(AtspiEvent{AtspiEvent::Kind::changed, event.ref, AtspiField::extents});
      }
    } else if (signal == "ChildrenChanged") {
      event.field = AtspiField::children;
    } else if (signal == "BoundsChanged") {
      event.field = AtspiField::extents;
    } else if (signal == "TextChanged") {
      event.field = AtspiField::text;
    } else if (signal == "PropertyChange") {
      static constexpr std::pair<std::string_view, AtspiField> kProperties[] = {
          {"accessible-name", AtspiField::name},     {"accessible-description", AtspiField::description},
          {"accessible-parent", AtspiField::parent}, {"accessible-role", AtspiField::role},
          {"accessible-value", AtspiField::value}};
      const auto* property = std::find_if(std::begin(kProperties), std::end(kProperties),
                                          [&](const auto& entry) { return entry.first == detail; });
      if (property == std::end(kProperties)) return;
      event.field = property->second;
    } else {
      return;
    }
    deliver(event);
    return;
  }
  if (dbus_message_is_signal(message, DBUS_INTERFACE_DBUS, "NameOwnerChanged")) {
    const char* name = nullptr;
    const char* before = nullptr;
    const char* after = nullptr;
    if (!dbus_message_get_args(message, nullptr, DBUS_TYPE_STRING, &name, DBUS_TYPE_STRING, &before,
                               DBUS_TYPE_STRING, &after, DBUS_TYPE_INVALID)) {
      return;
    }
    if (std::strcmp(name, kRegistryName) == 0) {
      std::lock_guard lock(_mutex);
      if (_registry != after) _registryChanged = true;
      _registry = after;
    }
    if (name[0] == ':' && *after == 0) deliver(AtspiEvent{AtspiEvent::Kind::applicationGone, AtspiRef{name, {}}, {}});
  }
}

bool AtspiDBus::reachable() { return connection() != nullptr; }

AtspiRef AtspiDBus::desktop() {
  std::lock_guard lock(_mutex);
  return AtspiRef{_registry, kAtspiRootPath};
}

std::vector<AtspiReply> AtspiDBus::read(const std::vector<AtspiRead>& reads) {
  std::vector<AtspiReply> replies(reads.size());
  const auto connection = this->connection();
  if (!connection) {
    for (auto& reply : replies) reply.error = AXError::apiDisabled;
    return replies;
  }
  std::vector<DBusMessageRef> messages;
  std::vector<std::size_t> sent;  // the reads each message stands for
  for (std::size_t i = 0; i < reads.size(); ++i) {
    auto message = readMessage(reads[i]);
    if (!message) {
      replies[i].error = AXError::invalidUIElement;  // a name or path no object can have
      continue;
    }
    messages.push_back(std::move(message));
    sent.push_back(i);
  }
  const auto answers = connection->call(std::move(messages), kCallTimeout);
  for (std::size_t j = 0; j < answers.size(); ++j) {
    AtspiReply& reply = replies[sent[j]];
    reply.error = answers[j] ? errorOf(answers[j].get())
                             : (connection->connected() ? AXError::cannotComplete : AXError::apiDisabled);
    if (reply.error == AXError::success && !parse(reads[sent[j]].field, answers[j].get(), reply.value)) {
      reply.error = AXError::cannotComplete;
    }
  }
  return replies;
}

AXError AtspiDBus::callOne(DBusMessageRef message, DBusMessageRef& reply) {
  if (!message) return AXError::invalidUIElement;
  const auto connection = this->connection();
  if (!connection) return AXError::apiDisabled;
  std::vector<DBusMessageRef> messages;
  messages.push_back(std::move(message));
  reply = std::move(connection->call(std::move(messages), kCallTimeout).front());
  if (!reply) return connection->connected() ? AXError::cannotComplete : AXError::apiDisabled;
  return errorOf(reply.get());
}

std::optional<std::int32_t> AtspiDBus::processOf(const std::string& bus) {
  if (!dbus_validate_bus_name(bus.c_str(), nullptr)) return std::nullopt;
  auto message = busCall("GetConnectionUnixProcessID");
  const char* name = bus.c_str();
  dbus_message_append_args(message.get(), DBUS_TYPE_STRING, &name, DBUS_TYPE_INVALID);
  DBusMessageRef reply;
  std::uint32_t pid = 0;
  if (callOne(std::move(message), reply) != AXError::success ||
      !dbus_message_get_args(reply.get(), nullptr, DBUS_TYPE_UINT32, &pid, DBUS_TYPE_INVALID)) {
    return std::nullopt;
  }
  return static_cast<std::int32_t>(pid);
}

AXError AtspiDBus::doAction(const AtspiRef& ref, std::int32_t index) {
  DBusMessageRef reply;
  const AXError result =
      callOne(withInt(methodCall(ref.bus, ref.path, "org.a11y.atspi.Action", "DoAction"), index), reply);
  if (result != AXError::success) return result == AXError::attributeUnsupported ? AXError::actionUnsupported : result;
  return done(reply.get());
}

AXError AtspiDBus::actionText(const AtspiRef& ref, std::int32_t index, std::string& out) {
  for (const char* method : {"GetDescription", "GetName"}) {
    DBusMessageRef reply;
    const AXError result = callOne(withInt(methodCall(ref.bus, ref.path, "org.a11y.atspi.Action", method), index), reply);
    if (result != AXError::success) return result == AXError::attributeUnsupported ? AXError::actionUnsupported : result;
    DBusMessageIter iter;
    if (!firstArgument(reply.get(), iter) || !text(iter, out)) return AXError::cannotComplete;
    if (!out.empty()) break;  // an action without a description is told by its name
  }
  return AXError::success;
}

AXError AtspiDBus::setText(const AtspiRef& ref, const std::string& contents) {
  if (!dbus_validate_utf8(contents.c_str(), nullptr) || contents.find('\0') != std::string::npos) {
    return AXError::illegalArgument;
  }
  auto message = methodCall(ref.bus, ref.path, "org.a11y.atspi.EditableText", "SetTextContents");
  const char* text = contents.c_str();
  if (message) dbus_message_append_args(message.get(), DBUS_TYPE_STRING, &text, DBUS_TYPE_INVALID);
  DBusMessageRef reply;
  const AXError result = callOne(std::move(message), reply);
  if (result != AXError::success) return result == AXError::attributeUnsupported ? AXError::illegalArgument : result;
  return done(reply.get());
}

AXError AtspiDBus::setValue(const AtspiRef& ref, double value) {
  auto message = methodCall(ref.bus, ref.path, DBUS_INTERFACE_PROPERTIES, "Set");
  if (message) {
    const char* interface = "org.a11y.atspi.Value";
    const char* property = "CurrentValue";
    DBusMessageIter iter;
    DBusMessageIter variant;
    dbus_message_iter_init_append(message.get(), &iter);
    dbus_message_iter_append_basic(&iter, DBUS_TYPE_STRING, &interface);
    dbus_message_iter_append_basic(&iter, DBUS_TYPE_STRING, &property);
    dbus_message_iter_open_container(&iter, DBUS_TYPE_VARIANT, DBUS_TYPE_DOUBLE_AS_STRING, &variant);
    dbus_message_iter_append_basic(&variant, DBUS_TYPE_DOUBLE, &value);
    dbus_message_iter_close_container(&iter, &variant);
  }
  DBusMessageRef reply;
  const AXError result = callOne(std::move(message), reply);
  return result == AXError::attributeUnsupported ? AXError::illegalArgument : result;
}

void AtspiDBus::barrier(const std::string& bus) {
  // Any reply comes after every signal the application sent before it.
  DBusMessageRef reply;
  callOne(methodCall(bus, "/", DBUS_INTERFACE_PEER, "Ping"), reply);
}

std::uint64_t AtspiDBus::messagesSent() const {
  std::lock_guard lock(_mutex);
  return _sentBefore.load() + (_connection ? _connection->sent() : 0);
}

bool AtspiDBus::toolkitAccessibilityEnabled() {
  const auto bus = sessionBus();
  if (!bus) return false;
  DBusMessageRef call(dbus_message_new_method_call(kLauncherName, kLauncherPath, DBUS_INTERFACE_PROPERTIES, "Get"));
  const char* interface = "org.a11y.Status";
  const char* property = "IsEnabled";
  dbus_message_append_args(call.get(), DBUS_TYPE_STRING, &interface, DBUS_TYPE_STRING, &property, DBUS_TYPE_INVALID);
  const DBusMessageRef reply = callLauncher(bus.get(), std::move(call));
  DBusMessageIter iter;
  dbus_bool_t enabled = 0;
  if (!reply || errorOf(reply.get()) != AXError::success || !firstArgument(reply.get(), iter) ||
      !basic(iter, DBUS_TYPE_BOOLEAN, enabled)) {
    return false;
  }
  return enabled != 0;
}

}  // namespace zar::x11
