#pragma once

// Log statements of the framework. A statement is formatted (fmt syntax) and handed on only when
// its flag is set in ddLogLevel.

#include <fmt/format.h>

#include "ZAR_DAWControl/platform/Logger.h"

#define ZAR_LOG_STATEMENT(flag, ...)                                                              \
  do {                                                                                            \
    if (::zar::platform::logFlagEnabled(flag)) {                                                  \
      ::zar::platform::logStatement(flag, __FILE__, __func__, __LINE__, fmt::format(__VA_ARGS__)); \
    }                                                                                             \
  } while (false)

#define ZAR_LOG_ERROR(...) ZAR_LOG_STATEMENT(::zar::platform::LogFlag::error, __VA_ARGS__)
#define ZAR_LOG_WARN(...) ZAR_LOG_STATEMENT(::zar::platform::LogFlag::warning, __VA_ARGS__)
#define ZAR_LOG_INFO(...) ZAR_LOG_STATEMENT(::zar::platform::LogFlag::info, __VA_ARGS__)
#define ZAR_LOG_DEBUG(...) ZAR_LOG_STATEMENT(::zar::platform::LogFlag::debug, __VA_ARGS__)
#define ZAR_LOG_VERBOSE(...) ZAR_LOG_STATEMENT(::zar::platform::LogFlag::verbose, __VA_ARGS__)
