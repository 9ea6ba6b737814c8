#pragma once

// What the driver knows of Pro Tools' windows and bundle.
namespace zar::protools {

inline constexpr const char* kBundleIdentifier = "com.avid.ProTools";
inline constexpr const char* kLegacyBundleIdentifier = "com.digidesign.ProTools";
inline constexpr const char* kDisplayName = "Pro Tools";
inline constexpr const char* kBundleVersionKey = "CFBundleVersion";

/// The edit window's title holds this, followed by a blank and the session name.
inline constexpr const char* kEditWindowMarker = "Edit:";
inline constexpr const char* kCounterDisplayClusterTitle = "Counter Display Cluster";
inline constexpr const char* kEditSelectionStartTitle = "Edit Selection Start";
inline constexpr const char* kEditSelectionEndTitle = "Edit Selection End";

}  // namespace zar::protools
