// A host's first contact with the installed framework: its headers, its library and a service.
#include <ZAR_DAWControl/platform/utility/ZAR_TCHelper.h>

int main() {
  const TCTime tc = ZAR_TCHelper::tcTimeFromString("01:00:00:00");
  return (tc.isInvalid == 0 && tc.hours == 1) ? 0 : 1;
}
