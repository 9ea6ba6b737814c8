#include "ZAR_DAWControl/platform/sim/SimWorkspace.h"

#include <unistd.h>

#include <algorithm>

namespace zar::sim {

namespace {

std::shared_ptr<SimApplication> makeHost(const platform::HostIdentity& host) {
  SimApplication::Info info;
  // The host is this very process.
  info.processIdentifier = static_cast<std::int32_t>(::getpid());
  info.bundleIdentifier = host.bundleIdentifier;
  info.localizedName = host.applicationName;
  info.bundleURL = "file:///Applications/" + host.applicationName + ".app/";
  info.infoDictionary = {{"CFBundleIdentifier", host.bundleIdentifier},
                         {"CFBundleName", host.applicationName},
                         {"CFBundleVersion", "1.0"}};
  return std::make_shared<SimApplication>(std::move(info));
}

}  // namespace

SimWorkspace::SimWorkspace(const platform::HostIdentity& host) : _hostIdentity(host), _host(makeHost(host)) {
  launch(_host);
  activate(_host->processIdentifier());
}

const SimWorkspace::Running* SimWorkspace::find(std::int32_t pid) const {
  const auto it = std::find_if(_running.begin(), _running.end(),
                               [&](const Running& r) { return r.application->processIdentifier() == pid; });
  return it == _running.end() ? nullptr : &*it;
}

bool SimWorkspace::launch(const std::shared_ptr<SimApplication>& application) {
  if (!application || application->processIdentifier() <= 0) {
    return false;
  }
  std::lock_guard lock(_mutex);
  if (find(application->processIdentifier()) != nullptr) {
    return false;
  }
  _running.push_back(Running{application, platform::ProcessSerialNumber{0, _nextSerialNumber++}});
  _frontToBack.push_back(application->processIdentifier());
  if (application->info().bundleURL) {
    _bundles[*application->info().bundleURL] = application->info().infoDictionary;
  }
  return true;
}

bool SimWorkspace::quit(std::int32_t pid) {
  std::shared_ptr<SimApplication> quitting;
  {
    std::lock_guard lock(_mutex);
    if (pid == _host->processIdentifier()) {
      return false;
    }
    const auto it = std::find_if(_running.begin(), _running.end(),
                                 [&](const Running& r) { return r.application->processIdentifier() == pid; });
    if (it == _running.end()) {
      return false;
    }
    quitting = it->application;
    _running.erase(it);
    std::erase(_frontToBack, pid);
    if (_active == pid) {
      _active = _host->processIdentifier();
      bringToFront(*_active);
    }
  }
  quitting->invalidateElements();
  return true;
}

void SimWorkspace::bringToFront(std::int32_t pid) {
  std::erase(_frontToBack, pid);
  _frontToBack.insert(_frontToBack.begin(), pid);
}

bool SimWorkspace::activate(std::int32_t pid) {
  std::lock_guard lock(_mutex);
  if (find(pid) == nullptr) {
    return false;
  }
  _active = pid;
  bringToFront(pid);
  return true;
}

std::int32_t SimWorkspace::unusedProcessIdentifier() const {
  std::lock_guard lock(_mutex);
  std::int32_t pid = 1000;
  while (find(pid) != nullptr) {
    ++pid;
  }
  return pid;
}

std::shared_ptr<SimApplication> SimWorkspace::application(std::int32_t pid) const {
  std::lock_guard lock(_mutex);
  const auto* running = find(pid);
  return running ? running->application : nullptr;
}

std::shared_ptr<SimApplication> SimWorkspace::application(const platform::ProcessSerialNumber& psn) const {
  std::lock_guard lock(_mutex);
  const auto it = std::find_if(_running.begin(), _running.end(), [&](const Running& r) { return r.psn == psn; });
  return it == _running.end() ? nullptr : it->application;
}

std::shared_ptr<SimApplication> SimWorkspace::frontmostApplication() const {
  std::lock_guard lock(_mutex);
  const auto* running = _active ? find(*_active) : nullptr;
  return running ? running->application : nullptr;
}

std::vector<std::shared_ptr<SimApplication>> SimWorkspace::applications() const {
  std::lock_guard lock(_mutex);
  std::vector<std::shared_ptr<SimApplication>> result;
  for (const auto& running : _running) {
    result.push_back(running.application);
  }
  return result;
}

std::vector<std::shared_ptr<SimApplication>> SimWorkspace::applicationsFrontToBack() const {
  std::lock_guard lock(_mutex);
  std::vector<std::shared_ptr<SimApplication>> result;
  for (const auto pid : _frontToBack) {
    result.push_back(find(pid)->application);
  }
  return result;
}

platform::RunningApplicationRef SimWorkspace::describe(const SimApplication& application) {
  auto described = std::make_shared<platform::RunningApplication>();
  described->processIdentifier = application.processIdentifier();
  described->bundleIdentifier = application.info().bundleIdentifier;
  described->bundleURL = application.info().bundleURL;
  described->localizedName = application.info().localizedName;
  return described;
}

std::vector<platform::RunningApplicationRef> SimWorkspace::runningApplications() {
  std::vector<platform::RunningApplicationRef> result;
  for (const auto& application : applications()) {
    result.push_back(describe(*application));
  }
  return result;
}

platform::RunningApplicationRef SimWorkspace::runningApplicationWithProcessIdentifier(std::int32_t pid) {
  const auto found = application(pid);
  return found ? describe(*found) : nullptr;
}

std::optional<platform::PropertyDictionary> SimWorkspace::bundleInfoDictionary(const std::string& bundleURL) {
  std::lock_guard lock(_mutex);
  const auto it = _bundles.find(bundleURL);
  if (it == _bundles.end()) {
    return std::nullopt;
  }
  return it->second;
}

std::optional<platform::PropertyDictionary> SimWorkspace::activeApplication() {
  const auto active = frontmostApplication();
  if (!active) {
    return std::nullopt;
  }
  platform::PropertyDictionary dictionary;
  dictionary["NSApplicationProcessIdentifier"] = std::int64_t{active->processIdentifier()};
  if (active->info().bundleIdentifier) {
    dictionary["NSApplicationBundleIdentifier"] = *active->info().bundleIdentifier;
  }
  if (active->info().localizedName) {
    dictionary["NSApplicationName"] = *active->info().localizedName;
  }
  return dictionary;
}

std::string SimWorkspace::mainBundleIdentifier() { return _hostIdentity.bundleIdentifier; }

void SimWorkspace::activateIgnoringOtherApps(bool flag) {
  std::lock_guard lock(_mutex);
  if (!flag && _active && *_active != _host->processIdentifier()) {
    return;
  }
  _active = _host->processIdentifier();
  bringToFront(*_active);
}

std::int32_t SimWorkspace::getProcessForPID(std::int32_t pid, platform::ProcessSerialNumber& psn) {
  std::lock_guard lock(_mutex);
  const auto* running = find(pid);
  if (running == nullptr) {
    psn = {};
    return platform::ProcessLookupProcNotFound;
  }
  psn = running->psn;
  return platform::ProcessLookupNoErr;
}

}  // namespace zar::sim
