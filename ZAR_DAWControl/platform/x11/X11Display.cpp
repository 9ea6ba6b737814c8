#include "ZAR_DAWControl/platform/x11/X11Display.h"

#include <poll.h>
#include <xcb/randr.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "ZAR_DAWControl/platform/Log.h"

namespace zar::x11 {

namespace {

template <typename T>
struct Reply {
  T* reply;
  explicit Reply(T* r) : reply(r) {}
  ~Reply() { std::free(reply); }
  Reply(const Reply&) = delete;
  Reply& operator=(const Reply&) = delete;
  T* operator->() const { return reply; }
  explicit operator bool() const { return reply != nullptr; }
};

constexpr auto kDisplayReconnectInterval = std::chrono::seconds(1);

bool hasDisplay() {
  const char* display = std::getenv("DISPLAY");
  return display != nullptr && *display != 0;
}

// The root window of the connection's screen ($DISPLAY's), or none.
std::uint32_t rootOf(xcb_connection_t* connection, int screenNumber) {
  auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
  for (int i = 0; i < screenNumber && screens.rem > 0; ++i) xcb_screen_next(&screens);
  return screens.rem > 0 ? screens.data->root : 0;
}

}  // namespace

X11Display::X11Display() {
  {
    std::lock_guard lock(_mutex);
    connectLocked();
  }
  std::lock_guard lock(_watchMutex);
  connectWatchLocked();
}

X11Display::~X11Display() {
  if (_watch != nullptr) xcb_disconnect(_watch);
  if (_connection != nullptr) xcb_disconnect(_connection);
}

bool X11Display::connectLocked() {
  const auto now = std::chrono::steady_clock::now();
  if (_generation > 0 && now - _lastAttempt < kDisplayReconnectInterval) return false;
  if (!hasDisplay()) return false;
  _lastAttempt = now;
  if (_root != 0 && !_lost) {  // it worked until now
    _lost = true;
    ZAR_LOG_WARN("X11: the X server {} closed the connection; no keys, clicks or window places until it is back",
                 std::getenv("DISPLAY"));
  }
  if (_connection != nullptr) xcb_disconnect(_connection);
  ++_generation;
  _root = 0;
  int screenNumber = 0;
  _connection = xcb_connect(nullptr, &screenNumber);
  if (xcb_connection_has_error(_connection) != 0) return false;
  _root = rootOf(_connection, screenNumber);
  _netWmPid = atom("_NET_WM_PID");
  _netActiveWindow = atom("_NET_ACTIVE_WINDOW");
  _netClientListStacking = atom("_NET_CLIENT_LIST_STACKING");
  _netSupportingWmCheck = atom("_NET_SUPPORTING_WM_CHECK");
  _wmProtocols = atom("WM_PROTOCOLS");
  _netWmPing = atom("_NET_WM_PING");
  if (_root != 0 && _lost) {
    _lost = false;
    ZAR_LOG_INFO("X11: connected to the X server {} again", std::getenv("DISPLAY"));
  }
  return _root != 0;
}

bool X11Display::connectWatchLocked() {
  const auto now = std::chrono::steady_clock::now();
  if (_watch != nullptr && now - _lastWatchAttempt < kDisplayReconnectInterval) return false;
  if (!hasDisplay()) return false;
  _lastWatchAttempt = now;
  if (_watch != nullptr) xcb_disconnect(_watch);
  _watchRoot = 0;
  _randrEvents = 0;
  int screenNumber = 0;
  _watch = xcb_connect(nullptr, &screenNumber);
  if (xcb_connection_has_error(_watch) != 0) return false;
  _watchRoot = rootOf(_watch, screenNumber);
  const std::uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
  xcb_change_window_attributes(_watch, _watchRoot, XCB_CW_EVENT_MASK, &mask);
  if (const auto* randr = xcb_get_extension_data(_watch, &xcb_randr_id); randr != nullptr && randr->present) {
    _randrEvents = randr->first_event;
    xcb_randr_select_input(_watch, _watchRoot,
                           XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                               XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE);
  }
  xcb_flush(_watch);
  // A new server: every window may be elsewhere, and the monitors are read again.
  _monitors.clear();
  ++_screenChanges;
  return _watchRoot != 0;
}

std::uint64_t X11Display::screenChanges() {
  std::lock_guard lock(_watchMutex);
  return screenChangesLocked();
}

std::uint64_t X11Display::screenChangesLocked() {
  if (_watch == nullptr || xcb_connection_has_error(_watch) != 0) {
    _monitors.clear();
    connectWatchLocked();
    return _screenChanges;
  }
  while (xcb_generic_event_t* event = xcb_poll_for_event(_watch)) {
    const auto type = static_cast<std::uint8_t>(event->response_type & 0x7F);
    bool moved = type == XCB_REPARENT_NOTIFY || type == XCB_GRAVITY_NOTIFY;
    // Menus and tooltips (override-redirect) come and go without moving anyone's controls.
    if (type == XCB_CONFIGURE_NOTIFY) moved = reinterpret_cast<xcb_configure_notify_event_t*>(event)->override_redirect == 0;
    if (_randrEvents != 0 && (type == _randrEvents + XCB_RANDR_SCREEN_CHANGE_NOTIFY || type == _randrEvents + XCB_RANDR_NOTIFY)) {
      _monitors.clear();
      moved = true;
    }
    _screenChanges += moved ? 1 : 0;
    std::free(event);
  }
  return _screenChanges;
}

bool X11Display::connected() {
  std::lock_guard lock(_mutex);
  if (_connection != nullptr && xcb_connection_has_error(_connection) == 0 && _root != 0) return true;
  return connectLocked();
}

std::uint32_t X11Display::atom(const char* name) {
  Reply reply(xcb_intern_atom_reply(
      _connection, xcb_intern_atom(_connection, 0, static_cast<std::uint16_t>(std::strlen(name)), name), nullptr));
  return reply ? reply->atom : std::uint32_t{XCB_ATOM_NONE};
}

std::optional<std::uint32_t> X11Display::cardinalProperty(Window window, std::uint32_t property) {
  Reply reply(xcb_get_property_reply(
      _connection, xcb_get_property(_connection, 0, window, property, XCB_ATOM_ANY, 0, 1), nullptr));
  if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.reply) < 4) return std::nullopt;
  return *static_cast<const std::uint32_t*>(xcb_get_property_value(reply.reply));
}

