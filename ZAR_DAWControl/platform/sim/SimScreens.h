#pragma once

#include <mutex>
#include <vector>

#include "ZAR_DAWControl/platform/Screens.h"

namespace zar::sim {

/// The simulated screens and pointer, in Cocoa coordinates. One 1920x1080 primary screen unless
/// told otherwise; the pointer starts at its centre.
class SimScreens final : public platform::Screens {
 public:
  static constexpr platform::Rect defaultPrimaryFrame{{0, 0}, {1920, 1080}};

  SimScreens();

  std::vector<platform::Rect> screenFrames() override;
  platform::Point mouseLocation() override;

  /// Replaces the screens; the first is the primary screen.
  void setScreenFrames(std::vector<platform::Rect> frames);
  void setMouseLocation(platform::Point cocoaPoint);
  /// Moves the pointer to a point given in accessibility coordinates, as a posted mouse event
  /// does: Cocoa y is the primary screen's top minus y.
  void moveMouseToAccessibilityPoint(platform::Point point);

 private:
  std::mutex _mutex;
  std::vector<platform::Rect> _frames;
  platform::Point _mouseLocation;
};

}  // namespace zar::sim
