#pragma once

#include "ZAR_DAWControl/daw/ZAR_DAWTypes.h"

/// Sets the framework's log level from the host's preferences.
class ZAR_DAWControlLoggingHelper {
 public:
  /// The preference that holds the log level.
  static constexpr const char* logLevelKey = "ApplicationLogLevel";

  /// Registers the default log level 3 (errors and warnings).
  static void registerUserDefaults();
  /// Sets `ddLogLevel` from "ApplicationLogLevel" (0 when absent). A level other than -1, 0, 1, 3,
  /// 15 or 31 stays in force for this run, and 3 is stored for the next.
  void readLogLevelFromPlistFile();
};

static_assert(ZAR_RegisterUserDefaults<ZAR_DAWControlLoggingHelper>);
