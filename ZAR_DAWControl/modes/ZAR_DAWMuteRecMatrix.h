#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "ZAR_DAWControl/modes/SettingsFile.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackMode.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"

/// The mode of every track position (0 to 63) for rehearsing, recording and reviewing, kept in
/// "RecMuteMatrix.bin" as mode uuids and resolved through the mode list. Every entry always holds
/// a mode; the null mode means none is assigned. Each assignment rewrites the file at once; a
/// damaged file is kept aside, and so is a file whose assignments name modes the list doesn't have
/// (see `zar::modes::SettingsFile`).
///
/// Track indexes outside 0 to 63, negative ones included, have no entries: setters ignore them
/// and getters return nothing (which is not the null mode).
class ZAR_DAWMuteRecMatrix {
 public:
  static constexpr std::size_t trackCount = 64;
  using ModeColumn = std::array<std::shared_ptr<ZAR_DAWAudioTrackMode>, trackCount>;

  /// The name of the matrix file in the application support directory.
  static constexpr const char* fileName = "RecMuteMatrix.bin";

  /// The all-null matrix, then restored from the file, or written at once when there is none.
  /// The matrix refers to the list without keeping it alive.
  explicit ZAR_DAWMuteRecMatrix(const std::shared_ptr<ZAR_DAWAudioTrackModeList>& audioTrackModeList);
  ZAR_DAWMuteRecMatrix(const ZAR_DAWMuteRecMatrix&) = delete;
  ZAR_DAWMuteRecMatrix& operator=(const ZAR_DAWMuteRecMatrix&) = delete;

  /// Stores the mode and saves. An absent mode stores the null mode, which clears the assignment.
  void setRehearseMode(std::shared_ptr<ZAR_DAWAudioTrackMode> mode, std::int32_t trackIndex);
  std::shared_ptr<ZAR_DAWAudioTrackMode> rehearseModeAtTrackIndex(std::int32_t trackIndex) const;
  void setRecordMode(std::shared_ptr<ZAR_DAWAudioTrackMode> mode, std::int32_t trackIndex);
  std::shared_ptr<ZAR_DAWAudioTrackMode> recordModeAtTrackIndex(std::int32_t trackIndex) const;
  void setReviewMode(std::shared_ptr<ZAR_DAWAudioTrackMode> mode, std::int32_t trackIndex);
  std::shared_ptr<ZAR_DAWAudioTrackMode> reviewModeAtTrackIndex(std::int32_t trackIndex) const;

  /// Writes all 3 x 64 entries to the file.
  void saveChanges() const;
  /// Replaces every entry with the mode that the file names; writes nothing. A damaged file changes
  /// nothing. A position that the file has no entry for (a short list, or no file at all, which
  /// reads as empty) gets the null mode, as an unknown uuid does; so does every position once the
  /// list is gone, since nothing can be resolved then. When any entry names a mode the list lacks,
  /// the file is kept aside as `RecMuteMatrix.bin.modes-not-found-<time>` and the host told.
  void restoreMatrixFromFile();
  /// What the host was told about the matrix file that still holds (see `SettingsFile`).
  std::vector<ZAR_DAWSettingsFileStatus> settingsFileStatuses() const;

  /// Copies of the columns. The setters replace a whole column without saving; absent entries in
  /// it are stored as the null mode.
  ModeColumn rehearseModes() const;
  void setRehearseModes(ModeColumn modes);
  ModeColumn recordModes() const;
  void setRecordModes(ModeColumn modes);
  ModeColumn reviewModes() const;
  void setReviewModes(ModeColumn modes);

  /// The list, or nothing once it is gone.
  std::shared_ptr<ZAR_DAWAudioTrackModeList> audioTrackModeList() const;
  void setAudioTrackModeList(const std::shared_ptr<ZAR_DAWAudioTrackModeList>& list);

 private:
  using ModeSequence = ZAR_DAWAudioTrackModeList::ModeSequence;
  zar::modes::SettingsFile::Loaded restoreFromFile();
  void setMode(ModeColumn& column, std::shared_ptr<ZAR_DAWAudioTrackMode> mode, std::int32_t trackIndex);
  std::shared_ptr<ZAR_DAWAudioTrackMode> modeAt(const ModeColumn& column, std::int32_t trackIndex) const;
  ModeColumn column(const ModeColumn& column) const;
  void setColumn(ModeColumn& column, ModeColumn modes);

  const zar::modes::SettingsFile _file{fileName};
  mutable std::mutex _mutex;
  ModeColumn _rehearseModes;
  ModeColumn _recordModes;
  ModeColumn _reviewModes;
  std::weak_ptr<ZAR_DAWAudioTrackModeList> _audioTrackModeList;
};
