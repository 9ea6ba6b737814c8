#include "ZAR_DAWControl/modes/SavedCopy.h"

#include <fmt/format.h>
#include <zlib.h>

#include <charconv>

namespace zar::modes {

namespace {

constexpr std::string_view header = "ZAR_DAWControl last saved settings 1\n";

/// Reads the word `name`, a blank and a number in `base` from the front of `text`.
template <typename Number>
std::optional<Number> field(std::string_view& text, std::string_view name, int base) {
  if (text.substr(0, name.size()) != name || text.size() <= name.size() || text[name.size()] != ' ') {
    return std::nullopt;
  }
  text.remove_prefix(name.size() + 1);
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (error != std::errc() || end == text.data()) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return value;
}

bool skip(std::string_view& text, std::string_view expected) {
  if (text.substr(0, expected.size()) != expected) return false;
  text.remove_prefix(expected.size());
  return true;
}

}  // namespace

std::uint32_t SavedCopy::checksum(std::string_view content) {
  return static_cast<std::uint32_t>(
      ::crc32_z(::crc32_z(0L, Z_NULL, 0), reinterpret_cast<const Bytef*>(content.data()), content.size()));
}

std::string SavedCopy::encode(std::string_view content) {
  std::string bytes(header);
  bytes += fmt::format("length {} crc32 {:08x}\n", content.size(), checksum(content));
  bytes += content;
  return bytes;
}

std::optional<SavedCopy> SavedCopy::decode(std::string_view bytes) {
  if (!skip(bytes, header)) return std::nullopt;
  const auto length = field<std::size_t>(bytes, "length", 10);
  if (!length || !skip(bytes, " ")) return std::nullopt;
  const auto crc = field<std::uint32_t>(bytes, "crc32", 16);
  if (!crc || !skip(bytes, "\n") || bytes.size() != *length || checksum(bytes) != *crc) return std::nullopt;
  return SavedCopy{std::string(bytes)};
}

}  // namespace zar::modes
