#pragma once

#include <string>

/// What the framework tells the host about one of its settings files, as the object of
/// "ZAR_DAWSettingsFileStatus" (`ZAR_DAWSettingsFileStatusNotification`): the user's modes or
/// assignments are at risk, or safe again, and where the copies that hold them are.
///
/// It is posted on the thread that read or saved the file: for what is found when the files are
/// read, the thread of the first `ZAR_DAWApplicationManager::sharedManager()`, once the manager is
/// made and before the call returns, so that the observer may ask for the manager (a host observes
/// before that call, or asks `ZAR_DAWApplicationManager::settingsFileStatuses()`); for a save, the
/// thread that changed the modes or the matrix. A failed save is posted once for a run of failed
/// saves of that file, and `writtenAgain` once when a save works again.
struct ZAR_DAWSettingsFileStatus {
  enum class Event {
    /// The file was not what the framework last saved there (cut, changed, unparsable, missing
    /// beside the copy of the last save, unreadable). Its content was not used; the file, as
    /// found, is kept at `keptCopyPath`, and the last version saved at `lastSavedCopyPath`.
    damaged,
    /// The matrix names modes the list doesn't have; those assignments read as no mode. The file,
    /// as found, is kept at `keptCopyPath`, so that restoring the list and it brings them back.
    modesNotFound,
    /// A save failed (something else in the way, no permission, a full disk): the changes live in
    /// memory only and are lost when the host quits unless a later save works.
    notWritten,
    /// A save worked again after `notWritten`.
    writtenAgain,
  };

  Event event = Event::damaged;
  /// The settings file.
  std::string path;
  /// What happened and what it means, in one or two sentences for the user.
  std::string description;
  /// Where the file, as it was found, is kept; empty when no copy was made (or none is needed).
  std::string keptCopyPath;
  /// Where the last version the framework saved is kept (`dawctl settings restore` brings it
  /// back); empty when there is none.
  std::string lastSavedCopyPath;
};
