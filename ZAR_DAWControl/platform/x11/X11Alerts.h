#pragma once

#include <functional>
#include <mutex>

#include "ZAR_DAWControl/platform/Alerts.h"

namespace zar::x11 {

/// Modal alerts shown by a presenter that the host installs (a dialog of its toolkit, or a prompt
/// on its terminal). The presenter runs on the calling thread, the main thread, and should keep
/// the main run loop running while it waits. Without a presenter an alert is logged and answered
/// at once with the default button and the suppression box as the request had it.
class X11Alerts final : public platform::Alerts {
 public:
  using Presenter = std::function<platform::AlertResponse(const platform::AlertRequest&)>;

  void setPresenter(Presenter presenter);
  platform::AlertResponse runModal(const platform::AlertRequest& request) override;

 private:
  std::mutex _mutex;
  Presenter _presenter;
};

}  // namespace zar::x11
