#pragma once

#include "ZAR_DAWControl/platform/Clock.h"

namespace zar::native {

/// The monotonic system clock; sleeps and waits really wait.
class SystemClock final : public platform::Clock {
 public:
  double now() const override;
  void sleep(double seconds) override;
  void waitUntil(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, double deadline) override;
};

}  // namespace zar::native
