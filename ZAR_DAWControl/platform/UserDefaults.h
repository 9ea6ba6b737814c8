#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ZAR_DAWControl/platform/PropertyValue.h"

namespace zar::platform {

/// The per-user defaults store. Registered defaults are held in memory only; stored values take
/// precedence over them and persist: a stored value is read back at once, and saved soon after
/// (and before the process ends). Safe from any thread.
class UserDefaults {
 public:
  virtual ~UserDefaults() = default;

  /// Adds fallback values for this process; never written. A later registration of a key wins.
  virtual void registerDefaults(const PropertyDictionary& defaults) = 0;
  /// The stored value, else the registered one, else nothing.
  virtual std::optional<PropertyValue> objectForKey(const std::string& key) const = 0;
  /// Stores a value and makes it last.
  virtual void setObject(const std::string& key, PropertyValue value) = 0;
  virtual void removeObjectForKey(const std::string& key) = 0;
  /// Waits until everything stored so far is saved, or saving it failed; whether it is saved
  /// (false, too, for a store that keeps its values in memory only).
  virtual bool synchronize() = 0;

  /// NO when absent.
  bool boolForKey(const std::string& key) const;
  /// 0 when absent.
  std::int64_t integerForKey(const std::string& key) const;
  std::optional<std::string> stringForKey(const std::string& key) const;
  void setBool(bool value, const std::string& key) { setObject(key, PropertyValue(value)); }
  void setInteger(std::int64_t value, const std::string& key) { setObject(key, PropertyValue(value)); }
  void setString(const std::string& value, const std::string& key) { setObject(key, PropertyValue(value)); }
};

}  // namespace zar::platform
