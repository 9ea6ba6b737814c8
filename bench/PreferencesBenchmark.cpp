// Storing one boolean (a warning's suppression box, on the host's main thread) in a preferences
// domain whose file holds 100 MB: the time the storing thread spends, in a burst of stores, and
// for one store at a time with the file written in between (the slowest one is counted). The
// domain is either a few large values or very many small ones; each is loaded once and kept for
// every run.

#include <benchmark/benchmark.h>

#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>

#include <fmt/format.h>

#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/platform/linux/PlistUserDefaults.h"

namespace {

namespace fs = std::filesystem;
using zar::native::PlistUserDefaults;

constexpr std::size_t fileSize = std::size_t{100} << 20;

/// A directory of its own under the temporary directory, removed at exit.
struct Directory {
  fs::path path;
  Directory() {
    std::string pattern = (fs::temp_directory_path() / "zar-prefs-bench-XXXXXX").string();
    if (::mkdtemp(pattern.data()) != nullptr) path = pattern;
  }
  ~Directory() {
    std::error_code error;
    if (!path.empty()) fs::remove_all(path, error);
  }
};

/// An XML preferences file of about `fileSize` bytes in `values` strings, written as text: far
/// quicker than building it with libplist.
std::string makeFile(const fs::path& directory, std::size_t values) {
  const std::string path = (directory / fmt::format("prefs-{}.plist", values)).string();
  const std::string text(fileSize / values - 40, 'x');
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n";
  for (std::size_t i = 0; i < values; ++i) {
    out << fmt::format("\t<key>value{:07}</key>\n\t<string>", i) << text << "</string>\n";
  }
  out << "</dict>\n</plist>\n";
  return path;
}

/// The domain of `values` values, loaded at its first use and destroyed (its last change written)
/// at exit; the directory goes after it.
PlistUserDefaults& domain(std::size_t values) {
  static Directory directory;
  static std::map<std::size_t, std::unique_ptr<PlistUserDefaults>> domains;
  auto& made = domains[values];
  if (!made) made = std::make_unique<PlistUserDefaults>(makeFile(directory.path, values), nullptr);
  return *made;
}

void BM_StoreBooleanIn100MBDomain(benchmark::State& state) {
  PlistUserDefaults& defaults = domain(static_cast<std::size_t>(state.range(0)));
  bool suppressed = false;
  for (auto _ : state) {
    suppressed = !suppressed;
    defaults.setBool(suppressed, ZAR_DAWNotAvailableSuppression);
  }
  if (defaults.boolForKey(ZAR_DAWNotAvailableSuppression) != suppressed) {
    state.SkipWithError("the stored value is not read back");
  }
}
BENCHMARK(BM_StoreBooleanIn100MBDomain)->ArgName("values")->Arg(100)->Arg(100'000)->Unit(benchmark::kMicrosecond);

void BM_StoreBooleanIn100MBDomainWrittenInBetween(benchmark::State& state) {
  PlistUserDefaults& defaults = domain(static_cast<std::size_t>(state.range(0)));
  defaults.synchronize();
  bool suppressed = defaults.boolForKey(ZAR_DAWNotAvailableSuppression);
  double slowest = 0;
  for (auto _ : state) {
    suppressed = !suppressed;
    const auto start = std::chrono::steady_clock::now();
    defaults.setBool(suppressed, ZAR_DAWNotAvailableSuppression);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    state.SetIterationTime(seconds);
    slowest = std::max(slowest, seconds);
    if (!defaults.synchronize()) {
      state.SkipWithError("the file was not written");
      break;
    }
  }
  state.counters["slowest_us"] = slowest * 1e6;
}
// Each iteration writes the 100 MB file: a few are enough.
BENCHMARK(BM_StoreBooleanIn100MBDomainWrittenInBetween)
    ->ArgName("values")
    ->Arg(100)
    ->Arg(100'000)
    ->UseManualTime()
    ->Iterations(16)
    ->Unit(benchmark::kMicrosecond);

}  // namespace
