#include "support/CrashReport.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>

namespace {

// A store to an address no program maps; not to null, which UndefinedBehaviorSanitizer would
// report before the fault.
[[gnu::noinline]] void crashOnPurpose() {
  volatile std::uintptr_t address = 16;
  *reinterpret_cast<volatile int*>(address) = 1;
}

bool diedOfTheCrash(int status) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  // The sanitizer's handler comes after the report and ends the process with its own exit code.
  if (WIFEXITED(status)) return WEXITSTATUS(status) != 0;
#endif
  return WIFSIGNALED(status) && WTERMSIG(status) == SIGSEGV;
}

// The report names the signal, the test and the function that crashed, which is not exported, so
// only the program's debug information (addr2line) can name it; then the crash goes on.
TEST(CrashReportDeathTest, ACrashIsReportedWithTheTestAndTheCrashingFunction) {
  EXPECT_EXIT(crashOnPurpose(), diedOfTheCrash,
              "SIGSEGV at address 0x10 in thread [0-9]+ while running "
              "CrashReportDeathTest.ACrashIsReportedWithTheTestAndTheCrashingFunction"
              "(.|\n)*crashOnPurpose\\(\\) at .*CrashReportTest.cpp:[0-9]+");
}

}  // namespace