std::vector<X11Display::Window> X11Display::windowListProperty(Window window, std::uint32_t property) {
  Reply reply(xcb_get_property_reply(
      _connection, xcb_get_property(_connection, 0, window, property, XCB_ATOM_WINDOW, 0, 65536), nullptr));
  if (!reply || reply->format != 32) return {};
  const auto* values = static_cast<const Window*>(xcb_get_property_value(reply.reply));
  return std::vector<Window>(values, values + xcb_get_property_value_length(reply.reply) / 4);
}

std::vector<platform::Rect> X11Display::monitors() {
  std::lock_guard lock(_watchMutex);
  screenChangesLocked();
  if (!_monitors.empty()) return _monitors;
  std::vector<platform::Rect> result;
  if (_watch == nullptr || xcb_connection_has_error(_watch) != 0) return result;
  xcb_connection_t* const connection = _watch;
  const auto* randr = xcb_get_extension_data(connection, &xcb_randr_id);
  if (randr != nullptr && randr->present) {
    Reply version(xcb_randr_query_version_reply(connection, xcb_randr_query_version(connection, 1, 5), nullptr));
    if (version && (version->major_version > 1 || version->minor_version >= 5)) {
      Reply monitors(xcb_randr_get_monitors_reply(connection, xcb_randr_get_monitors(connection, _watchRoot, 1), nullptr));
      if (monitors) {
        for (auto it = xcb_randr_get_monitors_monitors_iterator(monitors.reply); it.rem > 0;
             xcb_randr_monitor_info_next(&it)) {
          const platform::Rect frame{{static_cast<double>(it.data->x), static_cast<double>(it.data->y)},
                                     {static_cast<double>(it.data->width), static_cast<double>(it.data->height)}};
          if (it.data->primary) {
            result.insert(result.begin(), frame);
          } else {
            result.push_back(frame);
          }
        }
      }
    }
  }
  if (result.empty()) {
    Reply geometry(xcb_get_geometry_reply(connection, xcb_get_geometry(connection, _watchRoot), nullptr));
    if (geometry) result.push_back({{0, 0}, {static_cast<double>(geometry->width), static_cast<double>(geometry->height)}});
  }
  // Kept only where a change would be heard of.
  if (_randrEvents != 0 && xcb_connection_has_error(_watch) == 0) _monitors = result;
  return result;
}

