#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "ZAR_DAWControl/platform/x11/AtspiTransport.h"

namespace zar::test {

/// An accessibility bus in memory for the mirror's tests: objects whose fields a test sets, and
/// changes announced when the test says so (or held back, as a slow bus or a silent toolkit
/// would). Counts what the mirror asks of it.
class FakeAtspiBus final : public x11::AtspiTransport {
 public:
  struct Object {
    std::uint32_t role = 0;
    std::uint64_t interfaces = 0;
    std::uint64_t states = 0;
    std::string name{};
    std::string description{};
    std::string text{};
    std::vector<x11::AtspiRef> children{};
    x11::AtspiRef parent{};
    double value = 0;
    x11::AtspiExtents extents{};
    std::int32_t actionCount = 0;
  };

  /// An object of the application on `bus` (process `pid`), listed among the desktop's children
  /// when it is the application's own object.
  x11::AtspiRef add(const std::string& bus, const std::string& path, Object object, std::int32_t pid = 100);
  /// Changes an object as its application would, without a word.
  void edit(const x11::AtspiRef& ref, const std::function<void(Object&)>& change);
  void remove(const x11::AtspiRef& ref);
  /// Announces a change: to the sink at once, or after the next barrier while announcements are
  /// held back.
  void announce(const x11::AtspiRef& ref, x11::AtspiField field);
  void holdAnnouncements(bool hold);
  void leave(const std::string& bus);
  void loseBus();
  /// Runs during each read, before it is answered.
  void setReadHook(std::function<void(const x11::AtspiRead&)> hook);

  /// Fields read, calls that read them (a batch is one call), barriers waited for.
  std::size_t fieldsRead() const { return counted(&FakeAtspiBus::_fieldsRead); }
  std::size_t readCalls() const { return counted(&FakeAtspiBus::_readCalls); }
  std::size_t barriers() const { return counted(&FakeAtspiBus::_barriers); }

  void setEventSink(EventSink sink) override;
  bool reachable() override;
  x11::AtspiRef desktop() override;
  std::vector<x11::AtspiReply> read(const std::vector<x11::AtspiRead>& reads) override;
  std::optional<std::int32_t> processOf(const std::string& bus) override;
  platform::AXError doAction(const x11::AtspiRef& ref, std::int32_t index) override;
  platform::AXError actionText(const x11::AtspiRef& ref, std::int32_t index, std::string& text) override;
  platform::AXError setText(const x11::AtspiRef& ref, const std::string& text) override;
  platform::AXError setValue(const x11::AtspiRef& ref, double value) override;
  void barrier(const std::string& bus) override;
  std::uint64_t messagesSent() const override;

 private:
  static std::string key(const x11::AtspiRef& ref) { return ref.bus + '\n' + ref.path; }
  std::size_t counted(std::size_t FakeAtspiBus::*count) const {
    std::lock_guard lock(_mutex);
    return this->*count;
  }
  /// Sets a field of an object that exists.
  platform::AXError write(const x11::AtspiRef& ref, const std::function<void(Object&)>& change);
  void deliver(const x11::AtspiEvent& event);

  mutable std::mutex _mutex;
  std::map<std::string, Object> _objects;
  std::map<std::string, std::int32_t> _pids;
  std::vector<x11::AtspiRef> _applications;
  std::vector<x11::AtspiEvent> _held;
  bool _holding = false;
  bool _reachable = true;
  std::function<void(const x11::AtspiRead&)> _readHook;
  std::size_t _fieldsRead = 0;
  std::size_t _readCalls = 0;
  std::size_t _barriers = 0;
  std::mutex _sinkMutex;
  EventSink _sink;
};

}  // namespace zar::test
