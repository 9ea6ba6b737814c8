#include "FrameworkTap.h"

#include "ZAR_DAWControl/accessibility/AXNames.h"

namespace dawctl {

using zar::platform::AXAttributeValue;
using zar::platform::AXError;
using zar::platform::AXUIElementRef;

class FrameworkTap::Clock final : public zar::platform::Clock {
 public:
  Clock(std::shared_ptr<const FrameworkTap> tap, std::shared_ptr<zar::platform::Clock> inner)
      : _tap(std::move(tap)), _inner(std::move(inner)) {}
  double now() const override { return _inner->now(); }
  double secondsSince1970() const override { return _inner->secondsSince1970(); }
  void sleep(double seconds) override {
    Action action{Action::Kind::pause};
    action.seconds = seconds;
    _tap->tell(std::move(action));
    _inner->sleep(seconds);
  }
  void waitUntil(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, double deadline) override {
    _inner->waitUntil(cv, lock, deadline);
  }
  void settle() override { _inner->settle(); }
  std::unique_ptr<BackgroundWaiter> makeBackgroundWaiter() override { return _inner->makeBackgroundWaiter(); }

 private:
  const std::shared_ptr<const FrameworkTap> _tap;
  const std::shared_ptr<zar::platform::Clock> _inner;
};

class FrameworkTap::EventPoster final : public zar::platform::EventPoster {
 public:
  EventPoster(std::shared_ptr<const FrameworkTap> tap, std::shared_ptr<zar::platform::EventPoster> inner)
      : _tap(std::move(tap)), _inner(std::move(inner)) {}
  zar::platform::EventSourceRef createEventSource(std::int32_t stateID) override {
    return _inner->createEventSource(stateID);
  }
  void postKeyboardEvent(const zar::platform::ProcessSerialNumber& psn,
                         const zar::platform::KeyboardEvent& event) override {
    Action action{Action::Kind::key};
    action.key = event;
    _tap->tell(std::move(action));
    _inner->postKeyboardEvent(psn, event);
  }
  void postMouseEvent(const zar::platform::MouseEvent& event) override {
    Action action{Action::Kind::mouse};
    action.mouse = event;
    _tap->tell(std::move(action));
    _inner->postMouseEvent(event);
  }

 private:
  const std::shared_ptr<const FrameworkTap> _tap;
  const std::shared_ptr<zar::platform::EventPoster> _inner;
};

class FrameworkTap::Accessibility final : public zar::platform::Accessibility {
 public:
  Accessibility(std::shared_ptr<const FrameworkTap> tap, std::shared_ptr<zar::platform::Accessibility> inner)
      : _tap(std::move(tap)), _inner(std::move(inner)) {}

  AXError performAction(const AXUIElementRef& element, const std::string& action) override {
    if (action == zar::ax::kPressAction) {
      Action press{Action::Kind::press};
      press.title = title(element);
      AXAttributeValue parent;
      if (_inner->copyAttributeValue(element, zar::ax::kParentAttribute, parent) == AXError::success) {
        if (const auto* parentElement = parent.get<AXUIElementRef>()) press.parentTitle = title(*parentElement);
      }
      _tap->tell(std::move(press));
    }
    return _inner->performAction(element, action);
  }

  AXUIElementRef createApplication(std::int32_t pid) override { return _inner->createApplication(pid); }
  AXError copyAttributeNames(const AXUIElementRef& element, std::vector<std::string>& names) override {
    return _inner->copyAttributeNames(element, names);
  }
  AXError copyAttributeValue(const AXUIElementRef& element, const std::string& attribute,
                             AXAttributeValue& value) override {
    return _inner->copyAttributeValue(element, attribute, value);
  }
  AXError getAttributeValueCount(const AXUIElementRef& element, const std::string& attribute, long& count) override {
    return _inner->getAttributeValueCount(element, attribute, count);
  }
  AXError isAttributeSettable(const AXUIElementRef& element, const std::string& attribute, bool& settable) override {
    return _inner->isAttributeSettable(element, attribute, settable);
  }
  AXError setAttributeValue(const AXUIElementRef& element, const std::string& attribute,
                            const AXAttributeValue& value) override {
    return _inner->setAttributeValue(element, attribute, value);
  }
  AXError copyActionNames(const AXUIElementRef& element, std::vector<std::string>& names) override {
    return _inner->copyActionNames(element, names);
  }
  AXError copyActionDescription(const AXUIElementRef& element, const std::string& action,
                                std::string& description) override {
    return _inner->copyActionDescription(element, action, description);
  }
  AXError getPid(const AXUIElementRef& element, std::int32_t& pid) override { return _inner->getPid(element, pid); }
  std::string genericDescription(const AXUIElementRef& element) override {
    return _inner->genericDescription(element);
  }

