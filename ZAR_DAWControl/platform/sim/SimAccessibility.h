#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include "ZAR_DAWControl/platform/Accessibility.h"
#include "ZAR_DAWControl/platform/sim/SimAccessibilityHelper.h"
#include "ZAR_DAWControl/platform/sim/SimElement.h"
#include "ZAR_DAWControl/platform/sim/SimWorkspace.h"

namespace zar::sim {

/// The accessibility interface over the simulated applications' elements. A handle that isn't a
/// simulated element (null included) gives illegalArgument; while the helper says the host isn't
/// trusted, every call gives apiDisabled.
class SimAccessibility final : public platform::Accessibility {
 public:
  /// Without a helper the host is always trusted.
  SimAccessibility(std::shared_ptr<SimWorkspace> workspace, std::shared_ptr<SimAccessibilityHelper> helper);

  /// The running application's element; for a process id no application has, an element whose
  /// calls all fail with cannotComplete.
  platform::AXUIElementRef createApplication(std::int32_t pid) override;
  platform::AXError copyAttributeNames(const platform::AXUIElementRef& element,
                                       std::vector<std::string>& names) override;
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
  /// "<AXUIElement 0x... pid=N>" for a simulated element.
  std::string genericDescription(const platform::AXUIElementRef& element) override;
  /// Called on the calling thread before each call on a simulated element is answered: a point at
  /// which a test makes something happen in the middle of the framework's reads. Empty: none.
  void setCallHook(std::function<void(const SimElement&)> hook);

 private:
  template <typename Call>
  platform::AXError answer(const platform::AXUIElementRef& element, Call call);

  const std::shared_ptr<SimWorkspace> _workspace;
  const std::shared_ptr<SimAccessibilityHelper> _helper;
  std::mutex _hookMutex;
  std::function<void(const SimElement&)> _hook;
};

}  // namespace zar::sim
