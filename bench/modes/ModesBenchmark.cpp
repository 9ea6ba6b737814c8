// Saving and restoring the settings files and looking modes up. The files live in memory, so
// the figures are the framework's own cost; the disk (an fsync per save) comes on top.

#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/sim/MemoryFileUtility.h"

namespace {

constexpr std::size_t largeListSize = 1000;

// Installs a platform whose settings files are in memory, for the lifetime of the object.
class MemorySettings {
 public:
  MemorySettings() : _previous(zar::platform::Platform::current()) {
    auto platform = std::make_shared<zar::platform::Platform>();
    platform->fileUtility = std::make_shared<zar::sim::MemoryFileUtility>("/settings");
    zar::platform::Platform::install(platform);
  }
  ~MemorySettings() { zar::platform::Platform::install(_previous); }
  MemorySettings(const MemorySettings&) = delete;
  MemorySettings& operator=(const MemorySettings&) = delete;

 private:
  std::shared_ptr<const zar::platform::Platform> _previous;
};

// The four default modes followed by `extra` named ones, saved.
std::shared_ptr<ZAR_DAWAudioTrackModeList> listWith(std::size_t extra) {
  auto list = std::make_shared<ZAR_DAWAudioTrackModeList>();
  auto modes = std::make_shared<ZAR_DAWAudioTrackModeList::ModeSequence>(*list->internalModeList());
  for (std::size_t i = 0; i < extra; ++i) {
    auto mode = std::make_shared<ZAR_DAWAudioTrackMode>();
    mode->setName("Mode " + std::to_string(i));
    mode->setBeforeState(static_cast<ZAR_DAWTrackState>(i % 4));
    mode->setDuringState(static_cast<ZAR_DAWTrackState>((i + 1) % 4));
    mode->setAfterState(static_cast<ZAR_DAWTrackState>((i + 2) % 4));
    modes->push_back(mode);
  }
  list->setInternalModeList(modes);
  list->saveChanges();
  return list;
}

// Every one of the 192 entries assigned, spread over the list's modes.
void fill(ZAR_DAWMuteRecMatrix& matrix, const ZAR_DAWAudioTrackModeList& list) {
  const auto& modes = *list.audioTrackModes();
  ZAR_DAWMuteRecMatrix::ModeColumn rehearse;
  ZAR_DAWMuteRecMatrix::ModeColumn record;
  ZAR_DAWMuteRecMatrix::ModeColumn review;
  for (std::size_t i = 0; i < ZAR_DAWMuteRecMatrix::trackCount; ++i) {
    rehearse[i] = modes[(i * 3) % modes.size()];
    record[i] = modes[(i * 3 + 1) % modes.size()];
    review[i] = modes[(i * 3 + 2) % modes.size()];
  }
  matrix.setRehearseModes(rehearse);
  matrix.setRecordModes(record);
  matrix.setReviewModes(review);
}

void BM_MatrixSave(benchmark::State& state) {
  const MemorySettings settings;
  const auto list = listWith(static_cast<std::size_t>(state.range(0)));
  ZAR_DAWMuteRecMatrix matrix(list);
  fill(matrix, *list);
  for (auto _ : state) matrix.saveChanges();
}
BENCHMARK(BM_MatrixSave)->Arg(0)->Arg(largeListSize)->Unit(benchmark::kMicrosecond);

void BM_MatrixRestore(benchmark::State& state) {
  const MemorySettings settings;
  const auto list = listWith(static_cast<std::size_t>(state.range(0)));
  ZAR_DAWMuteRecMatrix matrix(list);
  fill(matrix, *list);
  matrix.saveChanges();
  for (auto _ : state) matrix.restoreMatrixFromFile();
  if (matrix.recordModeAtTrackIndex(1) != (*list->audioTrackModes())[4 % list->audioTrackModes()->size()]) {
    state.SkipWithError("the restore resolved the wrong mode");
  }
}
BENCHMARK(BM_MatrixRestore)->Arg(0)->Arg(largeListSize)->Unit(benchmark::kMicrosecond);

void BM_ListSave(benchmark::State& state) {
  const MemorySettings settings;
  const auto list = listWith(largeListSize - 4);
  for (auto _ : state) list->saveChanges();
}
BENCHMARK(BM_ListSave)->Unit(benchmark::kMicrosecond);

void BM_ListRestore(benchmark::State& state) {
  const MemorySettings settings;
  listWith(largeListSize - 4);
  for (auto _ : state) {
    const ZAR_DAWAudioTrackModeList restored;
    if (restored.audioTrackModes()->size() != largeListSize) state.SkipWithError("incomplete restore");
  }
}
BENCHMARK(BM_ListRestore)->Unit(benchmark::kMicrosecond);

// A uuid at the front, at the back and one the list does not hold (a full scan).
void BM_ModeWithUUID(benchmark::State& state) {
  const MemorySettings settings;
  const auto list = listWith(largeListSize - 4);
  const auto& modes = *list->audioTrackModes();
  const std::string uuid = state.range(0) == 0   ? *modes.front()->uuid()
                           : state.range(0) == 1 ? *modes.back()->uuid()
                                                 : std::string("not-in-the-list");
  for (auto _ : state) benchmark::DoNotOptimize(list->modeWithUUID(uuid));
}
BENCHMARK(BM_ModeWithUUID)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);

}  // namespace
