#pragma once

#include <string>

/// The error domain of the framework's errors.
inline constexpr const char* ZAR_ErrorDomain = "ZAR_ErrorDomain";

/// An error: domain, code and the localized description, its only user information.
struct ZAR_Error {
  std::string domain;
  int code = 0;
  std::string localizedDescription;
  friend bool operator==(const ZAR_Error&, const ZAR_Error&) = default;
};
