#include "ZAR_DAWControl/platform/utility/RandomString.h"

#include <sys/random.h>

#include <array>
#include <cerrno>
#include <string_view>
#include <system_error>

namespace zar::platform {

namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
// The largest multiple of the alphabet's size that fits a byte: bytes at or above it are dropped,
// so that every character is equally likely.
constexpr unsigned acceptedBelow = 256 / alphabet.size() * alphabet.size();

void fillRandom(unsigned char* buffer, std::size_t size) {
  while (size > 0) {
    const ssize_t got = ::getrandom(buffer, size, 0);
    if (got < 0) {
      if (errno == EINTR) continue;
      // Only a kernel without getrandom (before 3.17) gets here; there is nothing safe to fall
      // back to for identities.
      throw std::system_error(errno, std::generic_category(), "getrandom");
    }
    buffer += got;
    size -= static_cast<std::size_t>(got);
  }
}

}  // namespace

std::string randomStringWithLength(std::size_t length) {
  std::string result;
  result.reserve(length);
  std::array<unsigned char, 64> pool{};
  while (result.size() < length) {
    fillRandom(pool.data(), pool.size());
    for (const unsigned char byte : pool) {
      if (byte < acceptedBelow && result.size() < length) {
        result.push_back(alphabet[byte % alphabet.size()]);
      }
    }
  }
  return result;
}

}  // namespace zar::platform
