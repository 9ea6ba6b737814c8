#pragma once

#include <memory>

#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/Workspace.h"
#include "ZAR_DAWControl/platform/x11/AtspiMirror.h"
#include "ZAR_DAWControl/platform/x11/X11Display.h"

namespace zar::x11 {

/// The running applications are those on the accessibility bus, in the registry's order.
///
/// - The identifier that stands for the bundle identifier is the name of the application's
///   accessible object (a GTK program sets it with `g_set_prgname`; the stand-in Pro Tools says
///   "com.avid.ProTools").
/// - The "bundle" is the program file (`/proc/<pid>/exe`, as a file URL); its information
///   dictionary holds "CFBundleIdentifier" and "CFBundleName" (the identifier),
///   "CFBundleExecutable" (the path) and, when the application's accessible object has a
///   description, "CFBundleVersion" (that description: a program announces its version there,
///   with `atk_object_set_description(atk_get_root(), ...)` in GTK). It is read from the running
///   application, so a bundle whose program no longer runs has no dictionary.
/// - The active application is the process (`_NET_WM_PID`) of the active window: the window
///   manager's `_NET_ACTIVE_WINDOW`, or without one the window with the keyboard focus.
/// - The host is this process: its entries carry the host's identity; activating it raises its
///   topmost window, when it has one.
/// - A process's serial number is {0, pid} for every process that runs.
class X11Workspace final : public platform::Workspace {
 public:
  X11Workspace(std::shared_ptr<X11Display> display, std::shared_ptr<AtspiMirror> mirror, platform::HostIdentity host);

  std::vector<platform::RunningApplicationRef> runningApplications() override;
  platform::RunningApplicationRef runningApplicationWithProcessIdentifier(std::int32_t pid) override;
  std::optional<platform::PropertyDictionary> bundleInfoDictionary(const std::string& bundleURL) override;
  std::optional<platform::PropertyDictionary> activeApplication() override;
  std::string mainBundleIdentifier() override;
  /// With false only when no application is active.
  void activateIgnoringOtherApps(bool flag) override;
  std::int32_t getProcessForPID(std::int32_t pid, platform::ProcessSerialNumber& psn) override;

  /// The file URL of a process's program, or nothing when it can't be read.
  static std::optional<std::string> programURL(std::int32_t pid);

 private:
  struct Listed {
    platform::RunningApplicationRef application;
    std::string version;
  };
  std::vector<Listed> listed();

  const std::shared_ptr<X11Display> _display;
  const std::shared_ptr<AtspiMirror> _mirror;
  const platform::HostIdentity _host;
};

}  // namespace zar::x11
