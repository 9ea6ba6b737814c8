#include "ZAR_DAWControl/platform/midi/ZAR_HUITrafficObserver.h"

#include <atomic>

namespace {
std::atomic<ZAR_HUITrafficObserver*> sharedObserver{nullptr};
}  // namespace

void ZAR_HUITrafficObserver::setShared(ZAR_HUITrafficObserver* observer) {
  sharedObserver.store(observer, std::memory_order_release);
}

ZAR_HUITrafficObserver* ZAR_HUITrafficObserver::shared() { return sharedObserver.load(std::memory_order_acquire); }