platform::Point X11Display::primaryOrigin() {
  const auto frames = monitors();
  return frames.empty() ? platform::Point{} : frames.front().origin;
}

std::optional<platform::Point> X11Display::pointer() {
  std::lock_guard lock(_watchMutex);
  if (_watch == nullptr || xcb_connection_has_error(_watch) != 0) return std::nullopt;
  Reply reply(xcb_query_pointer_reply(_watch, xcb_query_pointer(_watch, _watchRoot), nullptr));
  if (!reply) return std::nullopt;
  return platform::Point{static_cast<double>(reply->root_x), static_cast<double>(reply->root_y)};
}

bool X11Display::hasWindowManagerLocked() {
  const auto check = windowListProperty(_root, _netSupportingWmCheck);
  return !check.empty() && check.front() != XCB_WINDOW_NONE;
}

std::optional<std::int32_t> X11Display::pidOfWindowLocked(Window window) {
  const auto pid = cardinalProperty(window, _netWmPid);
  if (!pid) return std::nullopt;
  return static_cast<std::int32_t>(*pid);
}

std::vector<X11Display::Window> X11Display::windowsOfProcessLocked(std::int32_t pid) {
  std::vector<Window> stacking;  // bottom to top
  if (hasWindowManagerLocked()) {
    stacking = windowListProperty(_root, _netClientListStacking);
  } else {
    Reply tree(xcb_query_tree_reply(_connection, xcb_query_tree(_connection, _root), nullptr));
    if (!tree) return {};
    const Window* children = xcb_query_tree_children(tree.reply);
    for (int i = 0; i < xcb_query_tree_children_length(tree.reply); ++i) {
      Reply attributes(xcb_get_window_attributes_reply(
          _connection, xcb_get_window_attributes(_connection, children[i]), nullptr));
      if (attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE && attributes->override_redirect == 0) {
        stacking.push_back(children[i]);
      }
    }
  }
  std::vector<Window> windows;
  for (auto it = stacking.rbegin(); it != stacking.rend(); ++it) {
    if (pidOfWindowLocked(*it) == pid) windows.push_back(*it);
  }
  return windows;
}

std::optional<X11Display::Window> X11Display::topLevelOf(Window window) {
  for (int depth = 0; depth < 64 && window != XCB_WINDOW_NONE; ++depth) {
    Reply tree(xcb_query_tree_reply(_connection, xcb_query_tree(_connection, window), nullptr));
    if (!tree) return std::nullopt;
    if (tree->parent == _root) return window;
    if (tree->parent == XCB_WINDOW_NONE) return std::nullopt;  // the root itself
    window = tree->parent;
  }
  return std::nullopt;
}

X11Display::Window X11Display::clientOf(Window window) {
  if (pidOfWindowLocked(window)) return window;
  Reply tree(xcb_query_tree_reply(_connection, xcb_query_tree(_connection, window), nullptr));
  if (tree) {
    const Window* children = xcb_query_tree_children(tree.reply);
    for (int i = 0; i < xcb_query_tree_children_length(tree.reply); ++i) {
      if (pidOfWindowLocked(children[i])) return children[i];
    }
  }
  return window;
}

std::optional<X11Display::Window> X11Display::windowUnderPointerLocked() {
  Reply reply(xcb_query_pointer_reply(_connection, xcb_query_pointer(_connection, _root), nullptr));
  if (!reply || reply->child == XCB_WINDOW_NONE) return std::nullopt;
  return clientOf(reply->child);
}

