#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "ZAR_DAWControl/daw/ZAR_DAWApplication.h"
#include "ZAR_DAWControl/modes/ZAR_DAWSettingsFileStatus.h"
#include "ZAR_DAWControl/platform/RunLoop.h"
#include "ZAR_DAWControl/platform/Workspace.h"

namespace zar::passes {
class PassLog;
}

class ZAR_DAWAudioTrackModeList;
class ZAR_DAWMuteRecMatrix;
struct ZAR_DAWPassRecord;

/// The framework's entry point. Once allowed and enabled, it looks for a running Pro Tools every
/// 2.5 seconds, keeps the application object for it while it stays connected, and announces each
/// change with "ZAR_DAWApplicationAdded" and "ZAR_DAWApplicationRemoved". It also owns the user's
/// track mode list and mute/rec matrix, and the pass log beside them ("PassLog.jsonl").
///
/// Discovery passes never overlap: a pass that starts while another runs does nothing, so two
/// passes can't both create an application or announce it twice. No lock is held while the
/// notifications are posted, so an observer may wait for work of any other thread (the main run
/// loop, say) while that thread disables the manager or starts a pass.
class ZAR_DAWApplicationManager : public std::enable_shared_from_this<ZAR_DAWApplicationManager> {
 public:
  /// The one instance, made on the first call: one per installed platform, so a process that
  /// installs its platform once has exactly one manager for its whole life.
  static std::shared_ptr<ZAR_DAWApplicationManager> sharedManager();

  /// Any thread; returns at once.
  std::shared_ptr<ZAR_DAWApplication> currentApplication() const;
  bool enabled() const { return _enabled.load(); }
  /// Enabling (only while allowed) runs the first discovery pass on the calling thread, so
  /// "ZAR_DAWApplicationAdded" may arrive before it returns; later passes run on the global queue
  /// and post there. Disabling stops discovery and drops the application, posting
  /// "ZAR_DAWApplicationRemoved" with no application current; it never waits for a pass: when one
  /// is posting, that pass drops the application once its observers have returned. Call it on the
  /// main thread.
  void setEnabled(bool enabled);
  bool allowed() const { return _allowed.load(); }
  void setAllowed(bool allowed) { _allowed.store(allowed); }
  std::shared_ptr<ZAR_DAWMuteRecMatrix> muteRecMatrix() const;
  std::shared_ptr<ZAR_DAWAudioTrackModeList> trackModeList() const;
  /// What the host was told with "ZAR_DAWSettingsFileStatus" that still holds, for the list's file
  /// then the matrix's: what was found when they were read, and saves failing now. Any thread.
  std::vector<ZAR_DAWSettingsFileStatus> settingsFileStatuses() const;
  /// The records of this process's last passes (at most 20), oldest first: each pass's black box
  /// as "ZAR_DAWApplicationPassEnded" carried it. Copies of the shared pointers; the records never
  /// change. Any thread; returns at once.
  std::vector<std::shared_ptr<const ZAR_DAWPassRecord>> recentPassRecords() const;
  /// Returns once every record handed to the pass log ("PassLog.jsonl" beside the settings files,
  /// while "ZAR_DAWKeepPassLog" is YES) is on disk, or failed to get there. The log is written by a
  /// thread of its own; the manager's destruction waits for it too. Any thread.
  void flushPassLog() const;
  zar::platform::TimerRef refreshTimer() const;

  /// Starts the 2.5-second discovery timer and runs a first pass on the calling thread.
  void startRefreshingDAWApplications();
  void stopRefreshingDAWApplications();
  /// A timer tick: hands a pass to the global queue and returns at once.
  void onRefreshDAWTimerRanOut(const zar::platform::TimerRef& timer);
  /// One discovery pass; does nothing while another pass runs.
  void refreshDAWs();
  /// The first running application of a DAW of that type, in the workspace's order.
  zar::platform::RunningApplicationRef scanOpenApplicationsForType(ZAR_DAWApplicationType type);

  ZAR_DAWApplicationManager(const ZAR_DAWApplicationManager&) = delete;
  ZAR_DAWApplicationManager& operator=(const ZAR_DAWApplicationManager&) = delete;
  ~ZAR_DAWApplicationManager();

 private:
  ZAR_DAWApplicationManager();

  mutable std::mutex _propertyMutex;
  std::shared_ptr<ZAR_DAWApplication> _currentApplication;
  std::shared_ptr<ZAR_DAWMuteRecMatrix> _muteRecMatrix;
  std::shared_ptr<ZAR_DAWAudioTrackModeList> _trackModeList;
  // Where the black box's finished records go on disk, while "ZAR_DAWKeepPassLog" says so.
  std::shared_ptr<zar::passes::PassLog> _passLog;
  zar::platform::TimerRef _refreshTimer;
  std::atomic<bool> _enabled{false};
  std::atomic<bool> _allowed{false};
  // Guarded by _propertyMutex: whether a pass runs, whether it is posting Added or Removed,
  // whether disabling came meanwhile (the pass then drops the application after posting), and how
  // often the manager was disabled (a pass installs nothing when that changed since it started).
  bool _passRunning = false;
  bool _announcing = false;
  bool _dropPending = false;
  std::uint64_t _generation = 0;
};
