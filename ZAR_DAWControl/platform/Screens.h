#pragma once

#include <vector>

#include "ZAR_DAWControl/platform/Geometry.h"

namespace zar::platform {

/// The screens and the pointer, in Cocoa coordinates (origin bottom left of the primary screen).
class Screens {
 public:
  virtual ~Screens() = default;
  /// The screens' frames; the first is the primary screen.
  virtual std::vector<Rect> screenFrames() = 0;
  virtual Point mouseLocation() = 0;
};

}  // namespace zar::platform
