#include "ZAR_DAWControl/platform/x11/AtspiElement.h"

#include <unistd.h>

namespace zar::x11 {

AtspiElement::Application::~Application() {
  if (processHandle >= 0) ::close(processHandle);
}

AtspiElement::AtspiElement(const AtspiMirror* owner, AtspiRef ref, std::shared_ptr<Application> application)
    : _owner(owner), _ref(std::move(ref)), _application(std::move(application)) {}

AtspiElement::AtspiElement(const AtspiMirror* owner, std::int32_t pid) : _owner(owner), _pidAsked(pid) {}

}  // namespace zar::x11
