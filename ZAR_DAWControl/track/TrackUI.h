#pragma once

#include <array>
#include <string_view>

// What the framework knows of a Pro Tools track row.
namespace zar::track {

inline constexpr const char* kRecordEnableTitle = "Track Record Enable";
inline constexpr const char* kInputMonitorTitle = "TrackInput Monitor";
inline constexpr const char* kMuteTitle = "Mute";
/// Contained anywhere in the title of the name field.
inline constexpr const char* kNameFieldMarker = "Track name";
/// The input-monitor button's value when monitoring is on.
inline constexpr const char* kInputOnValue = "on";

/// Markers that end a track's name in its row's title, in the order they are tried. In any letter
/// case and with the dash left out, they also tell a track's row from the edit window's other
/// children (`ZAR_DAWAudioTrack::isTrackRowTitle`).
inline constexpr std::array<std::string_view, 4> kNameMarkers{"- Audio Track", " audio track", "- Aux Track",
                                                              " auxiliary track"};

}  // namespace zar::track
