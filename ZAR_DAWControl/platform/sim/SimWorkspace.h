#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/Workspace.h"
#include "ZAR_DAWControl/platform/sim/SimApplication.h"

namespace zar::sim {

/// The simulated desktop's running applications. The host application itself runs from the start
/// and is active then. Applications are listed in launch order; the front-to-back order (which
/// mouse events follow) puts the active application first, then the others from the most recently
/// active, and a newly launched application at the back.
class SimWorkspace final : public platform::Workspace {
 public:
  explicit SimWorkspace(const platform::HostIdentity& host);

  std::shared_ptr<SimApplication> hostApplication() const { return _host; }
  /// Starts an application; refused (false) for a null one, a process id of 0 or less, or one
  /// already in use. Its bundle stays known after it quits.
  bool launch(const std::shared_ptr<SimApplication>& application);
  /// Quits an application: it leaves the workspace and all its elements stop answering. When it
  /// was active, the host becomes active. The host itself can't quit (false).
  bool quit(std::int32_t pid);
  /// Makes a running application the active one; false when none has that process id.
  bool activate(std::int32_t pid);
  /// A process id no running application has.
  std::int32_t unusedProcessIdentifier() const;

  std::shared_ptr<SimApplication> application(std::int32_t pid) const;
  std::shared_ptr<SimApplication> application(const platform::ProcessSerialNumber& psn) const;
  /// The active application, or null when none is.
  std::shared_ptr<SimApplication> frontmostApplication() const;
  /// The running applications in launch order.
  std::vector<std::shared_ptr<SimApplication>> applications() const;
  std::vector<std::shared_ptr<SimApplication>> applicationsFrontToBack() const;

  std::vector<platform::RunningApplicationRef> runningApplications() override;
  platform::RunningApplicationRef runningApplicationWithProcessIdentifier(std::int32_t pid) override;
  std::optional<platform::PropertyDictionary> bundleInfoDictionary(const std::string& bundleURL) override;
  std::optional<platform::PropertyDictionary> activeApplication() override;
  std::string mainBundleIdentifier() override;
  /// With true the host becomes active; with false only when no application is active.
  void activateIgnoringOtherApps(bool flag) override;
  std::int32_t getProcessForPID(std::int32_t pid, platform::ProcessSerialNumber& psn) override;

 private:
  struct Running {
    std::shared_ptr<SimApplication> application;
    platform::ProcessSerialNumber psn;
  };

  const Running* find(std::int32_t pid) const;
  void bringToFront(std::int32_t pid);
  static platform::RunningApplicationRef describe(const SimApplication& application);

  const platform::HostIdentity _hostIdentity;
  const std::shared_ptr<SimApplication> _host;
  mutable std::mutex _mutex;
  std::vector<Running> _running;
  std::vector<std::int32_t> _frontToBack;
  std::optional<std::int32_t> _active;
  std::map<std::string, platform::PropertyDictionary> _bundles;
  std::uint32_t _nextSerialNumber = 0x1001;
};

}  // namespace zar::sim
