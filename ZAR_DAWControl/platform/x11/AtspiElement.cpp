#include "ZAR_DAWControl/platform/x11/AtspiElement.h"

#include "ZAR_DAWControl/platform/x11/AtspiBus.h"

namespace zar::x11 {

AtspiElement::AtspiElement(AtspiAccessible* accessible, std::int32_t pid, bool application)
    : _accessible(accessible), _pid(pid), _application(application) {}

AtspiElement::~AtspiElement() { AtspiBus::shared().release(_accessible); }

}  // namespace zar::x11
