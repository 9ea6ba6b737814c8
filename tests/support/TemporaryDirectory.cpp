#include "support/TemporaryDirectory.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <vector>

namespace zar::test {

TemporaryDirectory::TemporaryDirectory() {
  _path = (std::filesystem::temp_directory_path() / "zar-test-XXXXXX").string();
  if (::mkdtemp(_path.data()) == nullptr) throw std::runtime_error("cannot make a temporary directory");
}

std::vector<std::string> TemporaryDirectory::entries(const std::string& inside) const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(file(inside))) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code error;
  std::filesystem::remove_all(_path, error);
}

}  // namespace zar::test
