// A host's first contact with the installed framework: its headers, its version macros, its
// library and a service.
#include <ZAR_DAWControl/ZAR_DAWControl.h>
#include <ZAR_DAWControl/platform/utility/ZAR_TCHelper.h>

static_assert(ZAR_DAWCONTROL_VERSION >= 10000, "the installed headers carry their version");

int main() {
  const TCTime tc = ZAR_TCHelper::tcTimeFromString("01:00:00:00");
  return (tc.isInvalid == 0 && tc.hours == 1) ? 0 : 1;
}
