#include "ZAR_DAWControl/platform/x11/X11Workspace.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>


namespace zar::x11 {

X11Workspace::X11Workspace(std::shared_ptr<X11Display> display, std::shared_ptr<AtspiMirror> mirror,
                           platform::HostIdentity host)
    : _display(std::move(display)), _mirror(std::move(mirror)), _host(std::move(host)) {}

std::optional<std::string> X11Workspace::programURL(std::int32_t pid) {
  std::error_code error;
  const auto path = std::filesystem::read_symlink("/proc/" + std::to_string(pid) + "/exe", error);
  if (error || path.empty()) return std::nullopt;
  return "file://" + path.string();
}

std::vector<X11Workspace::Listed> X11Workspace::listed() {
  std::vector<Listed> result;
  for (const auto& application : _mirror->applications()) {
    auto running = std::make_shared<platform::RunningApplication>();
    running->processIdentifier = application.pid;
    const bool host = application.pid == static_cast<std::int32_t>(::getpid());
    running->bundleIdentifier = host ? _host.bundleIdentifier : application.name;
    running->localizedName = host ? _host.applicationName : application.name;
    running->bundleURL = programURL(application.pid);
    result.push_back(Listed{std::move(running), application.description});
  }
  return result;
}

std::vector<platform::RunningApplicationRef> X11Workspace::runningApplications() {
  std::vector<platform::RunningApplicationRef> applications;
  for (auto& entry : listed()) applications.push_back(std::move(entry.application));
  return applications;
}

platform::RunningApplicationRef X11Workspace::runningApplicationWithProcessIdentifier(std::int32_t pid) {
  for (auto& entry : listed()) {
    if (entry.application->processIdentifier == pid) return std::move(entry.application);
  }
  return nullptr;
}

std::optional<platform::PropertyDictionary> X11Workspace::bundleInfoDictionary(const std::string& bundleURL) {
  for (const auto& entry : listed()) {
    const auto& application = *entry.application;
    if (application.bundleURL != bundleURL) continue;
    platform::PropertyDictionary info;
    info["CFBundleIdentifier"] = application.bundleIdentifier.value_or("");
    info["CFBundleName"] = application.localizedName.value_or("");
    info["CFBundleExecutable"] = bundleURL.substr(std::string_view("file://").size());
    if (!entry.version.empty()) info["CFBundleVersion"] = entry.version;
    return info;
  }
  return std::nullopt;
}

std::optional<platform::PropertyDictionary> X11Workspace::activeApplication() {
  if (!_display->connected()) return std::nullopt;
  std::optional<std::int32_t> pid;
  {
    std::lock_guard lock(_display->mutex());
    if (const auto window = _display->activeWindowLocked()) pid = _display->pidOfWindowLocked(*window);
  }
  if (!pid) return std::nullopt;
  platform::PropertyDictionary dictionary;
  dictionary["NSApplicationProcessIdentifier"] = std::int64_t{*pid};
  if (*pid == static_cast<std::int32_t>(::getpid())) {
    dictionary["NSApplicationBundleIdentifier"] = _host.bundleIdentifier;
    dictionary["NSApplicationName"] = _host.applicationName;
  } else if (const auto running = runningApplicationWithProcessIdentifier(*pid)) {
    dictionary["NSApplicationBundleIdentifier"] = running->bundleIdentifier.value_or("");
    dictionary["NSApplicationName"] = running->localizedName.value_or("");
  }
  return dictionary;
}

std::string X11Workspace::mainBundleIdentifier() { return _host.bundleIdentifier; }

void X11Workspace::activateIgnoringOtherApps(bool flag) {
  if (!_display->connected()) return;
  std::lock_guard lock(_display->mutex());
  if (!flag && _display->activeWindowLocked()) return;
  const auto windows = _display->windowsOfProcessLocked(static_cast<std::int32_t>(::getpid()));
  if (!windows.empty()) _display->activateLocked(windows.front());
}

std::int32_t X11Workspace::getProcessForPID(std::int32_t pid, platform::ProcessSerialNumber& psn) {
  if (pid <= 0 || (::kill(pid, 0) != 0 && errno != EPERM)) {
    psn = {};
    return platform::ProcessLookupProcNotFound;
  }
  psn = {0, static_cast<std::uint32_t>(pid)};
  return platform::ProcessLookupNoErr;
}

}  // namespace zar::x11
