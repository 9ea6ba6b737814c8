#pragma once

#include <memory>

#include "ZAR_DAWControl/platform/Screens.h"
#include "ZAR_DAWControl/platform/x11/X11Display.h"

namespace zar::x11 {

/// The X server's monitors (RandR) and pointer, in Cocoa coordinates: the origin is the bottom
/// left of the primary monitor and y grows upward, so a point at root y lies at the primary
/// monitor's bottom edge minus y. Without a display there are no screens and the pointer is at 0.
class X11Screens final : public platform::Screens {
 public:
  explicit X11Screens(std::shared_ptr<X11Display> display);

  std::vector<platform::Rect> screenFrames() override;
  platform::Point mouseLocation() override;

  /// The Cocoa frames of monitors given in root coordinates, the primary one first.
  static std::vector<platform::Rect> cocoaFrames(const std::vector<platform::Rect>& rootFrames);
  /// A root point in Cocoa coordinates, for that primary monitor (root coordinates).
  static platform::Point cocoaPoint(platform::Point rootPoint, const platform::Rect& primary);

 private:
  const std::shared_ptr<X11Display> _display;
};

}  // namespace zar::x11
