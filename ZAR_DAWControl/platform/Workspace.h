#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZAR_DAWControl/platform/EventPoster.h"
#include "ZAR_DAWControl/platform/PropertyValue.h"

namespace zar::platform {

/// What the workspace tells of one running application.
struct RunningApplication {
  std::int32_t processIdentifier = 0;
  std::optional<std::string> bundleIdentifier;
  std::optional<std::string> bundleURL;
  std::optional<std::string> localizedName;
};
using RunningApplicationRef = std::shared_ptr<const RunningApplication>;

/// Status of a process serial number lookup: 0 on success, -600 when no such process runs.
enum ProcessLookupStatus : std::int32_t { ProcessLookupNoErr = 0, ProcessLookupProcNotFound = -600 };

/// The running applications, the active one, and the host application itself.
class Workspace {
 public:
  virtual ~Workspace() = default;
  /// The running applications in the platform's order.
  virtual std::vector<RunningApplicationRef> runningApplications() = 0;
  virtual RunningApplicationRef runningApplicationWithProcessIdentifier(std::int32_t pid) = 0;
  /// The information dictionary of the bundle at that URL, or nothing when there is no bundle.
  virtual std::optional<PropertyDictionary> bundleInfoDictionary(const std::string& bundleURL) = 0;
  /// The active application's dictionary ("NSApplicationBundleIdentifier",
  /// "NSApplicationProcessIdentifier", "NSApplicationName"), or nothing when none is active.
  virtual std::optional<PropertyDictionary> activeApplication() = 0;
  /// The bundle identifier of the host application (its main bundle).
  virtual std::string mainBundleIdentifier() = 0;
  /// Makes the host application the active one.
  virtual void activateIgnoringOtherApps(bool flag) = 0;
  /// Looks up the serial number of a process; returns a ProcessLookupStatus.
  virtual std::int32_t getProcessForPID(std::int32_t pid, ProcessSerialNumber& psn) = 0;
};

}  // namespace zar::platform
