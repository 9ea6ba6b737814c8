#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ZAR_DAWControl/platform/AXTypes.h"

namespace zar::platform {

/// The accessibility interface to other processes' user-interface elements. Every call may be made
/// from any thread. A null element gives AXError::illegalArgument.
class Accessibility {
 public:
  virtual ~Accessibility() = default;
  /// The element of the whole application with that process id (never null; its calls fail when
  /// no such process answers).
  virtual AXUIElementRef createApplication(std::int32_t pid) = 0;
  virtual AXError copyAttributeNames(const AXUIElementRef& element, std::vector<std::string>& names) = 0;
  virtual AXError copyAttributeValue(const AXUIElementRef& element, const std::string& attribute,
                                     AXAttributeValue& value) = 0;
  virtual AXError getAttributeValueCount(const AXUIElementRef& element, const std::string& attribute,
                                         long& count) = 0;
  virtual AXError isAttributeSettable(const AXUIElementRef& element, const std::string& attribute,
                                      bool& settable) = 0;
  virtual AXError setAttributeValue(const AXUIElementRef& element, const std::string& attribute,
                                    const AXAttributeValue& value) = 0;
  virtual AXError copyActionNames(const AXUIElementRef& element, std::vector<std::string>& names) = 0;
  virtual AXError copyActionDescription(const AXUIElementRef& element, const std::string& action,
                                        std::string& description) = 0;
  virtual AXError performAction(const AXUIElementRef& element, const std::string& action) = 0;
  virtual AXError getPid(const AXUIElementRef& element, std::int32_t& pid) = 0;
  /// The platform's generic text for an element object (used where an element has no role).
  virtual std::string genericDescription(const AXUIElementRef& element) = 0;
};

}  // namespace zar::platform
