#pragma once

#include <string>
#include <vector>

namespace zar::test {

/// A fresh directory under the system's temporary directory, removed with everything in it.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::string& path() const { return _path; }
  /// The path of an entry inside the directory.
  std::string file(const std::string& name) const { return _path + "/" + name; }
  /// The names of the entries in the directory (or in its subdirectory `inside`), sorted.
  std::vector<std::string> entries(const std::string& inside = "") const;

 private:
  std::string _path;
};

}  // namespace zar::test
