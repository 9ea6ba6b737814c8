#include "support/FakeAtspiBus.h"

#include <algorithm>

namespace zar::test {

using platform::AXError;
using x11::AtspiEvent;
using x11::AtspiField;
using x11::AtspiRef;

namespace {

const AtspiRef kDesktop{":1.1", x11::kAtspiRootPath};

}  // namespace

AtspiRef FakeAtspiBus::add(const std::string& bus, const std::string& path, Object object, std::int32_t pid) {
  const AtspiRef ref{bus, path};
  std::lock_guard lock(_mutex);
  _objects[key(ref)] = std::move(object);
  _pids[bus] = pid;
  if (path == x11::kAtspiRootPath) _applications.push_back(ref);
  return ref;
}

void FakeAtspiBus::edit(const AtspiRef& ref, const std::function<void(Object&)>& change) {
  std::lock_guard lock(_mutex);
  change(_objects.at(key(ref)));
}

void FakeAtspiBus::remove(const AtspiRef& ref) {
  std::lock_guard lock(_mutex);
  _objects.erase(key(ref));
}

void FakeAtspiBus::announce(const AtspiRef& ref, AtspiField field) {
  const AtspiEvent event{AtspiEvent::Kind::changed, ref, field};
  {
    std::lock_guard lock(_mutex);
    if (_holding) {
      _held.push_back(event);
      return;
    }
  }
  deliver(event);
}

void FakeAtspiBus::holdAnnouncements(bool hold) {
  std::lock_guard lock(_mutex);
  _holding = hold;
}

void FakeAtspiBus::leave(const std::string& bus) {
  {
    std::lock_guard lock(_mutex);
    std::erase_if(_applications, [&](const AtspiRef& ref) { return ref.bus == bus; });
    std::erase_if(_objects, [&](const auto& entry) { return entry.first.starts_with(bus + '\n'); });
  }
  deliver(AtspiEvent{AtspiEvent::Kind::applicationGone, AtspiRef{bus, {}}, {}});
}

void FakeAtspiBus::loseBus() {
  {
    std::lock_guard lock(_mutex);
    _reachable = false;
  }
  deliver(AtspiEvent{AtspiEvent::Kind::busLost, {}, {}});
}

void FakeAtspiBus::setReadHook(std::function<void(const x11::AtspiRead&)> hook) {
  std::lock_guard lock(_mutex);
  _readHook = std::move(hook);
}

void FakeAtspiBus::setEventSink(EventSink sink) {
  std::lock_guard lock(_sinkMutex);
  _sink = std::move(sink);
}

void FakeAtspiBus::deliver(const AtspiEvent& event) {
  std::lock_guard lock(_sinkMutex);
  if (_sink) _sink(event);
}

bool FakeAtspiBus::reachable() {
  std::lock_guard lock(_mutex);
  return _reachable;
}

AtspiRef FakeAtspiBus::desktop() { return kDesktop; }

std::vector<x11::AtspiReply> FakeAtspiBus::read(const std::vector<x11::AtspiRead>& reads) {
  std::function<void(const x11::AtspiRead&)> hook;
  {
    std::lock_guard lock(_mutex);
    hook = _readHook;
    ++_readCalls;
    _fieldsRead += reads.size();
  }
  std::vector<x11::AtspiReply> replies(reads.size());
  for (std::size_t i = 0; i < reads.size(); ++i) {
    if (hook) hook(reads[i]);
    std::lock_guard lock(_mutex);
    x11::AtspiReply& reply = replies[i];
    if (!_reachable) {
      reply.error = AXError::apiDisabled;
      continue;
    }
    if (reads[i].ref == kDesktop) {
      if (reads[i].field == AtspiField::children) reply.value = _applications;
      else reply.error = AXError::attributeUnsupported;
      continue;
    }
    const auto it = _objects.find(key(reads[i].ref));
    if (it == _objects.end()) {
      reply.error = AXError::invalidUIElement;
      continue;
    }
    const Object& object = it->second;
    const auto needs = [&](std::uint64_t interface) {
      if ((object.interfaces & interface) == 0) reply.error = AXError::attributeUnsupported;
      return (object.interfaces & interface) != 0;
    };
    switch (reads[i].field) {
      case AtspiField::role: reply.value = object.role; break;
      case AtspiField::interfaces: reply.value = object.interfaces; break;
      case AtspiField::states: reply.value = object.states; break;
      case AtspiField::name: reply.value = object.name; break;
      case AtspiField::description: reply.value = object.description; break;
      case AtspiField::children: reply.value = object.children; break;
      case AtspiField::parent: reply.value = object.parent; break;
      case AtspiField::text: if (needs(x11::kAtspiText)) reply.value = object.text; break;
      case AtspiField::value: if (needs(x11::kAtspiValue)) reply.value = object.value; break;
      case AtspiField::extents: if (needs(x11::kAtspiComponent)) reply.value = object.extents; break;
      case AtspiField::actionCount: if (needs(x11::kAtspiAction)) reply.value = object.actionCount; break;
    }
  }
  return replies;
}

std::optional<std::int32_t> FakeAtspiBus::processOf(const std::string& bus) {
  std::lock_guard lock(_mutex);
  const auto it = _pids.find(bus);
  return it != _pids.end() ? std::optional(it->second) : std::nullopt;
}

AXError FakeAtspiBus::write(const AtspiRef& ref, const std::function<void(Object&)>& change) {
  std::lock_guard lock(_mutex);
  const auto it = _objects.find(key(ref));
  if (it == _objects.end()) return AXError::invalidUIElement;
  change(it->second);
  return AXError::success;
}

AXError FakeAtspiBus::doAction(const AtspiRef& ref, std::int32_t) {
  return write(ref, [](Object&) {});
}

AXError FakeAtspiBus::actionText(const AtspiRef&, std::int32_t, std::string& text) {
  text = "click";
  return AXError::success;
}

AXError FakeAtspiBus::setText(const AtspiRef& ref, const std::string& text) {
  return write(ref, [&](Object& object) { object.text = text; });
}

AXError FakeAtspiBus::setValue(const AtspiRef& ref, double value) {
  return write(ref, [&](Object& object) { object.value = value; });
}

void FakeAtspiBus::barrier(const std::string&) {
  std::vector<AtspiEvent> held;
  {
    std::lock_guard lock(_mutex);
    ++_barriers;
    held.swap(_held);
  }
  for (const auto& event : held) deliver(event);
}

std::uint64_t FakeAtspiBus::messagesSent() const { return fieldsRead(); }

}  // namespace zar::test
