// Any bytes as "AudioTrackModeList.bin": the list must come up without crashing, leave the file
// as it found it, and whatever it took from the file must survive a save and a restart unchanged.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/sim/MemoryFileUtility.h"

namespace {

bool sameModes(const ZAR_DAWAudioTrackModeList& a, const ZAR_DAWAudioTrackModeList& b) {
  const auto& first = *a.audioTrackModes();
  const auto& second = *b.audioTrackModes();
  if (first.size() != second.size()) return false;
  for (std::size_t i = 0; i < first.size(); ++i) {
    if (first[i]->name() != second[i]->name() || first[i]->uuid() != second[i]->uuid() ||
        first[i]->beforeState() != second[i]->beforeState() || first[i]->duringState() != second[i]->duringState() ||
        first[i]->afterState() != second[i]->afterState()) {
      return false;
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto files = std::make_shared<zar::sim::MemoryFileUtility>("/settings");
  auto platform = std::make_shared<zar::platform::Platform>();
  platform->fileUtility = files;
  zar::platform::Platform::install(platform);

  const std::string path = std::string("/settings/") + ZAR_DAWAudioTrackModeList::fileName;
  const std::string input(reinterpret_cast<const char*>(data), size);
  files->writeFileAtomically(path, input);

  const ZAR_DAWAudioTrackModeList list;
  if (files->readFile(path) != input) std::abort();  // a restore never writes

  list.saveChanges();
  const ZAR_DAWAudioTrackModeList restarted;
  if (!sameModes(list, restarted)) std::abort();
  return 0;
}
