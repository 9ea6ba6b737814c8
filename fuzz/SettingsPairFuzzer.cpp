// Any bytes as "AudioTrackModeList.bin" in place of a list of the four default modes, beside a
// matrix that assigns them to 30 positions, with the copies of both files' last saves beside them.
// Whatever the bytes, nothing is lost: after a start and one assignment, the list that was saved
// and the matrix as it was are both still kept somewhere, and putting them back brings back all 30
// assignments.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>

#include "ZAR_DAWControl/modes/SavedCopy.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/sim/MemoryFileUtility.h"

namespace {

using zar::modes::SavedCopy;

const std::string listPath = std::string("/settings/") + ZAR_DAWAudioTrackModeList::fileName;
const std::string matrixPath = std::string("/settings/") + ZAR_DAWMuteRecMatrix::fileName;

/// A path among the files that holds `content`, as a file or as a copy of a save; empty if none.
std::string holding(const std::map<std::string, std::string>& files, const std::string& content) {
  for (const auto& [path, held] : files) {
    const auto copy = SavedCopy::decode(held);
    if (held == content || (copy && copy->content == content)) return path;
  }
  return {};
}

bool assignedAsSaved(const ZAR_DAWMuteRecMatrix& matrix) {
  for (std::int32_t track = 0; track < 10; ++track) {
    if (matrix.rehearseModeAtTrackIndex(track)->name() != "Mute" ||
        matrix.recordModeAtTrackIndex(track)->name() != "Record" ||
        matrix.reviewModeAtTrackIndex(track)->name() != "Input") {
      return false;
    }
  }
  return true;
}

/// Settings on a fresh platform of their own.
std::shared_ptr<zar::sim::MemoryFileUtility> installFiles() {
  auto files = std::make_shared<zar::sim::MemoryFileUtility>("/settings");
  auto platform = std::make_shared<zar::platform::Platform>();
  platform->fileUtility = files;
  zar::platform::Platform::install(platform);
  return files;
}

/// The list of the four default modes and the matrix assigning them, each file beside the copy of
/// its save, as the framework saved them; made once, as 30 saves take far longer than a run.
const std::map<std::string, std::string>& goodFiles() {
  static const std::map<std::string, std::string> saved = [] {
    const auto files = installFiles();
    auto list = std::make_shared<ZAR_DAWAudioTrackModeList>();
    ZAR_DAWMuteRecMatrix matrix(list);
    for (std::int32_t track = 0; track < 10; ++track) {
      matrix.setRehearseMode((*list->audioTrackModes())[1], track);
      matrix.setRecordMode((*list->audioTrackModes())[3], track);
      matrix.setReviewMode((*list->audioTrackModes())[2], track);
    }
    return files->files();
  }();
  return saved;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto& good = goodFiles();
  const auto files = installFiles();
  for (const auto& [path, content] : good) files->writeFileAtomically(path, content);
  const std::string& goodList = good.at(listPath);
  const std::string& goodMatrix = good.at(matrixPath);
  const std::string input(reinterpret_cast<const char*>(data), size);
  files->writeFileAtomically(listPath, input);
  {
    auto list = std::make_shared<ZAR_DAWAudioTrackModeList>();
    ZAR_DAWMuteRecMatrix matrix(list);
    if (files->readFile(listPath) != input) std::abort();  // a start never writes over what it found
    if (input == goodList ? !assignedAsSaved(matrix) : !list->audioTrackModes()->empty()) std::abort();
    auto mode = std::make_shared<ZAR_DAWAudioTrackMode>();
    list->addAudioTrackMode(mode);
    matrix.setRecordMode(mode, 40);
  }
  const auto all = files->files();
  const std::string listKept = holding(all, goodList);
  const std::string matrixKept = holding(all, goodMatrix);
  if (listKept.empty() || matrixKept.empty()) std::abort();  // something the user had is gone

  // Put back as dawctl settings restore does.
  for (const auto& [path, content] : {std::pair{listPath, goodList}, std::pair{matrixPath, goodMatrix}}) {
    files->writeFileAtomically(path + std::string(SavedCopy::suffix), SavedCopy::encode(content));
    files->writeFileAtomically(path, content);
  }
  auto list = std::make_shared<ZAR_DAWAudioTrackModeList>();
  if (!assignedAsSaved(ZAR_DAWMuteRecMatrix(list))) std::abort();
  return 0;
}
