#include "ZAR_DAWControl/platform/sim/SimAccessibility.h"

#include <fmt/format.h>

#include "ZAR_DAWControl/accessibility/AXNames.h"

namespace zar::sim {

using platform::AXError;

SimAccessibility::SimAccessibility(std::shared_ptr<SimWorkspace> workspace,
                                   std::shared_ptr<SimAccessibilityHelper> helper)
    : _workspace(std::move(workspace)), _helper(std::move(helper)) {}

template <typename Call>
AXError SimAccessibility::answer(const platform::AXUIElementRef& element, Call call) {
  const auto simElement = std::dynamic_pointer_cast<SimElement>(element);
  if (!simElement) {
    return AXError::illegalArgument;
  }
  if (_helper && !_helper->checkIfAccessibilityIsAvailable()) {
    return AXError::apiDisabled;
  }
  std::function<void(const SimElement&)> hook;
  {
    std::lock_guard lock(_hookMutex);
    hook = _hook;
  }
  if (hook) {
    hook(*simElement);
  }
  return call(*simElement);
}

void SimAccessibility::setCallHook(std::function<void(const SimElement&)> hook) {
  std::lock_guard lock(_hookMutex);
  _hook = std::move(hook);
}

platform::AXUIElementRef SimAccessibility::createApplication(std::int32_t pid) {
  if (const auto application = _workspace->application(pid)) {
    return application->applicationElement();
  }
  auto absent = SimElement::create(pid, ax::kApplicationRole);
  absent->setFailure(AXError::cannotComplete);
  return absent;
}

AXError SimAccessibility::copyAttributeNames(const platform::AXUIElementRef& element,
                                             std::vector<std::string>& names) {
  return answer(element, [&](SimElement& e) { return e.copyAttributeNames(names); });
}

AXError SimAccessibility::copyAttributeValue(const platform::AXUIElementRef& element, const std::string& attribute,
                                             platform::AXAttributeValue& value) {
  return answer(element, [&](SimElement& e) { return e.copyAttributeValue(attribute, value); });
}

AXError SimAccessibility::getAttributeValueCount(const platform::AXUIElementRef& element,
                                                 const std::string& attribute, long& count) {
  return answer(element, [&](SimElement& e) { return e.getAttributeValueCount(attribute, count); });
}

AXError SimAccessibility::isAttributeSettable(const platform::AXUIElementRef& element, const std::string& attribute,
                                              bool& settable) {
  return answer(element, [&](SimElement& e) { return e.isAttributeSettable(attribute, settable); });
}

AXError SimAccessibility::setAttributeValue(const platform::AXUIElementRef& element, const std::string& attribute,
                                            const platform::AXAttributeValue& value) {
  return answer(element, [&](SimElement& e) { return e.setAttributeValue(attribute, value); });
}

AXError SimAccessibility::copyActionNames(const platform::AXUIElementRef& element, std::vector<std::string>& names) {
  return answer(element, [&](SimElement& e) { return e.copyActionNames(names); });
}

AXError SimAccessibility::copyActionDescription(const platform::AXUIElementRef& element, const std::string& action,
                                                std::string& description) {
  return answer(element, [&](SimElement& e) { return e.copyActionDescription(action, description); });
}

AXError SimAccessibility::performAction(const platform::AXUIElementRef& element, const std::string& action) {
  return answer(element, [&](SimElement& e) { return e.performAction(action); });
}

AXError SimAccessibility::getPid(const platform::AXUIElementRef& element, std::int32_t& pid) {
  return answer(element, [&](SimElement& e) { return e.getPid(pid); });
}

std::string SimAccessibility::genericDescription(const platform::AXUIElementRef& element) {
  if (!element) {
    return "<AXUIElement (null)>";
  }
  if (const auto simElement = std::dynamic_pointer_cast<SimElement>(element)) {
    return fmt::format("<AXUIElement {} pid={}>", fmt::ptr(simElement.get()), simElement->processIdentifier());
  }
  return fmt::format("<AXUIElement {}>", fmt::ptr(element.get()));
}

}  // namespace zar::sim
