#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

/// Posted by the host's visual-events library, with the cue whose timing changed as its object
/// (a std::shared_ptr<ZAR_VisualEvent>).
inline constexpr const char* ZAR_VisualEventTimingDidChangeNotification = "ZAR_VisualEventTimingDidChange";

/// The character who speaks a cue.
class ZAR_Character {
 public:
  explicit ZAR_Character(std::optional<std::string> prefix = std::nullopt) : _prefix(std::move(prefix)) {}
  std::optional<std::string> prefix() const;
  void setPrefix(std::optional<std::string> prefix);

 private:
  mutable std::mutex _mutex;
  std::optional<std::string> _prefix;
};

/// A cue of the host: a take of dialogue with its timecode range, frames, record track and take
/// count. The host owns it; the framework refers to it weakly. Properties are read and written
/// indivisibly from any thread.
class ZAR_VisualEvent {
 public:
  std::optional<std::string> startTCString() const;
  void setStartTCString(std::optional<std::string> text);
  std::optional<std::string> endTCString() const;
  void setEndTCString(std::optional<std::string> text);
  std::int64_t inPointFrameIndex() const;
  void setInPointFrameIndex(std::int64_t frame);
  std::int64_t endFrameIndex() const;
  void setEndFrameIndex(std::int64_t frame);
  /// The position of the cue's record track among the application's record tracks.
  std::int32_t recTrackIndex() const;
  void setRecTrackIndex(std::int32_t index);
  std::optional<std::string> cueNumber() const;
  void setCueNumber(std::optional<std::string> number);
  std::shared_ptr<ZAR_Character> character() const;
  void setCharacter(std::shared_ptr<ZAR_Character> character);
  std::int32_t numRecordedTakes() const;
  void setNumRecordedTakes(std::int32_t takes);

 private:
  mutable std::mutex _mutex;
  std::optional<std::string> _startTCString;
  std::optional<std::string> _endTCString;
  std::int64_t _inPointFrameIndex = 0;
  std::int64_t _endFrameIndex = 0;
  std::int32_t _recTrackIndex = 0;
  std::optional<std::string> _cueNumber;
  std::shared_ptr<ZAR_Character> _character;
  std::int32_t _numRecordedTakes = 0;
};
