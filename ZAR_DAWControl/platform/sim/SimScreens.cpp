#include "ZAR_DAWControl/platform/sim/SimScreens.h"

namespace zar::sim {

SimScreens::SimScreens()
    : _frames{defaultPrimaryFrame},
      _mouseLocation{defaultPrimaryFrame.size.width / 2, defaultPrimaryFrame.size.height / 2} {}

std::vector<platform::Rect> SimScreens::screenFrames() {
  std::lock_guard lock(_mutex);
  return _frames;
}

platform::Point SimScreens::mouseLocation() {
  std::lock_guard lock(_mutex);
  return _mouseLocation;
}

void SimScreens::setScreenFrames(std::vector<platform::Rect> frames) {
  std::lock_guard lock(_mutex);
  _frames = std::move(frames);
}

void SimScreens::setMouseLocation(platform::Point cocoaPoint) {
  std::lock_guard lock(_mutex);
  _mouseLocation = cocoaPoint;
}

void SimScreens::moveMouseToAccessibilityPoint(platform::Point point) {
  std::lock_guard lock(_mutex);
  const double primaryTop = _frames.empty() ? 0 : _frames.front().origin.y + _frames.front().size.height;
  _mouseLocation = platform::Point{point.x, primaryTop - point.y};
}

}  // namespace zar::sim
