#include "ZAR_DAWControl/platform/x11/AtspiMirror.h"

#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "ZAR_DAWControl/platform/Log.h"

namespace zar::x11 {

using platform::AXError;

namespace {

// What a press or a set may have changed.
constexpr AtspiField kTouchedFields[] = {AtspiField::states, AtspiField::name, AtspiField::description,
                                         AtspiField::text, AtspiField::value};
// What is read of a child not known yet, together with its siblings: what any read of it needs
// first (the attribute names come from role, interfaces and states) and its title, by which
// controls are found; then, for those that have a place on the screen, that place.
constexpr AtspiField kPrefetched[] = {AtspiField::role, AtspiField::interfaces, AtspiField::states,
                                      AtspiField::name};
// After this many elements made since the last sweep, forgotten ones are swept from the index.
constexpr std::size_t kSweepSlack = 256;

constexpr std::size_t slotOf(AtspiField field) { return static_cast<std::size_t>(field); }

// Roles and interfaces don't change for an object's life.
constexpr bool lasting(AtspiField field) { return field == AtspiField::role || field == AtspiField::interfaces; }

bool processRuns(std::int32_t pid) { return pid > 0 && (::kill(pid, 0) == 0 || errno == EPERM); }

// A descriptor that becomes readable once the process ended; -1 where the system has none.
int processHandle(std::int32_t pid) { return static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)); }

}  // namespace

AtspiMirror::AtspiMirror(std::shared_ptr<AtspiTransport> transport, std::shared_ptr<platform::Clock> clock,
                         Options options)
    : _transport(std::move(transport)), _clock(std::move(clock)), _options(options) {
  _transport->setEventSink([this](const AtspiEvent& event) { apply(event); });
}

AtspiMirror::~AtspiMirror() {
  {
    std::lock_guard lock(_confirmMutex);
    _stopping = true;
  }
  _confirmWake.notify_all();
  if (_confirmer.joinable()) _confirmer.join();
  _transport->setEventSink({});
}

void AtspiMirror::startConfirming() {
  if (!_options.enabled || _confirmer.joinable()) return;
  _confirmer = std::thread([this] {
    std::unique_lock lock(_confirmMutex);
    const auto interval = std::chrono::duration<double>(_options.confirmInterval);
    while (!_confirmWake.wait_for(lock, interval, [this] { return _stopping; })) {
      lock.unlock();
      forgetPositionsIfMoved();  // also keeps the desktop's queue of window moves short
      confirmDue();
      lock.lock();
    }
  });
}

void AtspiMirror::setScreenChanges(std::function<std::uint64_t()> count) {
  const std::uint64_t now = count ? count() : 0;
  std::lock_guard lock(_mutex);
  _screenChanges = std::move(count);
  _screenChangesSeen = now;
}

// Element lookup and liveness.

std::shared_ptr<AtspiElement::Application> AtspiMirror::applicationLocked(const std::string& bus) {
  auto& entry = _applications[bus];
  auto application = entry.lock();
  if (!application) {
    application = std::make_shared<AtspiElement::Application>(bus);
    entry = application;
  }
  return application;
}

AtspiMirror::ElementRef AtspiMirror::internLocked(const AtspiRef& ref) {
  auto& entry = _elements[key(ref)];
  if (auto element = entry.lock()) return element;
  auto element = std::make_shared<AtspiElement>(this, ref, applicationLocked(ref.bus));
  entry = element;
  if (_elements.size() > _liveAtLastSweep + kSweepSlack) {
    std::erase_if(_elements, [](const auto& item) { return item.second.expired(); });
    std::erase_if(_applications, [](const auto& item) { return item.second.expired(); });
    _liveAtLastSweep = _elements.size();
  }
  return element;
}

AtspiMirror::ElementRef AtspiMirror::desktopLocked() {
  const AtspiRef ref = _transport->desktop();
  if (!_desktop || _desktop->_ref != ref) _desktop = internLocked(ref);
  return _desktop;
}

