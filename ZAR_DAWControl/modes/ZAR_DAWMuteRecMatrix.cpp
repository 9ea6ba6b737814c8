#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"

#include <google/protobuf/arena.h>

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "ZAR_DAWControl/modes/ZAR_DAWSettings.pb.h"
#include "ZAR_DAWControl/platform/utility/Utf8Text.h"

namespace {

bool isTrackIndex(std::int32_t trackIndex) {
  return trackIndex >= 0 && static_cast<std::size_t>(trackIndex) < ZAR_DAWMuteRecMatrix::trackCount;
}

void appendUuid(google::protobuf::RepeatedPtrField<std::string>* uuids, const ZAR_DAWAudioTrackMode& mode) {
  uuids->Add(mode.uuid().value_or(std::string()));
}

}  // namespace

ZAR_DAWMuteRecMatrix::ZAR_DAWMuteRecMatrix(const std::shared_ptr<ZAR_DAWAudioTrackModeList>& audioTrackModeList)
    : _audioTrackModeList(audioTrackModeList) {
  const auto none = ZAR_DAWAudioTrackMode::nullTrackMode();
  _rehearseModes.fill(none);
  _recordModes.fill(none);
  _reviewModes.fill(none);
  if (restoreFromFile() == zar::modes::SettingsFile::Loaded::missing) {
    saveChanges();
  }
}

void ZAR_DAWMuteRecMatrix::setRehearseMode(std::shared_ptr<ZAR_DAWAudioTrackMode> mode, std::int32_t trackIndex) {
  setMode(_rehearseModes, std::move(mode), trackIndex);
}

std::shared_ptr<ZAR_DAWAudioTrackMode> ZAR_DAWMuteRecMatrix::rehearseModeAtTrackIndex(std::int32_t trackIndex) const {
  return modeAt(_rehearseModes, trackIndex);
}

void ZAR_DAWMuteRecMatrix::setRecordMode(std::shared_ptr<ZAR_DAWAudioTrackMode> mode, std::int32_t trackIndex) {
  setMode(_recordModes, std::move(mode), trackIndex);
}

std::shared_ptr<ZAR_DAWAudioTrackMode> ZAR_DAWMuteRecMatrix::recordModeAtTrackIndex(std::int32_t trackIndex) const {
  return modeAt(_recordModes, trackIndex);
}

void ZAR_DAWMuteRecMatrix::setReviewMode(std::shared_ptr<ZAR_DAWAudioTrackMode> mode, std::int32_t trackIndex) {
  setMode(_reviewModes, std::move(mode), trackIndex);
}

std::shared_ptr<ZAR_DAWAudioTrackMode> ZAR_DAWMuteRecMatrix::reviewModeAtTrackIndex(std::int32_t trackIndex) const {
  return modeAt(_reviewModes, trackIndex);
}

void ZAR_DAWMuteRecMatrix::saveChanges() const {
  // The arena makes the message's many small pieces one allocation.
  google::protobuf::Arena arena;
  auto& message = *google::protobuf::Arena::CreateMessage<ZAR_ProtoDAWMuteRecMatrix>(&arena);
  {
    const std::lock_guard lock(_mutex);
    for (std::size_t index = 0; index < trackCount; ++index) {
      appendUuid(message.mutable_rehearsemodeuuids(), *_rehearseModes[index]);
      appendUuid(message.mutable_recordmodeuuids(), *_recordModes[index]);
      appendUuid(message.mutable_reviewmodeuuids(), *_reviewModes[index]);
    }
  }
  // A failed write leaves the old file (or none); the matrix in memory is what counts.
  _file.write(message.SerializeAsString());
}

void ZAR_DAWMuteRecMatrix::restoreMatrixFromFile() { restoreFromFile(); }

