#include "ZAR_DAWControl/platform/PropertyValue.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using zar::platform::PropertyArray;
using zar::platform::PropertyValue;

TEST(PropertyValue, BoolCoercions) {
  for (const PropertyValue& yes : {PropertyValue(true), PropertyValue(2), PropertyValue(0.5), PropertyValue("YES"),
                                  PropertyValue("yes"), PropertyValue("true"), PropertyValue("T"), PropertyValue("1"),
                                  PropertyValue("  7"), PropertyValue("007"), PropertyValue("-3")}) {
    EXPECT_TRUE(yes.boolValue()) << yes.stringValue().value_or("?");
  }
  for (const PropertyValue& no : {PropertyValue(false), PropertyValue(0), PropertyValue("NO"), PropertyValue("false"),
                                 PropertyValue("0"), PropertyValue(""), PropertyValue("   "), PropertyValue("000"),
                                 PropertyValue("x"), PropertyValue(PropertyArray{PropertyValue(true)})}) {
    EXPECT_FALSE(no.boolValue()) << no.stringValue().value_or("?");
  }
}

TEST(PropertyValue, IntegerAndStringCoercions) {
  constexpr auto max = std::numeric_limits<std::int64_t>::max();
  constexpr auto min = std::numeric_limits<std::int64_t>::min();
  const std::pair<PropertyValue, std::int64_t> integers[] = {
      {PropertyValue(true), 1},         {PropertyValue(-15), -15},       {PropertyValue(3.9), 3},
      {PropertyValue(-3.9), -3},        {PropertyValue(" 31 levels"), 31}, {PropertyValue("-1"), -1},
      {PropertyValue("level"), 0},      {PropertyValue(1e300), max},      {PropertyValue(std::numeric_limits<double>::quiet_NaN()), 0},
      {PropertyValue("99999999999999999999999"), max}, {PropertyValue(-1e300), min},
      {PropertyValue(" +12"), 12},     {PropertyValue("-99999999999999999999999"), min},
      {PropertyValue(PropertyArray{PropertyValue(1)}), 0}};
  for (const auto& [value, integer] : integers) EXPECT_EQ(value.integerValue(), integer);
  EXPECT_EQ(PropertyValue("text").stringValue(), "text");
  EXPECT_EQ(PropertyValue(42).stringValue(), "42");
  EXPECT_EQ(PropertyValue(2.5).stringValue(), "2.5");
  EXPECT_FALSE(PropertyValue(PropertyArray{}).stringValue().has_value());
}

}  // namespace
