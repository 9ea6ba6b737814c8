#pragma once

namespace zar::platform {

/// A point in screen coordinates. Which of the two systems (accessibility: origin top left, y down;
/// Cocoa: origin bottom left, y up) is said wherever a point is produced or consumed.
struct Point {
  double x = 0;
  double y = 0;
  friend bool operator==(const Point&, const Point&) = default;
};

struct Size {
  double width = 0;
  double height = 0;
  friend bool operator==(const Size&, const Size&) = default;
};

struct Rect {
  Point origin;
  Size size;
  friend bool operator==(const Rect&, const Rect&) = default;
};

/// The zero rectangle: origin and size all 0.
inline constexpr Rect zeroRect{};

/// Containment as the platform tests it: left and bottom edges inside, right and top edges outside.
inline bool pointInRect(Point p, const Rect& r) {
  return p.x >= r.origin.x && p.x < r.origin.x + r.size.width && p.y >= r.origin.y &&
         p.y < r.origin.y + r.size.height;
}

}  // namespace zar::platform
