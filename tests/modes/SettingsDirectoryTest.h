#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"
#include "support/TemporaryDirectory.h"

namespace zar::test {

/// A fixture whose platform keeps the settings files in a fresh temporary directory; the
/// platform in use before is put back afterwards.
class SettingsDirectoryTest : public ::testing::Test {
 protected:
  SettingsDirectoryTest() : _previous(platform::Platform::current()) {
    auto installed = std::make_shared<platform::Platform>();
    installed->fileUtility = std::make_shared<native::LocalFileUtility>(_directory.path());
    platform::Platform::install(installed);
  }
  ~SettingsDirectoryTest() override { platform::Platform::install(_previous); }

  std::string path(const std::string& fileName) const { return _directory.file(fileName); }
  std::optional<std::string> contentOf(const std::string& fileName) const {
    return native::LocalFileUtility(_directory.path()).readFile(path(fileName));
  }
  void putFile(const std::string& fileName, const std::string& content) const {
    ASSERT_TRUE(native::LocalFileUtility(_directory.path()).writeFileAtomically(path(fileName), content));
  }

 private:
  TemporaryDirectory _directory;
  std::shared_ptr<const platform::Platform> _previous;
};

}  // namespace zar::test
