#pragma once

#include <nlohmann/json.hpp>

#include <cstdio>
#include <string>
#include <vector>

#include "ZAR_DAWControl/passes/ZAR_DAWPassRecord.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIEvent.h"

namespace dawctl {

/// A pass's record as the demo's events (see DemoOutput): its heading, its timeline, and for every
/// phase it reached a table of what Pro Tools showed at the end of the phase, with the
/// differences from what the modes ask; then the verdict. Time stamps count from the pass's start.
std::vector<nlohmann::json> passReportEvents(const ZAR_DAWPassRecord& record);
/// Writes `passReportEvents` as lines a stage engineer reads (colour on a terminal).
void printPassReport(const ZAR_DAWPassRecord& record, std::FILE* out);
/// "2026-11-25 15:03:07" in the local time zone, for a record's `startedAt`; the text itself when
/// it is no such time.
std::string localTime(const std::string& startedAt);
/// Seconds rounded to the millisecond, as the demo's events carry their times.
double roundedSeconds(double seconds);
/// The name of a HUI button as a surface labels it ("mute of strip 3", "Play").
std::string huiButtonName(const zar::hui::HUIEvent& event);

}  // namespace dawctl
