#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "ZAR_DAWControl/modes/SettingsFile.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackMode.h"

/// The user's ordered list of track modes, kept in "AudioTrackModeList.bin" in the application
/// support directory. Every structural change rewrites the file at once. A missing file means a
/// first start; a damaged one (unparsable, or not what was last saved there) is ignored, left as
/// it is and kept aside; a failed write leaves the list in memory as it is. `zar::modes::SettingsFile`
/// says what is logged, kept and told to the host. The null mode is never part of the list.
class ZAR_DAWAudioTrackModeList {
 public:
  using ModeSequence = std::vector<std::shared_ptr<ZAR_DAWAudioTrackMode>>;

  /// The name of the list file in the application support directory.
  static constexpr const char* fileName = "AudioTrackModeList.bin";

  /// An empty list, then filled from the file, or with the four default modes (written at once)
  /// when there is no file.
  ZAR_DAWAudioTrackModeList();
  ZAR_DAWAudioTrackModeList(const ZAR_DAWAudioTrackModeList&) = delete;
  ZAR_DAWAudioTrackModeList& operator=(const ZAR_DAWAudioTrackModeList&) = delete;

  /// The modes in list order. This is the live sequence, not a copy: later changes show through.
  /// Don't hold on to it while another thread adds or removes modes.
  std::shared_ptr<const ModeSequence> audioTrackModes() const;

  /// Appends the mode and saves. An absent mode, and a mode with the null uuid
  /// `ZAR_DAWAudioTrackModeNullUUID` (logged), are refused and nothing is written.
  void addAudioTrackMode(std::shared_ptr<ZAR_DAWAudioTrackMode> mode);
  /// Removes every occurrence of that very object and saves, even when it was not in the list.
  void removeAudioTrackMode(const std::shared_ptr<ZAR_DAWAudioTrackMode>& mode);
  /// Removes the modes at the given positions (counted as the list stood before the call) and
  /// saves. If any position lies outside the list, nothing is removed, nothing is written and the
  /// result is false.
  bool removeAudioTrackModesAtIndexes(const std::set<std::size_t>& indexes);

  /// The first mode in list order whose uuid is exactly `uuid`; the null mode when none is (and
  /// for absent text, which matches nothing, and for the null uuid, which names the null mode
  /// even if a mode in the list has since been given it).
  std::shared_ptr<ZAR_DAWAudioTrackMode> modeWithUUID(std::optional<std::string_view> uuid) const;
  /// What `modeWithUUID` gives for each of `uuids`, in order, found with one walk over the list
  /// instead of one per uuid (a matrix restore resolves 192 of them).
  ModeSequence modesWithUUIDs(const std::vector<std::string>& uuids) const;

  /// Writes the whole list to the file.
  void saveChanges() const;
  /// Appends the modes of the file to the list, or the default modes (and saves them) when there
  /// is no file. A damaged file adds nothing and writes nothing. An entry with the null uuid is
  /// skipped (logged): taken in, it would be the mode of every unassigned position.
  void restoreListFromFile();
  /// What the host was told about the list file that still holds (see `SettingsFile`).
  std::vector<ZAR_DAWSettingsFileStatus> settingsFileStatuses() const;

  std::shared_ptr<ModeSequence> internalModeList() const;
  /// Replaces the sequence; an absent one stands for an empty list. Does not save. Absent entries
  /// in it are passed over by lookups and saves.
  void setInternalModeList(std::shared_ptr<ModeSequence> modes);

 private:
  mutable std::mutex _mutex;
  std::shared_ptr<ModeSequence> _internalModeList;
  const zar::modes::SettingsFile _file{fileName};
};
