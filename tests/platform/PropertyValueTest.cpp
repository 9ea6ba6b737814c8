#include <gtest/gtest.h>

#include <limits>

#include "ZAR_DAWControl/platform/PropertyValue.h"

namespace {

using zar::platform::PropertyArray;
using zar::platform::PropertyValue;

TEST(PropertyValue, BoolCoercions) {
  EXPECT_TRUE(PropertyValue(true).boolValue());
  EXPECT_FALSE(PropertyValue(false).boolValue());
  EXPECT_TRUE(PropertyValue(2).boolValue());
  EXPECT_FALSE(PropertyValue(0).boolValue());
  EXPECT_TRUE(PropertyValue(0.5).boolValue());
  for (const char* yes : {"YES", "yes", "true", "T", "1", "  7", "007", "-3"}) {
    SCOPED_TRACE(yes);
    EXPECT_TRUE(PropertyValue(yes).boolValue());
  }
  for (const char* no : {"NO", "false", "0", "", "   ", "000", "x"}) {
    SCOPED_TRACE(no);
    EXPECT_FALSE(PropertyValue(no).boolValue());
  }
  EXPECT_FALSE(PropertyValue(PropertyArray{PropertyValue(true)}).boolValue());
}

TEST(PropertyValue, IntegerCoercions) {
  EXPECT_EQ(PropertyValue(true).integerValue(), 1);
  EXPECT_EQ(PropertyValue(-15).integerValue(), -15);
  EXPECT_EQ(PropertyValue(3.9).integerValue(), 3);
  EXPECT_EQ(PropertyValue(-3.9).integerValue(), -3);
  EXPECT_EQ(PropertyValue(" 31 levels").integerValue(), 31);
  EXPECT_EQ(PropertyValue("-1").integerValue(), -1);
  EXPECT_EQ(PropertyValue("level").integerValue(), 0);
  EXPECT_EQ(PropertyValue(1e300).integerValue(), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(PropertyValue(std::numeric_limits<double>::quiet_NaN()).integerValue(), 0);
  EXPECT_EQ(PropertyValue("99999999999999999999999").integerValue(), std::numeric_limits<std::int64_t>::max());
}

TEST(PropertyValue, StringCoercions) {
  EXPECT_EQ(PropertyValue("text").stringValue(), "text");
  EXPECT_EQ(PropertyValue(42).stringValue(), "42");
  EXPECT_EQ(PropertyValue(2.5).stringValue(), "2.5");
  EXPECT_FALSE(PropertyValue(PropertyArray{}).stringValue().has_value());
}

}  // namespace
