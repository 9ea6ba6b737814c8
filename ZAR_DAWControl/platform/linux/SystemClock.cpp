#include "ZAR_DAWControl/platform/linux/SystemClock.h"

#include <chrono>
#include <cmath>
#include <thread>

namespace zar::native {

namespace {
using Steady = std::chrono::steady_clock;
std::chrono::duration<double> asDuration(double seconds) { return std::chrono::duration<double>(seconds); }
}  // namespace

double SystemClock::now() const {
  return std::chrono::duration<double>(Steady::now().time_since_epoch()).count();
}

void SystemClock::sleep(double seconds) {
  if (seconds > 0) {
    std::this_thread::sleep_for(asDuration(seconds));
  }
}

void SystemClock::waitUntil(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, double deadline) {
  if (std::isinf(deadline)) {
    cv.wait(lock);
    return;
  }
  const double remaining = deadline - now();
  if (remaining > 0) {
    cv.wait_for(lock, asDuration(remaining));
  }
}

}  // namespace zar::native
