#include "ZAR_DAWControl/platform/x11/AtspiBus.h"

#include <atspi/atspi.h>
#include <dbus/dbus.h>
#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "ZAR_DAWControl/platform/Log.h"

namespace zar::x11 {

namespace {

constexpr const char* kLauncherName = "org.a11y.Bus";
constexpr const char* kLauncherPath = "/org/a11y/bus";

struct ConnectionCloser {
  void operator()(DBusConnection* connection) const {
    dbus_connection_close(connection);
    dbus_connection_unref(connection);
  }
};
using PrivateConnection = std::unique_ptr<DBusConnection, ConnectionCloser>;

struct MessageUnref {
  void operator()(DBusMessage* message) const { dbus_message_unref(message); }
};
using Message = std::unique_ptr<DBusMessage, MessageUnref>;

PrivateConnection sessionBus() {
  DBusError error;
  dbus_error_init(&error);
  DBusConnection* connection = dbus_bus_get_private(DBUS_BUS_SESSION, &error);
  dbus_error_free(&error);
  if (connection != nullptr) dbus_connection_set_exit_on_disconnect(connection, false);
  return PrivateConnection(connection);
}

// Calls a method of the bus launcher on the session bus; the reply or nothing.
Message callLauncher(DBusConnection* bus, Message call) {
  DBusError error;
  dbus_error_init(&error);
  DBusMessage* reply = dbus_connection_send_with_reply_and_block(bus, call.get(), 2000, &error);
  dbus_error_free(&error);
  return Message(reply);
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

// Where libatspi will look for the bus, in its order.
std::optional<std::string> accessibilityBusAddress() {
  if (const char* address = std::getenv("AT_SPI_BUS_ADDRESS"); address != nullptr && *address != 0) return address;
  if (auto address = addressFromRootWindow()) return address;
  const auto bus = sessionBus();
  if (!bus) return std::nullopt;
  Message call(dbus_message_new_method_call(kLauncherName, kLauncherPath, "org.a11y.Bus", "GetAddress"));
  const Message reply = callLauncher(bus.get(), std::move(call));
  const char* address = nullptr;
  if (!reply || !dbus_message_get_args(reply.get(), nullptr, DBUS_TYPE_STRING, &address, DBUS_TYPE_INVALID) ||
      address == nullptr || *address == 0) {
    return std::nullopt;
  }
  return std::string(address);
}

bool busAnswers(const std::string& address) {
  DBusError error;
  dbus_error_init(&error);
  PrivateConnection connection(dbus_connection_open_private(address.c_str(), &error));
  dbus_error_free(&error);
  if (!connection) return false;
  dbus_connection_set_exit_on_disconnect(connection.get(), false);
  dbus_error_init(&error);
  const bool registered = dbus_bus_register(connection.get(), &error);
  dbus_error_free(&error);
  return registered;
}

}  // namespace

AtspiBus& AtspiBus::shared() {
  // libatspi is one per process, and so is its bus; never destroyed, as libatspi can't be reset.
  static AtspiBus* bus = new AtspiBus();
  return *bus;
}

bool AtspiBus::initialiseLocked() {
  if (_initialised) {
    return dbus_connection_get_is_connected(atspi_get_a11y_bus()) != 0;
  }
  const auto address = accessibilityBusAddress();
  if (!address || !busAnswers(*address)) {
    return false;
  }
  // A context nobody iterates: libatspi reads its messages only while one of our calls waits.
  atspi_set_main_context(g_main_context_new());
  if (atspi_init() > 1) {
    return false;
  }
  // libatspi keeps caches up to date from the applications' events, and some of its handlers call
  // the application again from inside the dispatch of an event, which deadlocks a connection that
  // has no main loop. Nothing here uses those caches: the events are not wanted.
  for (const char* member : {"ChildrenChanged", "PropertyChange", "StateChanged"}) {
    const std::string rule =
        std::string("type='signal',interface='org.a11y.atspi.Event.Object',member='") + member + "'";
    dbus_bus_remove_match(atspi_get_a11y_bus(), rule.c_str(), nullptr);
  }
  AtspiAccessible* desktop = atspi_get_desktop(0);
  // Names, children and values are read afresh each time, states too (`statesLocked`); roles and
  // interfaces don't change. libatspi's own state sets count as cached, so that its handlers never
  // call out to refresh one.
  atspi_accessible_set_cache_mask(
      desktop, static_cast<AtspiCache>(ATSPI_CACHE_ROLE | ATSPI_CACHE_INTERFACES | ATSPI_CACHE_STATES));
  g_object_unref(desktop);
  _initialised = true;
  return true;
}

bool AtspiBus::reachable() {
  std::lock_guard lock(_mutex);
  return initialiseLocked();
}

bool AtspiBus::toolkitAccessibilityEnabled() {
  const auto bus = sessionBus();
  if (!bus) return false;
  Message call(dbus_message_new_method_call(kLauncherName, kLauncherPath, DBUS_INTERFACE_PROPERTIES, "Get"));
  const char* interface = "org.a11y.Status";
  const char* property = "IsEnabled";
  dbus_message_append_args(call.get(), DBUS_TYPE_STRING, &interface, DBUS_TYPE_STRING, &property, DBUS_TYPE_INVALID);
  const Message reply = callLauncher(bus.get(), std::move(call));
  DBusMessageIter iter;
  DBusMessageIter variant;
  if (!reply || !dbus_message_iter_init(reply.get(), &iter) || dbus_message_iter_get_arg_type(&iter) != DBUS_TYPE_VARIANT) {
    return false;
  }
  dbus_message_iter_recurse(&iter, &variant);
  if (dbus_message_iter_get_arg_type(&variant) != DBUS_TYPE_BOOLEAN) return false;
  dbus_bool_t enabled = 0;
  dbus_message_iter_get_basic(&variant, &enabled);
  return enabled != 0;
}

bool AtspiBus::run(const std::function<void()>& call) {
  std::lock_guard lock(_mutex);
  if (!initialiseLocked()) {
    return false;
  }
  call();
  return true;
}

std::vector<AtspiBus::Application> AtspiBus::applicationsLocked() {
  std::vector<Application> applications;
  AtspiAccessible* desktop = atspi_get_desktop(0);
  const gint count = atspi_accessible_get_child_count(desktop, nullptr);
  for (gint i = 0; i < count; ++i) {
    AtspiAccessible* root = atspi_accessible_get_child_at_index(desktop, i, nullptr);
    if (root == nullptr) continue;
    Application application;
    application.pid = pidLocked(root);
    GError* error = nullptr;
    gchar* name = atspi_accessible_get_name(root, &error);
    if (error != nullptr) {
      // An application that quits while it is listed.
      g_error_free(error);
      g_free(name);
      g_object_unref(root);
      continue;
    }
    application.name = name != nullptr ? name : "";
    g_free(name);
    gchar* description = atspi_accessible_get_description(root, nullptr);
    application.description = description != nullptr ? description : "";
    g_free(description);
    g_object_unref(root);
    applications.push_back(std::move(application));
  }
  g_object_unref(desktop);
  return applications;
}

AtspiAccessible* AtspiBus::applicationLocked(std::int32_t pid) {
  AtspiAccessible* found = nullptr;
  AtspiAccessible* desktop = atspi_get_desktop(0);
  const gint count = atspi_accessible_get_child_count(desktop, nullptr);
  for (gint i = 0; i < count && found == nullptr; ++i) {
    AtspiAccessible* root = atspi_accessible_get_child_at_index(desktop, i, nullptr);
    if (root != nullptr && pidLocked(root) == pid) {
      found = root;
    } else if (root != nullptr) {
      g_object_unref(root);
    }
  }
  g_object_unref(desktop);
  return found;
}

std::int32_t AtspiBus::pidLocked(AtspiAccessible* accessible) {
  const AtspiObject* object = ATSPI_OBJECT(accessible);
  if (object->app == nullptr || object->app->bus_name == nullptr) return 0;
  const std::string busName = object->app->bus_name;
  if (const auto it = _pids.find(busName); it != _pids.end()) return it->second;
  GError* error = nullptr;
  const guint pid = atspi_accessible_get_process_id(accessible, &error);
  if (error != nullptr) {
    g_error_free(error);
    return 0;
  }
  _pids[busName] = static_cast<std::int32_t>(pid);
  return static_cast<std::int32_t>(pid);
}

std::optional<std::uint64_t> AtspiBus::statesLocked(AtspiAccessible* accessible, platform::AXError& result) {
  const AtspiObject* object = ATSPI_OBJECT(accessible);
  if (object->app == nullptr || object->app->bus_name == nullptr || object->path == nullptr) {
    result = platform::AXError::invalidUIElement;
    return std::nullopt;
  }
  Message call(dbus_message_new_method_call(object->app->bus_name, object->path, "org.a11y.atspi.Accessible", "GetState"));
  DBusError error;
  dbus_error_init(&error);
  const Message reply(dbus_connection_send_with_reply_and_block(atspi_get_a11y_bus(), call.get(), 2000, &error));
  dbus_uint32_t* words = nullptr;
  int count = 0;
  if (!reply || !dbus_message_get_args(reply.get(), &error, DBUS_TYPE_ARRAY, DBUS_TYPE_UINT32, &words, &count,
                                       DBUS_TYPE_INVALID) || count < 1) {
    const bool gone = dbus_error_is_set(&error) && std::strcmp(error.name, DBUS_ERROR_UNKNOWN_OBJECT) == 0;
    dbus_error_free(&error);
    result = gone || !applicationConnectedLocked(accessible) ? platform::AXError::invalidUIElement
                                                             : platform::AXError::cannotComplete;
    return std::nullopt;
  }
  dbus_error_free(&error);
  result = platform::AXError::success;
  return std::uint64_t{words[0]} | (count > 1 ? std::uint64_t{words[1]} << 32 : 0);
}

bool AtspiBus::applicationConnectedLocked(AtspiAccessible* accessible) {
  const AtspiObject* object = ATSPI_OBJECT(accessible);
  if (object->app == nullptr || object->app->bus_name == nullptr) return false;
  DBusError error;
  dbus_error_init(&error);
  const bool owned = dbus_bus_name_has_owner(atspi_get_a11y_bus(), object->app->bus_name, &error) != 0;
  const bool failed = dbus_error_is_set(&error) != 0;
  dbus_error_free(&error);
  return owned || failed;  // when the bus can't tell, the call's own error decides
}

platform::AXError AtspiBus::errorLocked(AtspiAccessible* accessible, GError* error) {
  const std::string message = error != nullptr && error->message != nullptr ? error->message : "";
  if (error != nullptr) g_error_free(error);
  if (!applicationConnectedLocked(accessible) || message.find("does not exist") != std::string::npos) {
    return platform::AXError::invalidUIElement;
  }
  ZAR_LOG_DEBUG("Accessibility call failed: {}", message);
  return platform::AXError::cannotComplete;
}

void AtspiBus::release(AtspiAccessible* accessible) {
  if (accessible == nullptr) return;
  std::lock_guard lock(_mutex);
  g_object_unref(accessible);
}

}  // namespace zar::x11
