#include "ZAR_DAWControl/platform/visualevents/ZAR_VisualEvent.h"

#include <utility>

std::optional<std::string> ZAR_Character::prefix() const {
  std::lock_guard lock(_mutex);
  return _prefix;
}

void ZAR_Character::setPrefix(std::optional<std::string> prefix) {
  std::lock_guard lock(_mutex);
  _prefix = std::move(prefix);
}

std::optional<std::string> ZAR_VisualEvent::startTCString() const {
  std::lock_guard lock(_mutex);
  return _startTCString;
}

void ZAR_VisualEvent::setStartTCString(std::optional<std::string> text) {
  std::lock_guard lock(_mutex);
  _startTCString = std::move(text);
}

std::optional<std::string> ZAR_VisualEvent::endTCString() const {
  std::lock_guard lock(_mutex);
  return _endTCString;
}

void ZAR_VisualEvent::setEndTCString(std::optional<std::string> text) {
  std::lock_guard lock(_mutex);
  _endTCString = std::move(text);
}

std::int64_t ZAR_VisualEvent::inPointFrameIndex() const {
  std::lock_guard lock(_mutex);
  return _inPointFrameIndex;
}

void ZAR_VisualEvent::setInPointFrameIndex(std::int64_t frame) {
  std::lock_guard lock(_mutex);
  _inPointFrameIndex = frame;
}

std::int64_t ZAR_VisualEvent::endFrameIndex() const {
  std::lock_guard lock(_mutex);
  return _endFrameIndex;
}

void ZAR_VisualEvent::setEndFrameIndex(std::int64_t frame) {
  std::lock_guard lock(_mutex);
  _endFrameIndex = frame;
}

std::int32_t ZAR_VisualEvent::recTrackIndex() const {
  std::lock_guard lock(_mutex);
  return _recTrackIndex;
}

void ZAR_VisualEvent::setRecTrackIndex(std::int32_t index) {
  std::lock_guard lock(_mutex);
  _recTrackIndex = index;
}

std::optional<std::string> ZAR_VisualEvent::cueNumber() const {
  std::lock_guard lock(_mutex);
  return _cueNumber;
}

void ZAR_VisualEvent::setCueNumber(std::optional<std::string> number) {
  std::lock_guard lock(_mutex);
  _cueNumber = std::move(number);
}

std::shared_ptr<ZAR_Character> ZAR_VisualEvent::character() const {
  std::lock_guard lock(_mutex);
  return _character;
}

void ZAR_VisualEvent::setCharacter(std::shared_ptr<ZAR_Character> character) {
  std::lock_guard lock(_mutex);
  _character = std::move(character);
}

std::int32_t ZAR_VisualEvent::numRecordedTakes() const {
  std::lock_guard lock(_mutex);
  return _numRecordedTakes;
}

void ZAR_VisualEvent::setNumRecordedTakes(std::int32_t takes) {
  std::lock_guard lock(_mutex);
  _numRecordedTakes = takes;
}
