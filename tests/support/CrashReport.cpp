#include "support/CrashReport.h"

#include <execinfo.h>
#include <link.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <mutex>

namespace zar::test {

namespace {

// Everything the handler uses is made at installation: a handler may only call what is safe in
// a signal handler (write, fork, exec, wait, sigaction, raise), and backtrace() once warmed up.
constexpr int kSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};
constexpr int kMaxFrames = 64;
constexpr const char* kAddr2line = "/usr/bin/addr2line";

// The kernel's own record of each signal's action before ours, put back as it was: a sanitizer's
// sigaction wrapper hands back its bookkeeping instead, and ThreadSanitizer's report of the crash
// breaks off when its handler is put back through that wrapper. Opaque: only read and written back.
unsigned long previousActions[_NSIG][8];
std::atomic<bool> reporting{false};

char context[256];
std::atomic<std::size_t> contextLength{0};

// The program's file and where it is loaded, for addr2line, which names the functions that
// backtrace_symbols_fd can't (those not exported) and gives their source lines.
char executable[PATH_MAX];
bool symbolize = false;
std::uintptr_t loadBias = 0;
std::uintptr_t executableStart = UINTPTR_MAX;
std::uintptr_t executableEnd = 0;
char addressTexts[kMaxFrames][24];
char* addr2lineArguments[kMaxFrames + 8];

alignas(16) char alternateStack[64 * 1024];

void writeBytes(const char* text, std::size_t left) {
  while (left > 0) {
    const ssize_t written = ::write(STDERR_FILENO, text, left);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    text += written;
    left -= static_cast<std::size_t>(written);
  }
}

void writeText(const char* text) { writeBytes(text, std::strlen(text)); }

/// `value` in hexadecimal ("0x1f") or decimal, into `out` (24 bytes hold any).
void formatNumber(std::uintptr_t value, bool hexadecimal, char* out) {
  const unsigned base = hexadecimal ? 16 : 10;
  char digits[24];
  int count = 0;
  do {
    digits[count++] = "0123456789abcdef"[value % base];
    value /= base;
  } while (value != 0);
  if (hexadecimal) {
    *out++ = '0';
    *out++ = 'x';
  }
  while (count > 0) *out++ = digits[--count];
  *out = '\0';
}

void writeNumber(std::uintptr_t value, bool hexadecimal) {
  char text[24];
  formatNumber(value, hexadecimal, text);
  writeText(text);
}

/// The address at which the crashing thread stopped, to leave the handler's own frames out.
std::uintptr_t crashAddress([[maybe_unused]] void* ucontext) {
#if defined(__x86_64__)
  return static_cast<std::uintptr_t>(static_cast<ucontext_t*>(ucontext)->uc_mcontext.gregs[REG_RIP]);
#else
  return 0;
#endif
}

/// Runs addr2line on the frames that are in the program itself, in a child that an alarm ends
/// after 10 s (a crash in the allocator can leave locks that a child inherits).
void writeSourceLines(void* const* frames, int count, int first) {
  int arguments = 0;
  for (const char* argument : {"addr2line", "-a", "-C", "-f", "-i", "-p", "-e"}) {
    addr2lineArguments[arguments++] = const_cast<char*>(argument);
  }
  addr2lineArguments[arguments++] = executable;
  const int firstAddress = arguments;
  for (int i = first; i < count; ++i) {
    auto address = reinterpret_cast<std::uintptr_t>(frames[i]);
    if (address < executableStart || address >= executableEnd) continue;
    // Every frame but the crashing one holds a return address, the instruction after the call.
    if (i != first) --address;
    formatNumber(address - loadBias, true, addressTexts[i]);
    addr2lineArguments[arguments++] = addressTexts[i];
  }
  addr2lineArguments[arguments] = nullptr;
  if (arguments == firstAddress) return;
  writeText("*** functions and lines in the program (addr2line):\n");
  const pid_t child = ::_Fork();
  if (child == 0) {
    ::alarm(10);
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    ::execv(kAddr2line, addr2lineArguments);
    ::_exit(127);
  }
  if (child > 0) {
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
  }
}

void report(int signal, const siginfo_t* info, void* ucontext) {
  writeText("\n*** SIG");
  writeText(::sigabbrev_np(signal));
  if (signal != SIGABRT) {
    writeText(" at address ");
    writeNumber(reinterpret_cast<std::uintptr_t>(info->si_addr), true);
  }
  writeText(" in thread ");
  writeNumber(static_cast<std::uintptr_t>(::gettid()), false);
  if (const std::size_t length = contextLength.load(); length > 0) {
    writeText(" while running ");
    writeBytes(context, length);
  }
  writeText("\n*** stack, innermost frame first:\n");
  void* frames[kMaxFrames];
  const int count = ::backtrace(frames, kMaxFrames);
  // The first frames are this handler's and the kernel's signal frame; the stack of interest
  // starts where the thread stopped.
  int first = 0;
  const std::uintptr_t stopped = crashAddress(ucontext);
  for (int i = 0; i < count; ++i) {
    if (reinterpret_cast<std::uintptr_t>(frames[i]) == stopped) {
      first = i;
      break;
    }
  }
  ::backtrace_symbols_fd(frames + first, count - first, STDERR_FILENO);
  if (symbolize) writeSourceLines(frames, count, first);
  writeText("*** end of the crash report\n");
}

void onCrash(int signal, siginfo_t* info, void* ucontext) {
  if (reporting.exchange(true)) {
    // Another thread crashed first and is reporting; it ends the process.
    for (;;) ::pause();
  }
  report(signal, info, ucontext);
  // The crash goes on as without the report: a fault returns to the instruction, which faults
  // again into the previous handler or the default action; a signal that was sent is sent again
  // and delivered when this handler returns.
  ::syscall(SYS_rt_sigaction, signal, previousActions[signal], nullptr, _NSIG / 8);
  if (info->si_code <= 0) ::raise(signal);
}

/// Where the program is loaded: the first object dl_iterate_phdr lists is the program itself.
int findProgram(dl_phdr_info* info, std::size_t, void*) {
  loadBias = info->dlpi_addr;
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const auto& header = info->dlpi_phdr[i];
    if (header.p_type != PT_LOAD) continue;
    executableStart = std::min<std::uintptr_t>(executableStart, loadBias + header.p_vaddr);
    executableEnd = std::max<std::uintptr_t>(executableEnd, loadBias + header.p_vaddr + header.p_memsz);
  }
  return 1;
}

}  // namespace

