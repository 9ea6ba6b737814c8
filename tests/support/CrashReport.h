#pragma once

#include <string_view>

namespace zar::test {

/// On a crash (SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT), prints to standard error the signal,
/// what was running (`setContext`) and the stack of the thread that crashed, with the program's
/// functions and source lines, so that a crash seen once on CI can be read from its log. Then the
/// crash goes on as it would have: to the handler installed before (a sanitizer's, which prints its
/// own report) or to the default action, so the exit status stays the signal's.
class CrashReport {
 public:
  /// Installs the handlers, once per process; the report runs on an alternate stack of the
  /// installing thread, so that a stack overflow there is reported too.
  static void install();
  /// What the report names as running (a test's name); copied. An empty text names nothing.
  static void setContext(std::string_view text);
};

}  // namespace zar::test
