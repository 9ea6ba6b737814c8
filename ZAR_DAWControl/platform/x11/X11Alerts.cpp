#include "ZAR_DAWControl/platform/x11/X11Alerts.h"

#include "ZAR_DAWControl/platform/Log.h"

namespace zar::x11 {

void X11Alerts::setPresenter(Presenter presenter) {
  std::lock_guard lock(_mutex);
  _presenter = std::move(presenter);
}

platform::AlertResponse X11Alerts::runModal(const platform::AlertRequest& request) {
  Presenter presenter;
  {
    std::lock_guard lock(_mutex);
    presenter = _presenter;
  }
  if (presenter) return presenter(request);
  ZAR_LOG_WARN("Alert (no presenter installed): {} - {}", request.messageText, request.informativeText);
  return platform::AlertResponse{platform::AlertDefaultReturn, request.suppressionButtonChecked};
}

}  // namespace zar::x11
