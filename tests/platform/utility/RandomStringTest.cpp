#include <gtest/gtest.h>

#include <array>
#include <set>
#include <string>

#include "ZAR_DAWControl/platform/utility/RandomString.h"

namespace {

using zar::platform::randomStringWithLength;

TEST(RandomString, HasExactlyTheRequestedLength) {
  for (const std::size_t length : {0u, 1u, 16u, 63u, 64u, 65u, 1000u}) {
    EXPECT_EQ(randomStringWithLength(length).size(), length);
  }
}

TEST(RandomString, StringsDifferFromCallToCall) {
  std::set<std::string> seen;
  for (int i = 0; i < 1000; ++i) seen.insert(randomStringWithLength(16));
  EXPECT_EQ(seen.size(), 1000u);
}

TEST(RandomString, UsesEveryAlphanumericEquallyOftenAndNothingElse) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  constexpr std::size_t perCharacter = 10000;
  const std::string sample = randomStringWithLength(alphabet.size() * perCharacter);
  std::array<std::size_t, 256> counts{};
  for (const char c : sample) ++counts[static_cast<unsigned char>(c)];
  std::size_t inAlphabet = 0;
  for (const char c : alphabet) {
    const std::size_t count = counts[static_cast<unsigned char>(c)];
    inAlphabet += count;
    // Six standard deviations either side; a modulo bias would put some characters 25% high.
    EXPECT_GT(count, perCharacter - 600) << c;
    EXPECT_LT(count, perCharacter + 600) << c;
  }
  EXPECT_EQ(inAlphabet, sample.size());
}

}  // namespace
