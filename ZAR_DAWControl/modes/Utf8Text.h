#pragma once

#include <string>
#include <string_view>

namespace zar::modes {

/// Text from bytes that should be UTF-8. Valid input comes back unchanged; each ill-formed
/// sequence (the longest prefix of a would-be character, or a single stray byte) becomes U+FFFD.
/// The result is always valid UTF-8, so it can be shown and written back safely.
std::string utf8TextFromBytes(std::string_view bytes);

}  // namespace zar::modes
