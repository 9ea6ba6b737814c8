#include "ZAR_DAWControl/platform/utility/RandomString.h"

#include <gtest/gtest.h>

#include <array>
#include <set>

namespace {

using zar::platform::randomStringWithLength;

TEST(RandomString, HasTheRequestedLengthAndDiffersFromCallToCall) {
  for (const std::size_t length : {0u, 1u, 63u, 64u, 65u, 1000u}) EXPECT_EQ(randomStringWithLength(length).size(), length);
  std::set<std::string> seen;
  for (int i = 0; i < 1000; ++i) seen.insert(randomStringWithLength(16));
  EXPECT_EQ(seen.size(), 1000u);
}

TEST(RandomString, UsesEveryAlphanumericEquallyOftenAndNothingElse) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  constexpr std::size_t perCharacter = 10000;
  std::array<std::size_t, 256> counts{};
  for (const char c : randomStringWithLength(alphabet.size() * perCharacter)) ++counts[static_cast<unsigned char>(c)];
  std::size_t inAlphabet = 0;
  for (const char c : alphabet) {
    const std::size_t count = counts[static_cast<unsigned char>(c)];
    inAlphabet += count;
    // Six standard deviations either side; a modulo bias would put some characters 25% high.
    EXPECT_NEAR(static_cast<double>(count), perCharacter, 600) << c;
  }
  EXPECT_EQ(inAlphabet, alphabet.size() * perCharacter);
}

}  // namespace
