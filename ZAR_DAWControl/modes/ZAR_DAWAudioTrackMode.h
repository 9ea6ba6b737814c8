#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "ZAR_DAWControl/modes/ZAR_DAWTrackState.h"
#include "ZAR_DAWControl/modes/ZAR_ProtobufSerializable.h"

/// The uuid of the null mode. At 29 characters it can never equal a generated (16-character) uuid.
inline constexpr const char* ZAR_DAWAudioTrackModeNullUUID = "ZAR_DAWAudioTrackModeNullUUID";

/// A named triple of track states: the state a track is put into before, during and after a cue.
/// Modes are shared objects compared by identity: the mode list holds them and the matrix refers
/// to the very same objects, so a change to a mode shows wherever it is assigned. Each property is
/// read and replaced indivisibly; nothing spanning several properties is.
///
/// Name and uuid are always valid UTF-8, so both settings files hold text that any reader takes.
/// Text that the host hands in is repaired here, where it enters: `setName` and `setUuid` replace
/// each ill-formed sequence with U+FFFD (as reading a message does), and keep valid text as it is.
class ZAR_DAWAudioTrackMode final : public ZAR_ProtobufSerializable {
 public:
  /// A new mode: no name, Play before, during and after, and a fresh random 16-character uuid.
  ZAR_DAWAudioTrackMode();
  ZAR_DAWAudioTrackMode(const ZAR_DAWAudioTrackMode&) = delete;
  ZAR_DAWAudioTrackMode& operator=(const ZAR_DAWAudioTrackMode&) = delete;

  /// The one shared null mode ("none", states -1, uuid `ZAR_DAWAudioTrackModeNullUUID`), which
  /// stands for "no mode assigned". Recognise it by identity, never by name or uuid.
  static std::shared_ptr<ZAR_DAWAudioTrackMode> nullTrackMode();

  /// A mode made from a `ZAR_ProtoDAWAudioTrackMode` message: its name, uuid and states are taken
  /// as they are (states without a range check; absent fields read as empty text and Play). Bytes
  /// that are not UTF-8 become U+FFFD. No uuid is generated. Nothing for a null pointer.
  static std::shared_ptr<ZAR_DAWAudioTrackMode> createWithProtoObject(const void* protoObject);
  /// Writes the mode into a `ZAR_ProtoDAWAudioTrackMode` message, replacing every field. An absent
  /// name or uuid is written as empty text, which the wire format leaves out, so it reads back as
  /// empty rather than absent. Does nothing for a null pointer.
  void fillProtoObject(void* protoObject) const override;

  std::optional<std::string> name() const;
  /// Takes the name, repaired to valid UTF-8.
  void setName(std::optional<std::string> name);
  ZAR_DAWTrackState beforeState() const { return _beforeState.load(); }
  void setBeforeState(ZAR_DAWTrackState state) { _beforeState.store(state); }
  ZAR_DAWTrackState duringState() const { return _duringState.load(); }
  void setDuringState(ZAR_DAWTrackState state) { _duringState.store(state); }
  ZAR_DAWTrackState afterState() const { return _afterState.load(); }
  void setAfterState(ZAR_DAWTrackState state) { _afterState.store(state); }
  std::optional<std::string> uuid() const;
  /// Takes the uuid, repaired to valid UTF-8.
  void setUuid(std::optional<std::string> uuid);
  /// Whether the uuid is present and exactly `text`, compared without copying it out (lookups
  /// compare every mode of a list).
  bool hasUuid(std::string_view text) const;

 private:
  struct NoUuid {};
  explicit ZAR_DAWAudioTrackMode(NoUuid);

  mutable std::mutex _textMutex;
  std::optional<std::string> _name;
  std::atomic<ZAR_DAWTrackState> _beforeState{ZAR_DAWTrackStatePlay};
  std::atomic<ZAR_DAWTrackState> _duringState{ZAR_DAWTrackStatePlay};
  std::atomic<ZAR_DAWTrackState> _afterState{ZAR_DAWTrackStatePlay};
  std::optional<std::string> _uuid;
};
