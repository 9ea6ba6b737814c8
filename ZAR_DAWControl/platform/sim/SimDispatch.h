#pragma once

#include <functional>
#include <memory>

#include "ZAR_DAWControl/platform/Dispatch.h"
#include "ZAR_DAWControl/platform/RunLoop.h"

namespace zar::native {
class ThreadPoolDispatch;
}

namespace zar::sim {

/// Dispatch for the simulated desktop, where the caller chooses how the global queue behaves.
/// `onMainThread` runs work at once on the main thread and queues it on the run loop elsewhere.
class SimDispatch final : public platform::Dispatch {
 public:
  enum class Mode {
    /// `async` runs the work at once on the calling thread.
    inlineOnCaller,
    /// `async` hands the work to a pool of threads owned by this object.
    threaded,
  };

  /// `threads` sizes the pool of the threaded mode (0: the pool's default). Throws
  /// `std::invalid_argument` without a run loop.
  SimDispatch(std::shared_ptr<platform::RunLoop> mainRunLoop, Mode mode, unsigned threads = 0);
  ~SimDispatch() override;
  SimDispatch(const SimDispatch&) = delete;
  SimDispatch& operator=(const SimDispatch&) = delete;

  /// Empty work is ignored.
  void async(std::function<void()> work) override;
  void onMainThread(std::function<void()> work) override;


 private:
  const std::shared_ptr<platform::RunLoop> _mainRunLoop;
  const Mode _mode;
  std::unique_ptr<native::ThreadPoolDispatch> _pool;
};

}  // namespace zar::sim