std::optional<X11Display::Window> X11Display::focusedWindowLocked() {
  Reply focus(xcb_get_input_focus_reply(_connection, xcb_get_input_focus(_connection), nullptr));
  if (!focus || focus->focus == XCB_INPUT_FOCUS_NONE) return std::nullopt;
  if (focus->focus == XCB_INPUT_FOCUS_POINTER_ROOT || focus->focus == _root) {
    Reply pointer(xcb_query_pointer_reply(_connection, xcb_query_pointer(_connection, _root), nullptr));
    if (!pointer || pointer->child == XCB_WINDOW_NONE) return std::nullopt;
    return clientOf(pointer->child);
  }
  const auto topLevel = topLevelOf(focus->focus);
  if (!topLevel) return std::nullopt;
  return clientOf(*topLevel);
}

std::optional<X11Display::Window> X11Display::activeWindowLocked() {
  if (hasWindowManagerLocked()) {
    const auto active = windowListProperty(_root, _netActiveWindow);
    if (!active.empty() && active.front() != XCB_WINDOW_NONE) return active.front();
    return std::nullopt;
  }
  return focusedWindowLocked();
}

void X11Display::activateLocked(Window window) {
  if (hasWindowManagerLocked()) {
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = _netActiveWindow;
    message.data.data32[0] = 2;  // from a pager: the window manager obeys
    message.data.data32[1] = XCB_CURRENT_TIME;
    xcb_send_event(_connection, 0, _root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&message));
  } else {
    const std::uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(_connection, window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
    xcb_set_input_focus(_connection, XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME);
  }
  xcb_flush(_connection);
}

bool X11Display::settleLocked(Window window, std::chrono::milliseconds timeout) {
  if (!connected()) return false;
  Reply protocols(xcb_get_property_reply(
      _connection, xcb_get_property(_connection, 0, window, _wmProtocols, XCB_ATOM_ATOM, 0, 64), nullptr));
  const auto* atoms = protocols ? static_cast<const std::uint32_t*>(xcb_get_property_value(protocols.reply)) : nullptr;
  const int count = protocols && protocols->format == 32 ? xcb_get_property_value_length(protocols.reply) / 4 : 0;
  if (std::find(atoms, atoms + count, _netWmPing) == atoms + count) {
    Reply focus(xcb_get_input_focus_reply(_connection, xcb_get_input_focus(_connection), nullptr));
    return static_cast<bool>(focus);
  }
  // The answer is sent to the root window, seen by whoever selects its substructure: this
  // connection, for the length of the wait.
  std::uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
  xcb_change_window_attributes(_connection, _root, XCB_CW_EVENT_MASK, &mask);
  xcb_client_message_event_t ping{};
  ping.response_type = XCB_CLIENT_MESSAGE;
  ping.format = 32;
  ping.window = window;
  ping.type = _wmProtocols;
  ping.data.data32[0] = _netWmPing;
  ping.data.data32[1] = ++_pings;  // the timestamp field, echoed back: tells this ping's answer
  ping.data.data32[2] = window;
  xcb_send_event(_connection, 0, window, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&ping));
  xcb_flush(_connection);

  const auto deadline = std::chrono::steady_clock::now() + timeout;
  bool answered = false;
  while (!answered && xcb_connection_has_error(_connection) == 0) {
    while (!answered) {
      xcb_generic_event_t* event = xcb_poll_for_event(_connection);
      if (event == nullptr) break;
      if ((event->response_type & 0x7F) == XCB_CLIENT_MESSAGE) {
        const auto* message = reinterpret_cast<const xcb_client_message_event_t*>(event);
        answered = message->type == _wmProtocols && message->data.data32[0] == _netWmPing &&
                   message->data.data32[1] == _pings && message->data.data32[2] == window;
      }
      std::free(event);
    }
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (answered || left.count() <= 0) break;
    // Another thread waiting for a reply may read the answer into the queue: look again now and then.
    pollfd descriptor{xcb_get_file_descriptor(_connection), POLLIN, 0};
    ::poll(&descriptor, 1, static_cast<int>(std::min<std::chrono::milliseconds::rep>(left.count(), 20)));
  }
  mask = XCB_EVENT_MASK_NO_EVENT;
  xcb_change_window_attributes(_connection, _root, XCB_CW_EVENT_MASK, &mask);
  xcb_flush(_connection);
  return answered;
}

}  // namespace zar::x11
