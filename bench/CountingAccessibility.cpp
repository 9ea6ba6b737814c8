#include "CountingAccessibility.h"

#include <time.h>

#include <thread>

namespace zar::bench {

using platform::AXError;
using platform::AXUIElementRef;

namespace {

std::int64_t threadCpuNanoseconds() {
  timespec now{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

}  // namespace

CountingAccessibility::CountingAccessibility(std::shared_ptr<platform::Accessibility> inner,
                                             std::chrono::microseconds latency)
    : _inner(std::move(inner)), _latency(latency) {}

template <typename Call>
auto CountingAccessibility::counted(Call call) {
  _calls.fetch_add(1);
  const std::int64_t start = threadCpuNanoseconds();
  auto result = call(*_inner);
  if (_latency.count() > 0) std::this_thread::sleep_for(_latency);
  _cpuNanoseconds.fetch_add(threadCpuNanoseconds() - start);
  return result;
}

AXUIElementRef CountingAccessibility::createApplication(std::int32_t pid) {
  return counted([&](auto& inner) { return inner.createApplication(pid); });
}

AXError CountingAccessibility::copyAttributeNames(const AXUIElementRef& element, std::vector<std::string>& names) {
  return counted([&](auto& inner) { return inner.copyAttributeNames(element, names); });
}

AXError CountingAccessibility::copyAttributeValue(const AXUIElementRef& element, const std::string& attribute,
                                                  platform::AXAttributeValue& value) {
  return counted([&](auto& inner) { return inner.copyAttributeValue(element, attribute, value); });
}

AXError CountingAccessibility::getAttributeValueCount(const AXUIElementRef& element, const std::string& attribute,
                                                      long& count) {
  return counted([&](auto& inner) { return inner.getAttributeValueCount(element, attribute, count); });
}

AXError CountingAccessibility::isAttributeSettable(const AXUIElementRef& element, const std::string& attribute,
                                                   bool& settable) {
  return counted([&](auto& inner) { return inner.isAttributeSettable(element, attribute, settable); });
}

AXError CountingAccessibility::setAttributeValue(const AXUIElementRef& element, const std::string& attribute,
                                                 const platform::AXAttributeValue& value) {
  return counted([&](auto& inner) { return inner.setAttributeValue(element, attribute, value); });
}

AXError CountingAccessibility::copyActionNames(const AXUIElementRef& element, std::vector<std::string>& names) {
  return counted([&](auto& inner) { return inner.copyActionNames(element, names); });
}

AXError CountingAccessibility::copyActionDescription(const AXUIElementRef& element, const std::string& action,
                                                     std::string& description) {
  return counted([&](auto& inner) { return inner.copyActionDescription(element, action, description); });
}

AXError CountingAccessibility::performAction(const AXUIElementRef& element, const std::string& action) {
  _presses.fetch_add(1);
  return counted([&](auto& inner) { return inner.performAction(element, action); });
}

AXError CountingAccessibility::getPid(const AXUIElementRef& element, std::int32_t& pid) {
  return counted([&](auto& inner) { return inner.getPid(element, pid); });
}

std::string CountingAccessibility::genericDescription(const AXUIElementRef& element) {
  return _inner->genericDescription(element);
}

}  // namespace zar::bench