AXError AtspiMirror::aliveLocked(AtspiElement& object) {
  AtspiElement::Application& application = *object._application;
  if (object._gone || application.gone) return AXError::invalidUIElement;
  if (application.processHandle >= 0) {
    pollfd ended{application.processHandle, POLLIN, 0};
    if (::poll(&ended, 1, 0) > 0) {
      application.gone = true;
      return AXError::invalidUIElement;
    }
  }
  return AXError::success;
}

std::optional<std::int32_t> AtspiMirror::processOf(const std::shared_ptr<AtspiElement::Application>& application) {
  {
    std::lock_guard lock(_mutex);
    if (application->pid) return application->pid;
  }
  const auto pid = _transport->processOf(application->bus);
  if (!pid) return std::nullopt;
  const int handle = processHandle(*pid);
  std::lock_guard lock(_mutex);
  if (!application->pid) {
    application->pid = pid;
    application->processHandle = handle;
  } else if (handle >= 0) {
    ::close(handle);
  }
  return application->pid;
}

AXError AtspiMirror::resolve(AtspiElement& element, ElementRef& object) {
  if (!_transport->reachable()) return AXError::apiDisabled;
  if (!element.isApplicationOfProcess()) {
    // The caller holds the element for the length of the call; the alias owns nothing.
    object = ElementRef(ElementRef(), &element);
    return AXError::success;
  }
  ElementRef desktop;
  {
    std::lock_guard lock(_mutex);
    if (element._found) {
      object = element._found;
      return AXError::success;
    }
    desktop = desktopLocked();
  }
  Answer listed;
  if (const AXError result = read(*desktop, {AtspiField::children}, listed); result != AXError::success) {
    return result == AXError::apiDisabled ? result : AXError::cannotComplete;
  }
  const std::int32_t pid = *element._pidAsked;
  for (const auto& application : listed.children) {
    if (processOf(application->_application) != pid) continue;
    std::lock_guard lock(_mutex);
    element._found = application;
    object = application;
    return AXError::success;
  }
  return processRuns(pid) ? AXError::cannotComplete : AXError::invalidUIElement;
}

// Reading.

bool AtspiMirror::answerLocked(AtspiElement& object, AtspiField field, Answer& answer, double now) {
  AtspiElement::Slot& slot = object._slots[slotOf(field)];
  const bool young = now - slot.confirmedAt <= _options.refetchAfter;
  if (!slot.known || !(lasting(field) || (_options.enabled && young))) return false;
  slot.readAt = now;
  copyLocked(object, field, answer);
  return true;
}

void AtspiMirror::copyLocked(const AtspiElement& object, AtspiField field, Answer& answer) {
  const Answer& known = object._values;
  switch (field) {
    case AtspiField::role: answer.role = known.role; break;
    case AtspiField::interfaces: answer.interfaces = known.interfaces; break;
    case AtspiField::states: answer.states = known.states; break;
    case AtspiField::name: answer.name = known.name; break;
    case AtspiField::description: answer.description = known.description; break;
    case AtspiField::text: answer.text = known.text; break;
    case AtspiField::children: answer.children = known.children; break;
    case AtspiField::parent: answer.parent = known.parent; break;
    case AtspiField::value: answer.value = known.value; break;
    case AtspiField::extents: answer.extents = known.extents; break;
    case AtspiField::actionCount: answer.actionCount = known.actionCount; break;
  }
}

std::shared_ptr<AtspiElement> AtspiMirror::element(const AtspiRef& ref) {
  if (ref.bus.empty()) return nullptr;
  std::lock_guard lock(_mutex);
  return internLocked(ref);
}