zar::modes::SettingsFile::Loaded ZAR_DAWMuteRecMatrix::restoreFromFile() {
  google::protobuf::Arena arena;
  auto& message = *google::protobuf::Arena::CreateMessage<ZAR_ProtoDAWMuteRecMatrix>(&arena);
  const zar::modes::SettingsFile::Loaded loaded = _file.readInto(message, "a mode matrix");
  if (loaded == zar::modes::SettingsFile::Loaded::refused) {
    return loaded;
  }
  // Entry i of each stored list names the mode of position i; positions past the end of a short
  // list, and every position once the list is gone, keep the null mode, as an unknown uuid does.
  // Stored uuids are decoded as the list decodes its own (ill-formed UTF-8 becomes U+FFFD), so a
  // uuid with bad bytes still finds its mode.
  const google::protobuf::RepeatedPtrField<std::string>* stored[] = {
      &message.rehearsemodeuuids(), &message.recordmodeuuids(), &message.reviewmodeuuids()};
  std::vector<std::string> uuids;
  for (const auto* entries : stored) {
    const auto used = std::min(static_cast<std::size_t>(entries->size()), trackCount);
    for (std::size_t index = 0; index < used; ++index) {
      uuids.push_back(zar::platform::Utf8Text::repaired(entries->Get(static_cast<int>(index))));
    }
  }
  const auto list = audioTrackModeList();
  const auto none = ZAR_DAWAudioTrackMode::nullTrackMode();
  const ModeSequence modes = list ? list->modesWithUUIDs(uuids) : ModeSequence(uuids.size(), none);
  std::array<ModeColumn, 3> columns;
  for (ModeColumn& column : columns) column.fill(none);
  auto next = modes.begin();
  for (std::size_t column = 0; column < columns.size(); ++column) {
    const auto used = std::min(static_cast<std::size_t>(stored[column]->size()), trackCount);
    std::copy_n(next, used, columns[column].begin());
    next += static_cast<std::ptrdiff_t>(used);
  }
  // Assignments whose modes the list lacks read as no mode and are saved so at the next save; the
  // file as it was keeps them, in case the list comes back.
  std::size_t notFound = 0;
  for (std::size_t index = 0; index < uuids.size(); ++index) {
    if (modes[index] == none && uuids[index] != ZAR_DAWAudioTrackModeNullUUID) ++notFound;
  }
  {
    const std::lock_guard lock(_mutex);
    _rehearseModes = std::move(columns[0]);
    _recordModes = std::move(columns[1]);
    _reviewModes = std::move(columns[2]);
  }
  if (notFound > 0) {
    _file.keepAsideAsRead("modes-not-found", ZAR_DAWSettingsFileStatus::Event::modesNotFound,
                          fmt::format("{} of its assignments name modes that the mode list doesn't have; they read as "
                                      "no mode.",
                                      notFound));
  }
  return loaded;
}

std::vector<ZAR_DAWSettingsFileStatus> ZAR_DAWMuteRecMatrix::settingsFileStatuses() const {
  return _file.standingStatuses();
}

ZAR_DAWMuteRecMatrix::ModeColumn ZAR_DAWMuteRecMatrix::rehearseModes() const { return column(_rehearseModes); }
void ZAR_DAWMuteRecMatrix::setRehearseModes(ModeColumn modes) { setColumn(_rehearseModes, std::move(modes)); }
ZAR_DAWMuteRecMatrix::ModeColumn ZAR_DAWMuteRecMatrix::recordModes() const { return column(_recordModes); }
void ZAR_DAWMuteRecMatrix::setRecordModes(ModeColumn modes) { setColumn(_recordModes, std::move(modes)); }
ZAR_DAWMuteRecMatrix::ModeColumn ZAR_DAWMuteRecMatrix::reviewModes() const { return column(_reviewModes); }
void ZAR_DAWMuteRecMatrix::setReviewModes(ModeColumn modes) { setColumn(_reviewModes, std::move(modes)); }

std::shared_ptr<ZAR_DAWAudioTrackModeList> ZAR_DAWMuteRecMatrix::audioTrackModeList() const {
  const std::lock_guard lock(_mutex);
  return _audioTrackModeList.lock();
}

void ZAR_DAWMuteRecMatrix::setAudioTrackModeList(const std::shared_ptr<ZAR_DAWAudioTrackModeList>& list) {
  const std::lock_guard lock(_mutex);
  _audioTrackModeList = list;
}

void ZAR_DAWMuteRecMatrix::setMode(ModeColumn& column, std::shared_ptr<ZAR_DAWAudioTrackMode> mode,
                                   std::int32_t trackIndex) {
  if (!isTrackIndex(trackIndex)) {
    return;
  }
  {
    const std::lock_guard lock(_mutex);
    column[static_cast<std::size_t>(trackIndex)] = mode ? std::move(mode) : ZAR_DAWAudioTrackMode::nullTrackMode();
  }
  saveChanges();
}

std::shared_ptr<ZAR_DAWAudioTrackMode> ZAR_DAWMuteRecMatrix::modeAt(const ModeColumn& column,
                                                                    std::int32_t trackIndex) const {
  if (!isTrackIndex(trackIndex)) {
    return nullptr;
  }
  const std::lock_guard lock(_mutex);
  return column[static_cast<std::size_t>(trackIndex)];
}

ZAR_DAWMuteRecMatrix::ModeColumn ZAR_DAWMuteRecMatrix::column(const ModeColumn& column) const {
  const std::lock_guard lock(_mutex);
  return column;
}

void ZAR_DAWMuteRecMatrix::setColumn(ModeColumn& column, ModeColumn modes) {
  const auto none = ZAR_DAWAudioTrackMode::nullTrackMode();
  for (auto& mode : modes) {
    if (!mode) {
      mode = none;
    }
  }
  const std::lock_guard lock(_mutex);
  column = std::move(modes);
}
