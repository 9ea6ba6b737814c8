#pragma once

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace zar::test {

/// A program run by a test, killed with the test (and with the test program). Its standard output
/// is read line by line, so a test can wait for what the program says; its standard input is a
/// pipe the test writes to; its standard error goes to the test's.
class ChildProcess {
 public:
  /// Starts `arguments[0]` (looked up in PATH); `running()` is false when it could not start.
  explicit ChildProcess(std::vector<std::string> arguments);
  /// Terminates it (SIGTERM, then SIGKILL after two seconds) unless it already ended.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t pid() const { return _pid; }
  bool running();
  /// The first line printed so far or within `timeout` that contains `text`; nothing when none
  /// came before the timeout or the end of the output.
  std::optional<std::string> waitForLine(const std::string& text, std::chrono::milliseconds timeout);
  /// Everything printed so far.
  std::vector<std::string> lines() const;
  /// How many lines printed so far contain `text`.
  std::size_t count(const std::string& text) const;
  /// Writes a line to the program's standard input; false when it no longer reads it.
  bool send(const std::string& line);
  /// Waits for the program to end by itself and for the end of its output; its exit status, or
  /// nothing after the timeout.
  std::optional<int> waitForExit(std::chrono::milliseconds timeout);
  /// Sends a signal and waits (bounded) until the program has ended.
  void kill(int signal);

 private:
  void readOutput(int fd);

  pid_t _pid = -1;
  int _input = -1;
  std::optional<int> _status;
  mutable std::mutex _mutex;
  std::condition_variable _changed;
  std::vector<std::string> _lines;
  bool _outputClosed = false;
  std::thread _reader;
};

}  // namespace zar::test
