#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

#include "ZAR_DAWControl/platform/Geometry.h"

typedef struct xcb_connection_t xcb_connection_t;

namespace zar::x11 {

/// One connection to the X server ($DISPLAY) through XCB, and what the backend asks of it: the
/// monitors, the pointer, the top-level windows of a process (by `_NET_WM_PID`), the focus, the
/// active window and activation. Coordinates are the root window's (origin top left, y down).
///
/// XCB is thread-safe; the lock serialises the backend's sequences of requests that must not
/// interleave (a focus check and the key it guards). Methods named ...Locked expect it held, and
/// `connection()` may only be used while it is held: a connection the server broke (it quit or
/// restarted) is replaced by a new one, at most once a second, the next time `connected()` is
/// asked. The connection that watches the screen replaces itself the same way.
class X11Display {
 public:
  using Window = std::uint32_t;

  /// Connects to $DISPLAY; `connected()` tells whether that worked.
  X11Display();
  ~X11Display();
  X11Display(const X11Display&) = delete;
  X11Display& operator=(const X11Display&) = delete;

  /// Whether the server answers; a broken connection is replaced first when a second has passed
  /// since the last try. The loss and the return are logged once each.
  bool connected();
  xcb_connection_t* connection() const { return _connection; }
  Window root() const { return _root; }
  /// How many connections were made so far: what a client kept of the server (its keyboard
  /// mapping) belongs to one of them.
  std::uint64_t generation() const { return _generation.load(); }
  std::recursive_mutex& mutex() { return _mutex; }

  /// The monitors (RandR), the primary one first; the whole screen when RandR names none. Kept
  /// until RandR says they changed.
  std::vector<platform::Rect> monitors();
  /// The top left of the primary monitor: the origin of accessibility coordinates.
  platform::Point primaryOrigin();
  /// How many times the desktop's top-level windows moved, were resized or were put into a window
  /// manager's frame, or the monitors changed, since the display opened: what the server has sent
  /// so far is counted at each call. Other programs' controls move on the screen with their
  /// windows, and nothing but the server says so.
  std::uint64_t screenChanges();
  /// The pointer on the root window.
  std::optional<platform::Point> pointer();

  /// Whether a window manager runs (it announces itself with _NET_SUPPORTING_WM_CHECK).
  bool hasWindowManagerLocked();
  /// The process's top-level windows that are shown, topmost first.
  std::vector<Window> windowsOfProcessLocked(std::int32_t pid);
  /// The process that owns a top-level window, from its `_NET_WM_PID`.
  std::optional<std::int32_t> pidOfWindowLocked(Window window);
  /// The top-level window that gets keys now: the focus's, or under a pointer-root focus the one
  /// under the pointer. Nothing when no window has the focus.
  std::optional<Window> focusedWindowLocked();
  /// The active window: the window manager's `_NET_ACTIVE_WINDOW`, else the focused one.
  std::optional<Window> activeWindowLocked();
  /// The top-level window under the pointer.
  std::optional<Window> windowUnderPointerLocked();
  /// Raises the window and gives it the focus (through the window manager when one runs).
  void activateLocked(Window window);
  /// Waits (at most `timeout`) until the program of a top-level window has handled every event the
  /// server sent it so far: it is sent `_NET_WM_PING` behind them, which a toolkit answers once it
  /// has taken the events before it off its queue. A window that doesn't take pings only gets a
  /// round trip to the server. False when no answer came.
  bool settleLocked(Window window, std::chrono::milliseconds timeout);

 private:
  std::uint32_t atom(const char* name);
  std::optional<std::uint32_t> cardinalProperty(Window window, std::uint32_t property);
  std::vector<Window> windowListProperty(Window window, std::uint32_t property);
  /// The client window of a top-level window (below a window manager's frame).
  Window clientOf(Window window);
  /// The child of the root that holds `window`.
  std::optional<Window> topLevelOf(Window window);

  /// Connects (again) unless a try was made within the last second; the caller holds `_mutex`.
  bool connectLocked();
  /// The same for the watching connection; the caller holds `_watchMutex`.
  bool connectWatchLocked();
  std::uint64_t screenChangesLocked();

  xcb_connection_t* _connection = nullptr;
  std::chrono::steady_clock::time_point _lastAttempt;
  std::atomic<std::uint64_t> _generation{0};
  bool _lost = false;  // the loss was logged, the return not yet
  /// A second connection that only hears of the root window's children and the monitors, and
  /// answers the questions about them (they need no lock of the first).
  xcb_connection_t* _watch = nullptr;
  Window _watchRoot = 0;
  std::chrono::steady_clock::time_point _lastWatchAttempt;
  std::mutex _watchMutex;
  std::uint64_t _screenChanges = 0;
  std::uint8_t _randrEvents = 0;
  std::vector<platform::Rect> _monitors;  // empty: not read since the last change
  Window _root = 0;
  std::recursive_mutex _mutex;
  std::uint32_t _netWmPid = 0;
  std::uint32_t _netActiveWindow = 0;
  std::uint32_t _netClientListStacking = 0;
  std::uint32_t _netSupportingWmCheck = 0;
  std::uint32_t _wmProtocols = 0;
  std::uint32_t _netWmPing = 0;
  std::uint32_t _pings = 0;
};

}  // namespace zar::x11