void CrashReport::install() {
  static std::once_flag once;
  std::call_once(once, [] {
    // backtrace() loads the unwinder on its first call, which a signal handler must not do.
    void* frame = nullptr;
    ::backtrace(&frame, 1);
    const ssize_t length = ::readlink("/proc/self/exe", executable, sizeof executable - 1);
    if (length > 0) {
      executable[length] = '\0';
      ::dl_iterate_phdr(&findProgram, nullptr);
      symbolize = ::access(kAddr2line, X_OK) == 0;
    }
    // A sanitizer may have given the thread an alternate stack already; it stays.
    stack_t current{};
    if (::sigaltstack(nullptr, &current) == 0 && (current.ss_flags & SS_DISABLE) != 0) {
      stack_t stack{};
      stack.ss_sp = alternateStack;
      stack.ss_size = sizeof alternateStack;
      ::sigaltstack(&stack, nullptr);
    }
    struct sigaction action{};
    action.sa_sigaction = &onCrash;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (const int signal : kSignals) {
      ::syscall(SYS_rt_sigaction, signal, nullptr, previousActions[signal], _NSIG / 8);
      ::sigaction(signal, &action, nullptr);
    }
  });
}

void CrashReport::setContext(std::string_view text) {
  // A report that reads the text while it changes prints a mix of two names at worst.
  contextLength.store(0);
  const std::size_t length = std::min(text.size(), sizeof context);
  std::copy_n(text.begin(), length, context);
  contextLength.store(length);
}

}  // namespace zar::test
