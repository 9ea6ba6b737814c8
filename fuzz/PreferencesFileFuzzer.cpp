// Any bytes as the preferences file. The nesting measure must never call a file shallow that
// libplist builds deeper (checked at a small depth, where the fuzzer reaches past it), and the
// store must come up without crashing and keep the file: at its path, or moved aside whole.

#include <plist/plist.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "ZAR_DAWControl/platform/linux/PlistUserDefaults.h"
#include "ZAR_DAWControl/platform/linux/PropertyListNesting.h"

namespace {

namespace fs = std::filesystem;
constexpr std::size_t smallDepth = 6;

/// The nesting of a parsed tree, walked without recursion.
std::size_t depthOf(plist_t root) {
  std::size_t deepest = 0;
  std::vector<std::pair<plist_t, std::size_t>> pending{{root, 0}};
  while (!pending.empty()) {
    const auto [node, above] = pending.back();
    pending.pop_back();
    const plist_type type = plist_get_node_type(node);
    if (type != PLIST_ARRAY && type != PLIST_DICT) continue;
    deepest = std::max(deepest, above + 1);
    if (type == PLIST_ARRAY) {
      for (std::uint32_t i = 0; i < plist_array_get_size(node); ++i) pending.emplace_back(plist_array_get_item(node, i), above + 1);
    } else {
      plist_dict_iter iterator = nullptr;
      plist_dict_new_iter(node, &iterator);
      for (;;) {
        char* key = nullptr;
        plist_t item = nullptr;
        plist_dict_next_item(node, iterator, &key, &item);
        std::free(key);
        if (item == nullptr) break;
        pending.emplace_back(item, above + 1);
      }
      std::free(iterator);
    }
  }
  return deepest;
}

const fs::path& directory() {
  static const fs::path made = [] {
    std::string pattern = (fs::temp_directory_path() / "zar-fuzz-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    return fs::path(pattern);
  }();
  return made;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string content(reinterpret_cast<const char*>(data), size);

  if (zar::native::propertyListNesting(content, smallDepth) == zar::native::PropertyListNesting::within &&
      !content.empty()) {
    plist_t root = nullptr;
    plist_from_memory(content.data(), static_cast<std::uint32_t>(content.size()), &root);
    if (root != nullptr) {
      const std::size_t depth = depthOf(root);
      plist_free(root);
      if (depth > smallDepth) std::abort();
    }
  }

  const fs::path file = directory() / "prefs.plist";
  std::ofstream(file, std::ios::binary | std::ios::trunc) << content;
  { zar::native::PlistUserDefaults defaults(file.string(), nullptr); }
  const std::vector<fs::path> left{fs::directory_iterator(directory()), fs::directory_iterator()};
  if (left.size() != 1) std::abort();
  std::ifstream in(left.front(), std::ios::binary);
  if (std::string(std::istreambuf_iterator<char>(in), {}) != content) std::abort();
  fs::remove(left.front());
  return 0;
}
