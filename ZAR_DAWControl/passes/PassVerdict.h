#pragma once

#include "ZAR_DAWControl/passes/ZAR_DAWPassRecord.h"

namespace zar::passes {

/// Judges a finished pass from what its record holds, and nothing else (no call to Pro Tools):
/// for every phase the pass reached and every track with a mode, whether Pro Tools showed, by the
/// end of the phase, the record enable, mute and input monitor that the mode asked; for a take,
/// whether the record track's new name was read back and the take counted.
class PassVerdict {
 public:
  /// Fills the record's `cutShort`, `differences` and `unjudged`.
  static void judge(ZAR_DAWPassRecord& record);
};

}  // namespace zar::passes