AXError AtspiMirror::read(AtspiElement& element, std::initializer_list<AtspiField> fields, Answer& answer) {
  ElementRef object;
  if (const AXError result = resolve(element, object); result != AXError::success) return result;
  if (std::find(fields.begin(), fields.end(), AtspiField::extents) != fields.end()) forgetPositionsIfMoved();
  std::vector<Pending> missing;
  for (bool waited = false;;) {
    const std::uint64_t epoch = _inputEpoch.load();
    {
      std::lock_guard lock(_mutex);
      if (const AXError result = aliveLocked(*object); result != AXError::success) return result;
      AtspiElement::Application& application = *object->_application;
      // After input, what the application announced before it is waited for first.
      if (waited || !_options.enabled || application.barrierEpoch >= epoch) {
        application.barrierEpoch = std::max(application.barrierEpoch, epoch);
        const double now = _clock->now();
        for (const AtspiField field : fields) {
          if (!answerLocked(*object, field, answer, now)) missing.push_back({object, field, object->_slots[slotOf(field)].generation});
        }
        break;
      }
    }
    _transport->barrier(object->_application->bus);
    waited = true;
  }
  if (missing.empty()) return AXError::success;

  const auto errors = readTogether(missing);
  for (const AXError error : errors) {
    if (error != AXError::success) return error;
  }
  std::vector<ElementRef> unknownChildren;
  {
    std::lock_guard lock(_mutex);
    for (const Pending& read : missing) {
      const AtspiField field = read.field;
      copyLocked(*object, field, answer);  // handed over as read, also when a change came in meanwhile
      if (field == AtspiField::children && _options.enabled) {
        for (const auto& child : object->_values.children) {
          if (!child->_slots[slotOf(AtspiField::role)].known) unknownChildren.push_back(child);
        }
      }
    }
  }
  if (!unknownChildren.empty()) prefetchChildren(unknownChildren);
  return AXError::success;
}

bool AtspiMirror::storeLocked(AtspiElement& object, AtspiField field, const AtspiValue& value,
                              std::uint32_t generation, double now, bool* changed) {
  bool stored = false;
  bool differs = false;
  const auto keep = [&](auto& member) {
    using Member = std::decay_t<decltype(member)>;
    const Member* given = std::get_if<Member>(&value);
    if (given == nullptr) return;
    differs = !(member == *given);
    member = *given;
    stored = true;
  };
  Answer& known = object._values;
  switch (field) {
    case AtspiField::role: keep(known.role); break;
    case AtspiField::interfaces: keep(known.interfaces); break;
    case AtspiField::name: keep(known.name); break;
    case AtspiField::description: keep(known.description); break;
    case AtspiField::states: keep(known.states); break;
    case AtspiField::text: keep(known.text); break;
    case AtspiField::parent: keep(known.parent); break;
    case AtspiField::value: keep(known.value); break;
    case AtspiField::extents: keep(known.extents); break;
    case AtspiField::actionCount: keep(known.actionCount); break;
    case AtspiField::children: {
      const auto* refs = std::get_if<std::vector<AtspiRef>>(&value);
      if (refs == nullptr) break;
      std::vector<ElementRef> children;
      children.reserve(refs->size());
      for (const AtspiRef& ref : *refs) children.push_back(internLocked(ref));
      differs = children != known.children;
      known.children = std::move(children);
      stored = true;
      break;
    }
  }
  if (!stored) return false;
  if (changed != nullptr) *changed = differs;
  AtspiElement::Slot& slot = object._slots[slotOf(field)];
  // A control not shown (yet) has no place, told by the smallest coordinates: it may be shown
  // and placed without a word in between, so that is asked again rather than kept.
  const bool unplaced = field == AtspiField::extents && (known.extents.x == INT32_MIN || known.extents.y == INT32_MIN);
  // A change announced while the read was under way: the answer may be from before it.
  if (slot.generation == generation && !unplaced) {
    slot.known = true;
    slot.confirmedAt = now;
    slot.readAt = now;
  }
  return true;
}

