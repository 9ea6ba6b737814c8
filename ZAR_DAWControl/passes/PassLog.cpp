#include "ZAR_DAWControl/passes/PassLog.h"

#include <pthread.h>
#include <sched.h>

#include <string_view>
#include <utility>

#include "ZAR_DAWControl/platform/Log.h"

namespace zar::passes {

using platform::FileRead;

PassLog::Contents PassLog::read(platform::FileUtility& files, const std::string& path) {
  Contents contents;
  FileRead file = files.read(path, kMaximumFileSize);
  contents.status = file.status;
  contents.failure = std::move(file.failure);
  if (file.status != FileRead::Status::read) {
    return contents;
  }
  std::string_view rest = file.content;
  while (!rest.empty()) {
    const std::size_t end = rest.find('\n');
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    if (end == std::string_view::npos) {
      contents.lastLineCutOff = true;
      break;
    }
    if (auto record = ZAR_DAWPassRecord::fromJSONLine(line)) {
      contents.records.push_back(std::move(*record));
      contents.lines.emplace_back(line);
    } else {
      ++contents.damagedLines;
    }
  }
  return contents;
}

PassLog::PassLog(std::shared_ptr<platform::FileUtility> files, std::string path, std::size_t keptPasses)
    : _files(std::move(files)), _path(std::move(path)), _keptPasses(std::max<std::size_t>(keptPasses, 1)) {}

PassLog::~PassLog() {
  {
    std::lock_guard lock(_mutex);
    _stopping = true;
  }
  _changed.notify_all();
  if (_writer.joinable()) _writer.join();
}

void PassLog::append(std::shared_ptr<const ZAR_DAWPassRecord> record) {
  if (!record) return;
  {
    std::lock_guard lock(_mutex);
    if (_stopping) return;
    _waiting.push_back(std::move(record));
    ++_handedOver;
    if (!_writer.joinable()) _writer = std::thread([this] { run(); });
  }
  _changed.notify_all();
}

void PassLog::flush() {
  std::unique_lock lock(_mutex);
  const std::uint64_t target = _handedOver;
  _changed.wait(lock, [&] { return _done >= target || !_writer.joinable(); });
}

void PassLog::run() {
  // A batch thread never takes the processor from the host's threads that hand records over.
  const sched_param batch{};
  ::pthread_setschedparam(::pthread_self(), SCHED_BATCH, &batch);
  std::unique_lock lock(_mutex);
  for (;;) {
    _changed.wait(lock, [this] { return !_waiting.empty() || _stopping; });
    if (_waiting.empty()) return;  // stopping, with everything written
    const auto record = std::move(_waiting.front());
    _waiting.pop_front();
    lock.unlock();
    if (!_usable) _usable = open();
    if (*_usable) write(*record);
    lock.lock();
    ++_done;
    _changed.notify_all();
  }
}

bool PassLog::open() {
  Contents contents = read(*_files, _path);
  switch (contents.status) {
    case FileRead::Status::missing:
      return true;
    case FileRead::Status::notRegular:
      ZAR_LOG_ERROR("The pass log {} is not a regular file; no pass is kept on disk in this run", _path);
      return false;
    case FileRead::Status::tooLarge:
    case FileRead::Status::failed:
    case FileRead::Status::read:
      break;
  }
  const bool damaged = contents.status != FileRead::Status::read || contents.damagedLines > 0;
  if (damaged) {
    const auto kept = _files->keepAside(_path, "damaged", kKeptDamagedCopies);
    const std::string why = contents.status != FileRead::Status::read
                                ? contents.failure
                                : fmt::format("{} of its lines hold no pass", contents.damagedLines);
    if (!kept.done) {
      ZAR_LOG_ERROR("The pass log {} is damaged ({}) and can't be kept aside ({}); no pass is kept on disk in this run",
                    _path, why, kept.failure);
      return false;
    }
    ZAR_LOG_WARN("The pass log {} was damaged ({}); it is kept as {} and a new one holds its {} whole passes", _path,
                 why, kept.path, contents.records.size());
  } else if (contents.lastLineCutOff) {
    ZAR_LOG_INFO("The pass log {} ended in a pass cut off while it was written; it is dropped", _path);
  }
  _lines = contents.lines.size();
  if (damaged || contents.lastLineCutOff || _lines > mostLines()) {
    const std::size_t first = _lines > _keptPasses ? _lines - _keptPasses : 0;
    std::string kept;
    for (std::size_t i = first; i < _lines; ++i) kept += contents.lines[i] + '\n';
    const auto written = _files->write(_path, kept);
    if (!written.done) {
      ZAR_LOG_ERROR("The pass log {} can't be written ({}); no pass is kept on disk in this run", _path,
                    written.failure);
      return false;
    }
    _lines -= first;
  }
  return true;
}

void PassLog::write(const ZAR_DAWPassRecord& record) {
  const auto appended = _files->append(_path, record.toJSONLine() + '\n');
  if (!appended.done) {
    if (!_failing) {
      ZAR_LOG_ERROR("Pass {} can't be kept in the pass log {} ({}); passes are not kept on disk until it can be written",
                    record.number, _path, appended.failure);
    }
    _failing = true;
    return;
  }
  if (_failing) {
    ZAR_LOG_WARN("Passes are kept in the pass log {} again", _path);
    _failing = false;
  }
  if (++_lines > mostLines()) cutBack();
}

std::size_t PassLog::mostLines() const { return _keptPasses + _keptPasses / 10; }

void PassLog::cutBack() {
  Contents contents = read(*_files, _path);
  if (contents.status != FileRead::Status::read) return;  // tried again after the next pass
  const std::size_t count = contents.lines.size();
  const std::size_t first = count > _keptPasses ? count - _keptPasses : 0;
  std::string kept;
  for (std::size_t i = first; i < count; ++i) kept += contents.lines[i] + '\n';
  if (_files->write(_path, kept).done) _lines = count - first;
}

}  // namespace zar::passes
