#include "support/ChildProcess.h"

#include <signal.h>
#include <sys/socket.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace zar::test {

using namespace std::chrono_literals;

ChildProcess::ChildProcess(std::vector<std::string> arguments) {
  int output[2], input[2];
  if (arguments.empty() || ::pipe(output) != 0) return;
  // A socket rather than a pipe, so that writing to a program that ended fails instead of raising
  // SIGPIPE in the test.
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, input) != 0) {
    ::close(output[0]);
    ::close(output[1]);
    return;
  }
  _pid = ::fork();
  if (_pid == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::dup2(output[1], STDOUT_FILENO);
    ::dup2(input[0], STDIN_FILENO);
    ::close(output[0]);
    ::close(output[1]);
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    ::execvp(argv[0], argv.data());
    ::_exit(127);
  }
  ::close(output[1]);
  ::close(input[0]);
  _input = input[1];
  if (_pid < 0) {
    ::close(output[0]);
    return;
  }
  _reader = std::thread([this, fd = output[0]] { readOutput(fd); });
}

ChildProcess::~ChildProcess() {
  if (_pid > 0) kill(SIGTERM);
  if (_reader.joinable()) _reader.join();
  if (_input >= 0) ::close(_input);
}

bool ChildProcess::send(const std::string& line) {
  const std::string text = line + "\n";
  return _input >= 0 && ::send(_input, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
}

std::size_t ChildProcess::count(const std::string& text) const {
  std::lock_guard lock(_mutex);
  return static_cast<std::size_t>(
      std::count_if(_lines.begin(), _lines.end(), [&](const std::string& line) { return line.find(text) != std::string::npos; }));
}

void ChildProcess::readOutput(int fd) {
  std::string pending;
  char buffer[4096];
  ssize_t count = 0;
  while ((count = ::read(fd, buffer, sizeof buffer)) > 0) {
    pending.append(buffer, static_cast<std::size_t>(count));
    std::size_t end = 0;
    while ((end = pending.find('\n')) != std::string::npos) {
      std::lock_guard lock(_mutex);
      _lines.push_back(pending.substr(0, end));
      pending.erase(0, end + 1);
      _changed.notify_all();
    }
  }
  ::close(fd);
  std::lock_guard lock(_mutex);
  _outputClosed = true;
  _changed.notify_all();
}

bool ChildProcess::running() {
  if (_pid <= 0 || _status) return false;
  int status = 0;
  if (::waitpid(_pid, &status, WNOHANG) == _pid) {
    _status = status;
    return false;
  }
  return true;
}

std::optional<std::string> ChildProcess::waitForLine(const std::string& text, std::chrono::milliseconds timeout) {
  std::unique_lock lock(_mutex);
  std::optional<std::string> found;
  _changed.wait_for(lock, timeout, [&] {
    for (const auto& line : _lines) {
      if (line.find(text) != std::string::npos) {
        found = line;
        return true;
      }
    }
    return _outputClosed;
  });
  return found;
}

std::vector<std::string> ChildProcess::lines() const {
  std::lock_guard lock(_mutex);
  return _lines;
}

std::optional<int> ChildProcess::waitForExit(std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (running()) {
    if (std::chrono::steady_clock::now() >= deadline) return std::nullopt;
    std::this_thread::sleep_for(10ms);  // waitpid has no timeout: poll the bounded wait
  }
  if (!_status) return std::nullopt;
  // Everything it printed is read before its end is told: lines() right after has them all (a
  // program it started may hold the output open; then the wait is bounded).
  std::unique_lock lock(_mutex);
  _changed.wait_until(lock, std::max(deadline, std::chrono::steady_clock::now() + 2s), [&] { return _outputClosed; });
  return WIFEXITED(*_status) ? WEXITSTATUS(*_status) : 128 + WTERMSIG(*_status);
}

void ChildProcess::kill(int signal) {
  if (!running()) return;
  ::kill(_pid, signal);
  if (!waitForExit(2s) && running()) {
    ::kill(_pid, SIGKILL);
    waitForExit(2s);
  }
}

}  // namespace zar::test