void AtspiMirror::prefetchChildren(const std::vector<ElementRef>& children) {
  prefetch(children, kPrefetched);
  // Asking an object without a place for one makes toolkits complain: only those that have one.
  std::vector<ElementRef> placed;
  {
    std::lock_guard lock(_mutex);
    for (const auto& child : children) {
      if (child->_slots[slotOf(AtspiField::interfaces)].known && (child->_values.interfaces & kAtspiComponent) != 0) {
        placed.push_back(child);
      }
    }
  }
  constexpr AtspiField kPlace[] = {AtspiField::extents};
  prefetch(placed, kPlace);
}

void AtspiMirror::prefetch(const std::vector<ElementRef>& elements, std::span<const AtspiField> fields) {
  std::vector<Pending> pending;
  {
    std::lock_guard lock(_mutex);
    for (const auto& element : elements) {
      for (const AtspiField field : fields) {
        const AtspiElement::Slot& slot = element->_slots[slotOf(field)];
        if (!slot.known) pending.push_back({element, field, slot.generation});
      }
    }
  }
  readTogether(pending);
}

std::vector<AXError> AtspiMirror::readTogether(const std::vector<Pending>& pending, std::size_t* changed) {
  std::vector<AXError> errors(pending.size(), AXError::cannotComplete);
  if (pending.empty()) return errors;
  std::vector<AtspiRead> reads;
  reads.reserve(pending.size());
  for (const Pending& entry : pending) reads.push_back({entry.element->_ref, entry.field});
  const auto replies = _transport->read(reads);
  std::lock_guard lock(_mutex);
  const double now = _clock->now();
  for (std::size_t i = 0; i < pending.size() && i < replies.size(); ++i) {
    AtspiElement& element = *pending[i].element;
    bool differs = false;
    errors[i] = replies[i].error;
    if (errors[i] == AXError::invalidUIElement) element._gone = true;
    if (errors[i] != AXError::success) continue;
    if (!storeLocked(element, pending[i].field, replies[i].value, pending[i].generation, now, &differs)) {
      errors[i] = AXError::cannotComplete;  // an answer of the wrong kind
    } else if (changed != nullptr && differs) {
      ++*changed;
    }
  }
  return errors;
}

AXError AtspiMirror::pid(AtspiElement& element, std::int32_t& pid) {
  if (element.isApplicationOfProcess()) {
    pid = *element._pidAsked;
    return AXError::success;
  }
  const auto process = processOf(element._application);
  if (!process) return AXError::cannotComplete;
  pid = *process;
  return AXError::success;
}

std::shared_ptr<AtspiElement> AtspiMirror::applicationOfProcess(std::int32_t pid) {
  return std::make_shared<AtspiElement>(this, pid);
}

std::vector<AtspiMirror::ApplicationInfo> AtspiMirror::applications() {
  std::vector<ApplicationInfo> result;
  ElementRef desktop;
  {
    std::lock_guard lock(_mutex);
    desktop = desktopLocked();
  }
  Answer listed;
  if (read(*desktop, {AtspiField::children}, listed) != AXError::success) return result;
  for (const auto& root : listed.children) {
    Answer application;
    // An application that quits while it is listed is left out.
    if (read(*root, {AtspiField::name, AtspiField::description}, application) != AXError::success) continue;
    result.push_back({processOf(root->_application).value_or(0), std::move(application.name),
                      std::move(application.description)});
  }
  return result;
}

// Writing.

void AtspiMirror::forgetLocked(AtspiElement& object, AtspiField field) {
  AtspiElement::Slot& slot = object._slots[slotOf(field)];
  slot.known = false;
  ++slot.generation;
}

void AtspiMirror::touched(AtspiElement& object) {
  std::lock_guard lock(_mutex);
  for (const AtspiField field : kTouchedFields) forgetLocked(object, field);
}

template <typename Write>
AXError AtspiMirror::write(AtspiElement& element, Write write) {
  ElementRef object;
  if (const AXError result = resolve(element, object); result != AXError::success) return result;
  const AXError result = write(object->_ref);
  touched(*object);
  if (result == AXError::invalidUIElement) {
    std::lock_guard lock(_mutex);
    object->_gone = true;
  }
  return result;
}

