#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace zar::modes {

/// One settings file in the host's application support directory, reached through the current
/// platform's file utility. The path is worked out anew at every use, so a platform installed
/// later (or a support directory that moves) is honoured. Without a file utility there is no file:
/// nothing is read and writes go nowhere.
class SettingsFile {
 public:
  /// Content above this size is not taken as a settings message: no real file comes near it (a
  /// thousand modes take about 50 KB), and refusing it keeps a stray huge file from being
  /// expanded into memory as millions of modes.
  static constexpr std::size_t maximumSize = std::size_t{16} << 20;

  explicit SettingsFile(std::string fileName);

  /// The full path, or nothing without a file utility.
  std::optional<std::string> path() const;
  bool exists() const;
  /// The content to parse: a file that exists but cannot be read counts as empty, a missing file
  /// too. Nothing when the content exceeds `maximumSize`, which the caller treats as content that
  /// does not parse.
  std::optional<std::string> read() const;
  /// Replaces the file atomically; false when it could not be written.
  bool write(std::string_view content) const;

 private:
  const std::string _fileName;
};

}  // namespace zar::modes
