#include "ZAR_DAWControl/passes/ZAR_DAWPassRecord.h"

std::string ZAR_DAWPassRecord::verdictText() const { return {}; }

std::string ZAR_DAWPassRecord::modeText(ZAR_DAWMode mode) {
  switch (mode) {
    case ZAR_DAWModeRehearse:
      return "rehearse";
    case ZAR_DAWModeRecord:
      return "record";
    case ZAR_DAWModeReview:
      return "review";
    default:
      return {};
  }
}

std::string ZAR_DAWPassRecord::phaseText(ZAR_DAWEventPhase phase) {
  switch (phase) {
    case ZAR_DAWEventPhaseBefore:
      return "before";
    case ZAR_DAWEventPhaseDuring:
      return "during";
    case ZAR_DAWEventPhaseAfter:
      return "after";
    default:
      return {};
  }
}

std::string ZAR_DAWPassRecord::toJSONLine() const { return "{}"; }

std::optional<ZAR_DAWPassRecord> ZAR_DAWPassRecord::fromJSONLine(std::string_view) { return std::nullopt; }