AXError AtspiMirror::doAction(AtspiElement& element, std::int32_t index) {
  return write(element, [&](const AtspiRef& ref) { return _transport->doAction(ref, index); });
}

AXError AtspiMirror::actionText(AtspiElement& element, std::int32_t index, std::string& text) {
  ElementRef object;
  if (const AXError result = resolve(element, object); result != AXError::success) return result;
  return _transport->actionText(object->_ref, index, text);
}

AXError AtspiMirror::setText(AtspiElement& element, const std::string& text) {
  return write(element, [&](const AtspiRef& ref) { return _transport->setText(ref, text); });
}

AXError AtspiMirror::setValue(AtspiElement& element, double value) {
  return write(element, [&](const AtspiRef& ref) { return _transport->setValue(ref, value); });
}

// Changes.

void AtspiMirror::forgetPositionsIfMoved() {
  std::function<std::uint64_t()> count;
  {
    std::lock_guard lock(_mutex);
    count = _screenChanges;
  }
  if (!count) return;
  const std::uint64_t changes = count();
  std::lock_guard lock(_mutex);
  if (changes == _screenChangesSeen) return;
  _screenChangesSeen = changes;
  for (const auto& [key, entry] : _elements) {
    if (const auto element = entry.lock()) forgetLocked(*element, AtspiField::extents);
  }
}

void AtspiMirror::apply(const AtspiEvent& event) {
  std::vector<ElementRef> released;  // dropped after the lock, should they be the last holders
  std::lock_guard lock(_mutex);
  switch (event.kind) {
    case AtspiEvent::Kind::changed: {
      const auto it = _elements.find(key(event.ref));
      if (it == _elements.end()) return;
      if (auto element = it->second.lock()) {
        forgetLocked(*element, event.field);
        released.push_back(std::move(element));
      }
      return;
    }
    case AtspiEvent::Kind::applicationGone:
      if (const auto it = _applications.find(event.ref.bus); it != _applications.end()) {
        if (const auto application = it->second.lock()) application->gone = true;
      }
      if (_desktop) forgetLocked(*_desktop, AtspiField::children);
      return;
    case AtspiEvent::Kind::busLost:
      // A bus started again numbers its connections from the start: nothing known of the old one
      // may be taken for an object of the new.
      for (const auto& [bus, entry] : _applications) {
        if (const auto application = entry.lock()) application->gone = true;
      }
      _applications.clear();
      _elements.clear();
      _liveAtLastSweep = 0;
      if (_desktop) released.push_back(std::exchange(_desktop, nullptr));
      return;
  }
}

// Confirmation.

void AtspiMirror::confirmDue() {
  if (!_options.enabled) return;
  std::vector<std::pair<double, Pending>> due;  // with when each was last confirmed
  {
    std::lock_guard lock(_mutex);
    const double now = _clock->now();
    for (const auto& [key, entry] : _elements) {
      auto element = entry.lock();
      if (!element || element->_gone || element->_application->gone) continue;
      for (std::size_t i = 0; i < kAtspiFieldCount; ++i) {
        const auto field = static_cast<AtspiField>(i);
        const AtspiElement::Slot& slot = element->_slots[i];
        if (lasting(field) || !slot.known || now - slot.confirmedAt <= _options.confirmAfter ||
            slot.readAt <= slot.confirmedAt) {
          continue;
        }
        due.push_back({slot.confirmedAt, {element, field, slot.generation}});
      }
    }
  }
  if (due.empty()) return;
  std::sort(due.begin(), due.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  if (due.size() > _options.confirmBatch) due.resize(_options.confirmBatch);
  std::vector<Pending> pending;
  pending.reserve(due.size());
  for (auto& entry : due) pending.push_back(std::move(entry.second));
  std::size_t missed = 0;
  readTogether(pending, &missed);
  if (missed > 0) {
    ZAR_LOG_DEBUG("Accessibility: {} of {} answers confirmed had changed without a word from their application",
                  missed, due.size());
  }
}

}  // namespace zar::x11
