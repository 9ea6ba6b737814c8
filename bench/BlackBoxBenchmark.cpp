// What recording an event in the black box costs the calling thread: while no pass records (one
// atomic read), and while one does (the clock read and the append under the lock), from one thread
// and from two at once. The target is at most 1 µs an event.

#include <benchmark/benchmark.h>

#include <array>
#include <memory>

#include "ZAR_DAWControl/passes/BlackBox.h"
#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/linux/SynchronousNotificationCenter.h"
#include "ZAR_DAWControl/platform/linux/SystemClock.h"

namespace {

using zar::passes::BlackBox;

enum class Call { record, inputRead, huiSent, lamp };

// The real clock and a notification center, installed once for the program.
void installPlatform() {
  static const bool installed = [] {
    auto platform = std::make_shared<zar::platform::Platform>();
    platform->clock = std::make_shared<zar::native::SystemClock>();
    platform->notificationCenter = std::make_shared<zar::native::SynchronousNotificationCenter>();
    zar::platform::Platform::install(platform);
    return true;
  }();
  (void)installed;
}

void call(BlackBox& box, Call which, std::int64_t i) {
  static constexpr std::array<std::uint8_t, 3> kMessage{0xB0, 0x2F, 0x44};
  switch (which) {
    case Call::record: {
      ZAR_DAWPassRecord::Event event;
      event.kind = ZAR_DAWPassRecord::EventKind::note;
      event.frame = i;
      box.record(std::move(event));
      break;
    }
    case Call::inputRead:
      box.inputRead(3, (i & 1) != 0);  // differs from the last read: kept
      break;
    case Call::huiSent:
      box.huiSent(kMessage);
      break;
    case Call::lamp:
      box.lamp(2, 7, (i & 1) != 0, 10);
      break;
  }
}

void BM_BlackBoxEvent(benchmark::State& state, Call which, bool passRecording) {
  installPlatform();
  auto& box = BlackBox::shared();
  // Each thread starts a new pass now and then, untimed, so that the measured events are kept
  // rather than counted as beyond the pass's maximum.
  const std::int64_t restartEvery =
      static_cast<std::int64_t>(ZAR_DAWPassRecord::kMaximumEvents) / (2 * state.threads());
  const auto restart = [&] {
    if (passRecording) {
      box.beginPass(ZAR_DAWPassRecord{});
    } else {
      box.endPass(ZAR_DAWPassRecord::Ending::stopped, 0);
    }
  };
  if (state.thread_index() == 0) restart();
  std::int64_t i = 0;
  for (auto _ : state) {
    call(box, which, i);
    if (++i % restartEvery == 0) {
      state.PauseTiming();
      restart();
      state.ResumeTiming();
    }
  }
  if (state.thread_index() == 0) box.endPass(ZAR_DAWPassRecord::Ending::stopped, 0);
}

#define ZAR_BLACK_BOX_BENCHMARK(name, which)                                                             \
  BENCHMARK_CAPTURE(BM_BlackBoxEvent, name##_noPass, which, false)->Threads(1)->Threads(2)->UseRealTime(); \
  BENCHMARK_CAPTURE(BM_BlackBoxEvent, name##_recording, which, true)->Threads(1)->Threads(2)->UseRealTime()

ZAR_BLACK_BOX_BENCHMARK(record, Call::record);
ZAR_BLACK_BOX_BENCHMARK(inputRead, Call::inputRead);
ZAR_BLACK_BOX_BENCHMARK(huiSent, Call::huiSent);
ZAR_BLACK_BOX_BENCHMARK(lamp, Call::lamp);

}  // namespace
