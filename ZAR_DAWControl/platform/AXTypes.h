#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "ZAR_DAWControl/platform/Geometry.h"

namespace zar::platform {

/// Result codes of accessibility calls, numbered as the platform numbers them.
enum class AXError : std::int32_t {
  success = 0,
  failure = -25200,
  illegalArgument = -25201,
  invalidUIElement = -25202,
  invalidUIElementObserver = -25203,
  cannotComplete = -25204,
  attributeUnsupported = -25205,
  actionUnsupported = -25206,
  notificationUnsupported = -25207,
  notImplemented = -25208,
  notificationAlreadyRegistered = -25209,
  notificationNotRegistered = -25210,
  apiDisabled = -25211,
  noValue = -25212,
  parameterizedAttributeUnsupported = -25213,
  notEnoughPrecision = -25214,
};

/// Kinds of typed values, numbered as the platform numbers them.
enum class AXValueType : std::int32_t { illegal = 0, point = 1, size = 2, rect = 3, range = 4, axError = 5 };

struct AXRange {
  std::int64_t location = 0;
  std::int64_t length = 0;
  friend bool operator==(const AXRange&, const AXRange&) = default;
};

/// A typed value: a point, size, rectangle or range, or a value of a kind the framework doesn't read.
class AXTypedValue {
 public:
  static AXTypedValue point(Point p) { return AXTypedValue(AXValueType::point, p); }
  static AXTypedValue size(Size s) { return AXTypedValue(AXValueType::size, s); }
  static AXTypedValue rect(Rect r) { return AXTypedValue(AXValueType::rect, r); }
  static AXTypedValue range(AXRange r) { return AXTypedValue(AXValueType::range, r); }
  /// A value of another kind, whose contents can't be extracted.
  static AXTypedValue opaque(AXValueType kind) { return AXTypedValue(kind, std::monostate{}); }

  AXValueType type() const { return _type; }
  /// The contents when the value is of that kind (AXValueGetValue).
  const Point* pointValue() const { return std::get_if<Point>(&_contents); }
  const Size* sizeValue() const { return std::get_if<Size>(&_contents); }
  const Rect* rectValue() const { return std::get_if<Rect>(&_contents); }
  const AXRange* rangeValue() const { return std::get_if<AXRange>(&_contents); }

  friend bool operator==(const AXTypedValue&, const AXTypedValue&) = default;

 private:
  using Contents = std::variant<std::monostate, Point, Size, Rect, AXRange>;
  AXTypedValue(AXValueType type, Contents contents) : _type(type), _contents(contents) {}
  AXValueType _type;
  Contents _contents;
};

/// A handle to a user-interface object of another process. Each backend has its own kind; two
/// handles stand for the same object exactly when they are the same handle object.
class AXUIElement {
 public:
  virtual ~AXUIElement() = default;
};
using AXUIElementRef = std::shared_ptr<AXUIElement>;

struct AXAttributeValue;
using AXValueList = std::vector<AXAttributeValue>;

/// An attribute value: a text, a number, a boolean, an element, a list or a typed value.
struct AXAttributeValue {
  using Storage = std::variant<std::string, double, bool, AXUIElementRef, AXValueList, AXTypedValue>;
  Storage storage;

  AXAttributeValue() : storage(std::string()) {}
  AXAttributeValue(std::string v) : storage(std::move(v)) {}    // NOLINT(google-explicit-constructor)
  AXAttributeValue(const char* v) : storage(std::string(v)) {}  // NOLINT(google-explicit-constructor)
  AXAttributeValue(double v) : storage(v) {}                    // NOLINT(google-explicit-constructor)
  AXAttributeValue(bool v) : storage(v) {}                      // NOLINT(google-explicit-constructor)
  AXAttributeValue(AXUIElementRef v) : storage(std::move(v)) {}  // NOLINT(google-explicit-constructor)
  AXAttributeValue(AXValueList v) : storage(std::move(v)) {}    // NOLINT(google-explicit-constructor)
  AXAttributeValue(AXTypedValue v) : storage(v) {}              // NOLINT(google-explicit-constructor)

  template <typename T>
  const T* get() const { return std::get_if<T>(&storage); }

  friend bool operator==(const AXAttributeValue&, const AXAttributeValue&) = default;
};

}  // namespace zar::platform
