#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zar::modes {

/// The copy of a settings file's content as the framework last saved it, kept beside the file as
/// `<name>.last-saved`. It tells damage that still parses (a file cut at a message boundary, a
/// changed byte inside a name) from the file the framework wrote, and it is that file, ready to be
/// brought back.
///
/// The copy is a short text header, then the content byte for byte:
///
///     ZAR_DAWControl last saved settings 1
///     length 1234 crc32 0a1b2c3d
///
/// The checksum checks the copy itself: a damaged copy is never taken for the last save.
struct SavedCopy {
  /// What follows a settings file's name to name its copy.
  static constexpr std::string_view suffix = ".last-saved";

  /// The copy's bytes.
  static std::string encode(std::string_view content);
  /// The copy in `bytes`; nothing when they are not a whole copy whose checksum holds.
  static std::optional<SavedCopy> decode(std::string_view bytes);
  static std::uint32_t checksum(std::string_view content);

  std::string content;
};

}  // namespace zar::modes
