#include "ZAR_DAWControl/platform/UserDefaults.h"

namespace zar::platform {

bool UserDefaults::boolForKey(const std::string& key) const {
  const auto value = objectForKey(key);
  return value && value->boolValue();
}

std::int64_t UserDefaults::integerForKey(const std::string& key) const {
  const auto value = objectForKey(key);
  return value ? value->integerValue() : 0;
}

std::optional<std::string> UserDefaults::stringForKey(const std::string& key) const {
  const auto value = objectForKey(key);
  return value ? value->stringValue() : std::nullopt;
}

}  // namespace zar::platform
