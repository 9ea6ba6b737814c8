#pragma once

#include <memory>
#include <string>

#include "support/ChildProcess.h"

namespace zar::test {

/// Starts a private JACK server on the dummy driver under `name`, with periods of `periodFrames`
/// at 48 kHz, and makes it the server of this process and of the programs it starts
/// ($JACK_DEFAULT_SERVER); returns once it takes clients, or nothing when it didn't within 10 s.
/// Stopped (gracefully) when the result is destroyed. Tests that start one hold the ctest resource
/// lock `jack` (see tests/platform/CMakeLists.txt).
std::unique_ptr<ChildProcess> startJackServer(const std::string& name, int periodFrames = 1024);

}  // namespace zar::test
