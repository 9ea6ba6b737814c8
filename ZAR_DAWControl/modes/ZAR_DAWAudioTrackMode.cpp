#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackMode.h"

#include "ZAR_DAWControl/modes/ZAR_DAWSettings.pb.h"
#include "ZAR_DAWControl/platform/utility/RandomString.h"
#include "ZAR_DAWControl/platform/utility/Utf8Text.h"

namespace {
constexpr std::size_t uuidLength = 16;
}  // namespace

ZAR_DAWAudioTrackMode::ZAR_DAWAudioTrackMode() : _uuid(zar::platform::randomStringWithLength(uuidLength)) {}

ZAR_DAWAudioTrackMode::ZAR_DAWAudioTrackMode(NoUuid) {}

std::shared_ptr<ZAR_DAWAudioTrackMode> ZAR_DAWAudioTrackMode::nullTrackMode() {
  // A function-local static: made once, safely even if two threads ask first at the same time.
  static const std::shared_ptr<ZAR_DAWAudioTrackMode> nullMode = [] {
    auto mode = std::make_shared<ZAR_DAWAudioTrackMode>();
    mode->setName("none");
    mode->setBeforeState(static_cast<ZAR_DAWTrackState>(ZAR_DAWTrackStateNone));
    mode->setDuringState(static_cast<ZAR_DAWTrackState>(ZAR_DAWTrackStateNone));
    mode->setAfterState(static_cast<ZAR_DAWTrackState>(ZAR_DAWTrackStateNone));
    mode->setUuid(ZAR_DAWAudioTrackModeNullUUID);
    return mode;
  }();
  return nullMode;
}

std::shared_ptr<ZAR_DAWAudioTrackMode> ZAR_DAWAudioTrackMode::createWithProtoObject(const void* protoObject) {
  if (protoObject == nullptr) {
    return nullptr;
  }
  const auto& message = *static_cast<const ZAR_ProtoDAWAudioTrackMode*>(protoObject);
  // make_shared cannot reach the private constructor.
  std::shared_ptr<ZAR_DAWAudioTrackMode> mode(new ZAR_DAWAudioTrackMode(NoUuid{}));
  mode->_name = zar::platform::Utf8Text::repaired(message.name());
  mode->_uuid = zar::platform::Utf8Text::repaired(message.uuid());
  mode->_beforeState = static_cast<ZAR_DAWTrackState>(message.beforestate());
  mode->_duringState = static_cast<ZAR_DAWTrackState>(message.duringstate());
  mode->_afterState = static_cast<ZAR_DAWTrackState>(message.afterstate());
  return mode;
}

void ZAR_DAWAudioTrackMode::fillProtoObject(void* protoObject) const {
  if (protoObject == nullptr) {
    return;
  }
  auto& message = *static_cast<ZAR_ProtoDAWAudioTrackMode*>(protoObject);
  message.set_name(name().value_or(std::string()));
  message.set_beforestate(beforeState());
  message.set_duringstate(duringState());
  message.set_afterstate(afterState());
  message.set_uuid(uuid().value_or(std::string()));
}

std::optional<std::string> ZAR_DAWAudioTrackMode::name() const {
  const std::lock_guard lock(_textMutex);
  return _name;
}

void ZAR_DAWAudioTrackMode::setName(std::optional<std::string> name) {
  if (name) *name = zar::platform::Utf8Text::repaired(*name);
  const std::lock_guard lock(_textMutex);
  _name = std::move(name);
}

std::optional<std::string> ZAR_DAWAudioTrackMode::uuid() const {
  const std::lock_guard lock(_textMutex);
  return _uuid;
}

void ZAR_DAWAudioTrackMode::setUuid(std::optional<std::string> uuid) {
  if (uuid) *uuid = zar::platform::Utf8Text::repaired(*uuid);
  const std::lock_guard lock(_textMutex);
  _uuid = std::move(uuid);
}

bool ZAR_DAWAudioTrackMode::hasUuid(std::string_view text) const {
  const std::lock_guard lock(_textMutex);
  return _uuid && *_uuid == text;
}
