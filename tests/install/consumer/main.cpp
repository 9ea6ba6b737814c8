// A host's first contact with the installed framework: its headers, its version macros, its
// library and a service; the Pro Tools driver and the element utilities link from the package.
#include <ZAR_DAWControl/ZAR_DAWControl.h>
#include <ZAR_DAWControl/platform/utility/ZAR_TCHelper.h>

static_assert(ZAR_DAWCONTROL_VERSION >= 10000, "the installed headers carry their version");

int main() {
  const TCTime tc = ZAR_TCHelper::tcTimeFromString("01:00:00:00");
  if (tc.isInvalid != 0 || tc.hours != 1) return 1;
  if (ZAR_DAWApplicationProTools::comparisonValue(tc) != 1000000) return 2;
  // A driver not yet attached to any Pro Tools: it has no tracks and no edit window.
  const auto driver = std::make_shared<ZAR_DAWApplicationProTools>();
  if (!driver->audioTracks().empty() || driver->editWindow()) return 3;
  const auto point = zar::platform::AXTypedValue::point({12, 34});
  if (UIElementUtilities::stringDescriptionOfAXValue(point, false) != "x=12 y=34") return 4;
  return std::string(zar::ax::kChildrenAttribute) == "AXChildren" ? 0 : 5;
}
