#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"

#include <google/protobuf/arena.h>

#include <algorithm>
#include <array>
#include <unordered_map>
#include <utility>

#include "ZAR_DAWControl/modes/ZAR_DAWSettings.pb.h"
#include "ZAR_DAWControl/platform/Log.h"

namespace {

struct DefaultMode {
  const char* name;
  ZAR_DAWTrackState before;
  ZAR_DAWTrackState during;
  ZAR_DAWTrackState after;
};

constexpr std::array<DefaultMode, 4> defaultModes{{
    {"Play", ZAR_DAWTrackStatePlay, ZAR_DAWTrackStatePlay, ZAR_DAWTrackStatePlay},
    {"Mute", ZAR_DAWTrackStateMute, ZAR_DAWTrackStateMute, ZAR_DAWTrackStateMute},
    {"Input", ZAR_DAWTrackStateInput, ZAR_DAWTrackStateInput, ZAR_DAWTrackStateInput},
    {"Record", ZAR_DAWTrackStateInput, ZAR_DAWTrackStateRecord, ZAR_DAWTrackStateInput},
}};

}  // namespace

ZAR_DAWAudioTrackModeList::ZAR_DAWAudioTrackModeList() : _internalModeList(std::make_shared<ModeSequence>()) {
  restoreListFromFile();
}

std::shared_ptr<const ZAR_DAWAudioTrackModeList::ModeSequence> ZAR_DAWAudioTrackModeList::audioTrackModes() const {
  return internalModeList();
}

void ZAR_DAWAudioTrackModeList::addAudioTrackMode(std::shared_ptr<ZAR_DAWAudioTrackMode> mode) {
  if (!mode) {
    return;
  }
  if (mode->hasUuid(ZAR_DAWAudioTrackModeNullUUID)) {
    ZAR_LOG_ERROR("Mode \"{}\" is not added to the list: its uuid is the null mode's", mode->name().value_or(""));
    return;
  }
  {
    const std::lock_guard lock(_mutex);
    _internalModeList->push_back(std::move(mode));
  }
  saveChanges();
}

void ZAR_DAWAudioTrackModeList::removeAudioTrackMode(const std::shared_ptr<ZAR_DAWAudioTrackMode>& mode) {
  {
    const std::lock_guard lock(_mutex);
    std::erase(*_internalModeList, mode);
  }
  saveChanges();
}

bool ZAR_DAWAudioTrackModeList::removeAudioTrackModesAtIndexes(const std::set<std::size_t>& indexes) {
  {
    const std::lock_guard lock(_mutex);
    ModeSequence& modes = *_internalModeList;
    if (!indexes.empty() && *indexes.rbegin() >= modes.size()) {
      return false;
    }
    // From the back, so that the positions still to be removed keep their meaning.
    for (auto index = indexes.rbegin(); index != indexes.rend(); ++index) {
      modes.erase(modes.begin() + static_cast<std::ptrdiff_t>(*index));
    }
  }
  saveChanges();
  return true;
}

std::shared_ptr<ZAR_DAWAudioTrackMode> ZAR_DAWAudioTrackModeList::modeWithUUID(
    std::optional<std::string_view> uuid) const {
  if (uuid && *uuid != ZAR_DAWAudioTrackModeNullUUID) {
    const std::lock_guard lock(_mutex);
    for (const auto& mode : *_internalModeList) {
      if (mode && mode->hasUuid(*uuid)) {
        return mode;
      }
    }
  }
  return ZAR_DAWAudioTrackMode::nullTrackMode();
}

ZAR_DAWAudioTrackModeList::ModeSequence ZAR_DAWAudioTrackModeList::modesWithUUIDs(
    const std::vector<std::string>& uuids) const {
  std::unordered_map<std::string, std::shared_ptr<ZAR_DAWAudioTrackMode>> firstWithUuid;
  {
    const std::lock_guard lock(_mutex);
    firstWithUuid.reserve(_internalModeList->size());
    for (const auto& mode : *_internalModeList) {
      if (!mode) continue;
      if (std::optional<std::string> uuid = mode->uuid(); uuid && *uuid != ZAR_DAWAudioTrackModeNullUUID) {
        firstWithUuid.emplace(std::move(*uuid), mode);  // a later duplicate does not replace the first
      }
    }
  }
  ModeSequence modes;
  modes.reserve(uuids.size());
  for (const std::string& uuid : uuids) {
    const auto found = firstWithUuid.find(uuid);
    modes.push_back(found != firstWithUuid.end() ? found->second : ZAR_DAWAudioTrackMode::nullTrackMode());
  }
  return modes;
}

void ZAR_DAWAudioTrackModeList::saveChanges() const {
  // The arena makes the message's many small pieces one allocation.
  google::protobuf::Arena arena;
  auto& message = *google::protobuf::Arena::CreateMessage<ZAR_ProtoDAWAudioTrackModeList>(&arena);
  {
    const std::lock_guard lock(_mutex);
    for (const auto& mode : *_internalModeList) {
      if (mode) {
        mode->fillProtoObject(message.add_modes());
      }
    }
  }
  // A failed write leaves the old file (or none); the list in memory is what counts.
  _file.write(message.SerializeAsString());
}

void ZAR_DAWAudioTrackModeList::restoreListFromFile() {
  google::protobuf::Arena arena;
  auto& message = *google::protobuf::Arena::CreateMessage<ZAR_ProtoDAWAudioTrackModeList>(&arena);
  switch (_file.readInto(message, "a mode list")) {
    case zar::modes::SettingsFile::Loaded::missing:
      for (const DefaultMode& values : defaultModes) {
        auto mode = std::make_shared<ZAR_DAWAudioTrackMode>();
        mode->setBeforeState(values.before);
        mode->setDuringState(values.during);
        mode->setAfterState(values.after);
        mode->setName(values.name);
        const std::lock_guard lock(_mutex);
        _internalModeList->push_back(std::move(mode));
      }
      saveChanges();
      return;
    case zar::modes::SettingsFile::Loaded::refused:
      return;
    case zar::modes::SettingsFile::Loaded::taken:
      break;
  }
  ModeSequence restored;
  restored.reserve(static_cast<std::size_t>(message.modes_size()));
  for (const ZAR_ProtoDAWAudioTrackMode& entry : message.modes()) {
    auto mode = ZAR_DAWAudioTrackMode::createWithProtoObject(&entry);
    if (mode->hasUuid(ZAR_DAWAudioTrackModeNullUUID)) {
      ZAR_LOG_ERROR("Mode \"{}\" in {} has the null mode's uuid; it is skipped", mode->name().value_or(""),
                    _file.path().value_or(fileName));
      continue;
    }
    restored.push_back(std::move(mode));
  }
  const std::lock_guard lock(_mutex);
  _internalModeList->insert(_internalModeList->end(), restored.begin(), restored.end());
}

std::vector<ZAR_DAWSettingsFileStatus> ZAR_DAWAudioTrackModeList::settingsFileStatuses() const {
  return _file.standingStatuses();
}

std::shared_ptr<ZAR_DAWAudioTrackModeList::ModeSequence> ZAR_DAWAudioTrackModeList::internalModeList() const {
  const std::lock_guard lock(_mutex);
  return _internalModeList;
}

void ZAR_DAWAudioTrackModeList::setInternalModeList(std::shared_ptr<ModeSequence> modes) {
  const std::lock_guard lock(_mutex);
  _internalModeList = modes ? std::move(modes) : std::make_shared<ModeSequence>();
}
