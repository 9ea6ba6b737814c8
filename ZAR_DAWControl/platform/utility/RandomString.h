#pragma once

#include <cstddef>
#include <string>

namespace zar::platform {

/// A new string of exactly `length` characters drawn uniformly from A-Z, a-z and 0-9, taken from
/// the kernel's cryptographic random source. ASCII only, so it survives any UTF-8 round trip; 16
/// characters carry about 95 bits, enough for identities that must never collide.
std::string randomStringWithLength(std::size_t length);

}  // namespace zar::platform
