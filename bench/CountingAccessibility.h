#pragma once

#include <atomic>
#include <chrono>
#include <memory>

#include "ZAR_DAWControl/platform/Accessibility.h"

namespace zar::bench {

/// The platform's accessibility service with every call counted, and, when asked, a latency added
/// to each (a wait, not work: what a call across processes costs the caller in time but not in
/// CPU). The CPU time the calls themselves take on the calling thread is summed apart, so that
/// the framework's own share of a measurement can be told from the service's.
class CountingAccessibility final : public platform::Accessibility {
 public:
  explicit CountingAccessibility(std::shared_ptr<platform::Accessibility> inner,
                                 std::chrono::microseconds latency = std::chrono::microseconds(0));

  std::uint64_t calls() const { return _calls.load(); }
  /// Actions performed (presses).
  std::uint64_t presses() const { return _presses.load(); }
  /// Seconds of thread CPU time spent inside the service's calls (the latency's wait included).
  double cpuInCalls() const { return static_cast<double>(_cpuNanoseconds.load()) * 1e-9; }

  platform::AXUIElementRef createApplication(std::int32_t pid) override;
  platform::AXError copyAttributeNames(const platform::AXUIElementRef& element, std::vector<std::string>& names) override;
  platform::AXError copyAttributeValue(const platform::AXUIElementRef& element, const std::string& attribute,
                                       platform::AXAttributeValue& value) override;
  platform::AXError getAttributeValueCount(const platform::AXUIElementRef& element, const std::string& attribute,
                                           long& count) override;
  platform::AXError isAttributeSettable(const platform::AXUIElementRef& element, const std::string& attribute,
                                        bool& settable) override;
  platform::AXError setAttributeValue(const platform::AXUIElementRef& element, const std::string& attribute,
                                      const platform::AXAttributeValue& value) override;
  platform::AXError copyActionNames(const platform::AXUIElementRef& element, std::vector<std::string>& names) override;
  platform::AXError copyActionDescription(const platform::AXUIElementRef& element, const std::string& action,
                                          std::string& description) override;
  platform::AXError performAction(const platform::AXUIElementRef& element, const std::string& action) override;
  platform::AXError getPid(const platform::AXUIElementRef& element, std::int32_t& pid) override;
  std::string genericDescription(const platform::AXUIElementRef& element) override;

 private:
  template <typename Call>
  auto counted(Call call);

  const std::shared_ptr<platform::Accessibility> _inner;
  const std::chrono::microseconds _latency;
  std::atomic<std::uint64_t> _calls{0};
  std::atomic<std::uint64_t> _presses{0};
  std::atomic<std::int64_t> _cpuNanoseconds{0};
};

}  // namespace zar::bench
