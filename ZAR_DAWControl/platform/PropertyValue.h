#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace zar::platform {

struct PropertyValue;
using PropertyArray = std::vector<PropertyValue>;
using PropertyDictionary = std::map<std::string, PropertyValue>;
using PropertyData = std::vector<std::uint8_t>;

/// A property-list object: what preferences store and what a bundle's information dictionary holds.
struct PropertyValue {
  using Storage =
      std::variant<bool, std::int64_t, double, std::string, PropertyData, PropertyArray, PropertyDictionary>;
  Storage storage;

  PropertyValue() : storage(false) {}
  PropertyValue(bool v) : storage(v) {}                      // NOLINT(google-explicit-constructor)
  PropertyValue(int v) : storage(std::int64_t{v}) {}         // NOLINT(google-explicit-constructor)
  PropertyValue(std::int64_t v) : storage(v) {}              // NOLINT(google-explicit-constructor)
  PropertyValue(double v) : storage(v) {}                    // NOLINT(google-explicit-constructor)
  PropertyValue(const char* v) : storage(std::string(v)) {}  // NOLINT(google-explicit-constructor)
  PropertyValue(std::string v) : storage(std::move(v)) {}    // NOLINT(google-explicit-constructor)
  PropertyValue(PropertyData v) : storage(std::move(v)) {}   // NOLINT(google-explicit-constructor)
  PropertyValue(PropertyArray v) : storage(std::move(v)) {}  // NOLINT(google-explicit-constructor)
  PropertyValue(PropertyDictionary v) : storage(std::move(v)) {}  // NOLINT(google-explicit-constructor)

  template <typename T>
  const T* get() const { return std::get_if<T>(&storage); }

  /// Boolean reading with the defaults store's coercions: numbers are YES when non-zero, a text is
  /// YES when it starts (after blanks and leading zeros) with Y, y, T, t or a digit 1-9.
  bool boolValue() const;
  /// Integer reading: booleans are 0 or 1, reals are truncated, a text gives its leading integer.
  std::int64_t integerValue() const;
  /// Text reading: a text as it is, a number as its decimal text; anything else has none.
  std::optional<std::string> stringValue() const;

  friend bool operator==(const PropertyValue&, const PropertyValue&) = default;
};

}  // namespace zar::platform