 private:
  std::string title(const AXUIElementRef& element) {
    AXAttributeValue value;
    if (_inner->copyAttributeValue(element, zar::ax::kTitleAttribute, value) != AXError::success) return {};
    const auto* text = value.get<std::string>();
    return text != nullptr ? *text : std::string();
  }

  const std::shared_ptr<const FrameworkTap> _tap;
  const std::shared_ptr<zar::platform::Accessibility> _inner;
};

class FrameworkTap::AppleScript final : public zar::platform::AppleScript {
 public:
  AppleScript(std::shared_ptr<const FrameworkTap> tap, std::shared_ptr<zar::platform::AppleScript> inner)
      : _tap(std::move(tap)), _inner(std::move(inner)) {}
  std::optional<zar::platform::AppleScriptError> execute(const std::string& source) override {
    const double started = _tap->_clock->now();
    auto error = _inner->execute(source);
    _tap->tell(Action{Action::Kind::script}, started);
    return error;
  }

 private:
  const std::shared_ptr<const FrameworkTap> _tap;
  const std::shared_ptr<zar::platform::AppleScript> _inner;
};

class FrameworkTap::Alerts final : public zar::platform::Alerts {
 public:
  Alerts(std::shared_ptr<const FrameworkTap> tap, std::shared_ptr<zar::platform::Alerts> inner)
      : _tap(std::move(tap)), _inner(std::move(inner)) {}
  zar::platform::AlertResponse runModal(const zar::platform::AlertRequest& request) override {
    Action warning{Action::Kind::warning};
    warning.title = request.messageText;
    warning.parentTitle = request.informativeText;
    _tap->tell(std::move(warning));
    return _inner->runModal(request);
  }

 private:
  const std::shared_ptr<const FrameworkTap> _tap;
  const std::shared_ptr<zar::platform::Alerts> _inner;
};

class FrameworkTap::MidiPortPair final : public zar::platform::MidiPortPair {
 public:
  MidiPortPair(std::shared_ptr<const FrameworkTap> tap, std::shared_ptr<zar::platform::MidiPortPair> inner)
      : _tap(std::move(tap)), _inner(std::move(inner)) {}
  bool send(std::span<const std::uint8_t> bytes) override {
    Action sent{Action::Kind::midi};
    sent.bytes.assign(bytes.begin(), bytes.end());
    _tap->tell(std::move(sent));
    return _inner->send(bytes);
  }
  std::string inputName() const override { return _inner->inputName(); }
  std::string outputName() const override { return _inner->outputName(); }

 private:
  const std::shared_ptr<const FrameworkTap> _tap;
  const std::shared_ptr<zar::platform::MidiPortPair> _inner;
};

class FrameworkTap::MidiPorts final : public zar::platform::MidiPorts {
 public:
  MidiPorts(std::shared_ptr<const FrameworkTap> tap, std::shared_ptr<zar::platform::MidiPorts> inner)
      : _tap(std::move(tap)), _inner(std::move(inner)) {}
  std::shared_ptr<zar::platform::MidiPortPair> open(const zar::platform::MidiPortRequest& request,
                                                    zar::platform::MidiReceiver receiver,
                                                    std::string* error) override {
    auto pair = _inner->open(request, std::move(receiver), error);
    return pair ? std::make_shared<MidiPortPair>(_tap, std::move(pair)) : nullptr;
  }

 private:
  const std::shared_ptr<const FrameworkTap> _tap;
  const std::shared_ptr<zar::platform::MidiPorts> _inner;
};

FrameworkTap::FrameworkTap(Listener listener) : _listener(std::move(listener)) {}

void FrameworkTap::wrap(zar::platform::Platform& platform) {
  const std::shared_ptr<const FrameworkTap> self = shared_from_this();
  _clock = platform.clock;
  platform.clock = std::make_shared<Clock>(self, platform.clock);
  platform.eventPoster = std::make_shared<EventPoster>(self, platform.eventPoster);
  platform.accessibility = std::make_shared<Accessibility>(self, platform.accessibility);
  platform.appleScript = std::make_shared<AppleScript>(self, platform.appleScript);
  platform.alerts = std::make_shared<Alerts>(self, platform.alerts);
  platform.midiPorts = std::make_shared<MidiPorts>(self, platform.midiPorts);
}

void FrameworkTap::detach() {
  std::unique_lock lock(_listenerMutex);
  _listener = nullptr;
}

void FrameworkTap::tell(Action action, std::optional<double> time) const {
  action.time = time ? *time : _clock->now();
  std::shared_lock lock(_listenerMutex);
  if (_listener) _listener(action);
}

}  // namespace dawctl
