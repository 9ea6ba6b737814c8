// Any bytes as "RecMuteMatrix.bin" next to a list of the four default modes: every one of the
// 192 entries must hold the null mode or a mode of the list, the file must stay as it was, and
// the entries must survive a save and a restore unchanged.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/sim/MemoryFileUtility.h"

namespace {

bool holdsOnlyKnownModes(const ZAR_DAWMuteRecMatrix::ModeColumn& column, const ZAR_DAWAudioTrackModeList& list) {
  const auto& modes = *list.audioTrackModes();
  return std::all_of(column.begin(), column.end(), [&](const auto& mode) {
    return mode == ZAR_DAWAudioTrackMode::nullTrackMode() || std::find(modes.begin(), modes.end(), mode) != modes.end();
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto files = std::make_shared<zar::sim::MemoryFileUtility>("/settings");
  auto platform = std::make_shared<zar::platform::Platform>();
  platform->fileUtility = files;
  zar::platform::Platform::install(platform);

  // Fixed uuids instead of fresh random ones, so that inputs can name the modes and the fuzzer's
  // comparison tracing can find them.
  const auto list = std::make_shared<ZAR_DAWAudioTrackModeList>();
  for (std::size_t i = 0; i < list->audioTrackModes()->size(); ++i) {
    (*list->audioTrackModes())[i]->setUuid("FuzzModeUuid000" + std::to_string(i));
  }
  const std::string path = std::string("/settings/") + ZAR_DAWMuteRecMatrix::fileName;
  const std::string input(reinterpret_cast<const char*>(data), size);
  files->writeFileAtomically(path, input);

  ZAR_DAWMuteRecMatrix matrix(list);
  if (files->readFile(path) != input) std::abort();  // a restore never writes
  const auto rehearse = matrix.rehearseModes();
  const auto record = matrix.recordModes();
  const auto review = matrix.reviewModes();
  if (!holdsOnlyKnownModes(rehearse, *list) || !holdsOnlyKnownModes(record, *list) ||
      !holdsOnlyKnownModes(review, *list)) {
    std::abort();
  }

  matrix.saveChanges();
  matrix.restoreMatrixFromFile();
  if (matrix.rehearseModes() != rehearse || matrix.recordModes() != record || matrix.reviewModes() != review) {
    std::abort();
  }
  return 0;
}
