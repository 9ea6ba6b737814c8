#pragma once

// Every name and value the framework exports to the host.

// Notifications, posted on the platform's notification center with no object unless said.
inline constexpr const char* ZAR_DAWApplicationAddedNotification = "ZAR_DAWApplicationAdded";
inline constexpr const char* ZAR_DAWApplicationRemovedNotification = "ZAR_DAWApplicationRemoved";
inline constexpr const char* ZAR_DAWApplicationRecordStartedNotification = "ZAR_DAWApplicationRecordStarted";
inline constexpr const char* ZAR_DAWApplicationSelectionChangedNotification = "ZAR_DAWApplicationSelectionChanged";
inline constexpr const char* ZAR_DAWApplicationTrackNamesChangedNotification = "ZAR_DAWApplicationTrackNamesChanged";
/// Posted with a `ZAR_DAWSettingsFileStatus` as its object when a settings file is found damaged,
/// can't be saved, or is saved again (see ZAR_DAWSettingsFileStatus.h for the thread).
inline constexpr const char* ZAR_DAWSettingsFileStatusNotification = "ZAR_DAWSettingsFileStatus";
/// Posted at the end of every pass (rehearse, record, review: at `stopPlayback`, at the next pass,
/// or when the framework lets go of Pro Tools) with the pass's record, a
/// `std::shared_ptr<const ZAR_DAWPassRecord>`, as its object, on the thread that ended the pass.
inline constexpr const char* ZAR_DAWApplicationPassEndedNotification = "ZAR_DAWApplicationPassEnded";
/// A name for the host's own use; the framework never posts it.
inline constexpr const char* ZAR_DAWAudioTrackRecTracksChangedNotification = "ZAR_DAWAudioTrackRecTracksChanged";

// Preference keys.
inline constexpr const char* ZAR_DAWSelectEventOnListSelectionPrefKey = "ZAR_DAWSelectEventOnListSelection";
inline constexpr const char* ZAR_DAWAssignRecordTracksAutomaticallyPrefKey = "ZAR_DAWAssignRecordTracksAutomatically";
inline constexpr const char* ZAR_DAWAudioTrackNameCharacterPrefixPrefKey = "ZAR_DAWAudioTrackNameCharacterPrefix";
inline constexpr const char* ZAR_DAWAudioTrackNameNumRecordsPrefKey = "ZAR_DAWAudioTrackNameNumRecords";
inline constexpr const char* ZAR_DAWAudioTrackNameCueNumberPrefKey = "ZAR_DAWAudioTrackNameCueNumber";
/// Whether every pass's record is also appended to "PassLog.jsonl" in the application support
/// directory, beside the settings files (`dawctl takes` reads it). YES by default: a record helps
/// only when it was kept before anything went wrong, and keeping it costs a pass nothing (it is
/// written by a thread of its own, and the file is bounded to the last 500 passes). Read at the end
/// of every pass, so a change takes effect at the next.
inline constexpr const char* ZAR_DAWKeepPassLogPrefKey = "ZAR_DAWKeepPassLog";
inline constexpr const char* ZAR_DAWNotAvailableSuppression = "ZAR_DAWNotAvailableSuppression";
inline constexpr const char* ZAR_DAWHUINotAvailableSuppression = "ZAR_DAWHUINotAvailableSuppression";

/// The framework's version number.
extern const double ZAR_DAWControlVersionNumber;
/// The framework's version string (two blanks before PROJECT, a line feed at the end).
extern const unsigned char ZAR_DAWControlVersionString[];
