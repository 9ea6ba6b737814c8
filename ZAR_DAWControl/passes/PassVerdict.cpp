#include "ZAR_DAWControl/passes/PassVerdict.h"

namespace zar::passes {

void PassVerdict::judge(ZAR_DAWPassRecord&) {}

}  // namespace zar::passes
