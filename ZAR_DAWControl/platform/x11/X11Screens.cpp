#include "ZAR_DAWControl/platform/x11/X11Screens.h"

namespace zar::x11 {

X11Screens::X11Screens(std::shared_ptr<X11Display> display) : _display(std::move(display)) {}

platform::Point X11Screens::cocoaPoint(platform::Point rootPoint, const platform::Rect& primary) {
  return {rootPoint.x - primary.origin.x, primary.origin.y + primary.size.height - rootPoint.y};
}

std::vector<platform::Rect> X11Screens::cocoaFrames(const std::vector<platform::Rect>& rootFrames) {
  std::vector<platform::Rect> frames;
  if (rootFrames.empty()) return frames;
  const platform::Rect& primary = rootFrames.front();
  for (const auto& frame : rootFrames) {
    // The Cocoa origin is the frame's bottom left corner.
    const platform::Point bottomLeft{frame.origin.x, frame.origin.y + frame.size.height};
    frames.push_back({cocoaPoint(bottomLeft, primary), frame.size});
  }
  return frames;
}

std::vector<platform::Rect> X11Screens::screenFrames() { return cocoaFrames(_display->monitors()); }

platform::Point X11Screens::mouseLocation() {
  const auto monitors = _display->monitors();
  const auto pointer = _display->pointer();
  if (monitors.empty() || !pointer) return {};
  return cocoaPoint(*pointer, monitors.front());
}

}  // namespace zar::x11
