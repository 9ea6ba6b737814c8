#include "ZAR_DAWControl/platform/sim/SimEventPoster.h"

#include "ZAR_DAWControl/platform/Log.h"

namespace zar::sim {

SimEventPoster::SimEventPoster(std::shared_ptr<platform::Clock> clock, std::shared_ptr<SimWorkspace> workspace,
                               std::shared_ptr<SimScreens> screens)
    : _clock(std::move(clock)), _workspace(std::move(workspace)), _screens(std::move(screens)) {}

platform::EventSourceRef SimEventPoster::createEventSource(std::int32_t stateID) {
  return std::make_shared<const platform::EventSource>(stateID);
}

void SimEventPoster::postKeyboardEvent(const platform::ProcessSerialNumber& psn, const platform::KeyboardEvent& event) {
  const auto target = _workspace->application(psn);
  std::function<void(std::size_t)> hook;
  std::size_t posted = 0;
  {
    std::lock_guard lock(_mutex);
    _keyboardEvents.push_back(PostedKeyboardEvent{psn, event, _clock->now(), target != nullptr});
    hook = _keyboardHook;
    posted = ++_keyboardEventsPosted;
  }
  if (target) {
    target->keyEvent(event);
  } else {
    ZAR_LOG_DEBUG("Keyboard event for {}:{} lost: no such process", psn.highLongOfPSN, psn.lowLongOfPSN);
  }
  if (hook) {
    hook(posted);
  }
}

void SimEventPoster::setKeyboardHook(std::function<void(std::size_t posted)> hook) {
  std::lock_guard lock(_mutex);
  _keyboardHook = std::move(hook);
}

void SimEventPoster::postMouseEvent(const platform::MouseEvent& event) {
  std::size_t entry = 0;
  {
    std::lock_guard lock(_mutex);
    entry = _mouseEventsCleared + _mouseEvents.size();
    _mouseEvents.push_back(PostedMouseEvent{event, _clock->now(), 0});
  }
  _screens->moveMouseToAccessibilityPoint(event.location);
  std::shared_ptr<SimApplication> handler;
  for (const auto& application : _workspace->applicationsFrontToBack()) {
    if (application->mouseEvent(event)) {
      handler = application;
      break;
    }
  }
  if (!handler) {
    return;
  }
  {
    std::lock_guard lock(_mutex);
    if (entry >= _mouseEventsCleared) {
      _mouseEvents[entry - _mouseEventsCleared].handledBy = handler->processIdentifier();
    }
  }
  const bool mouseDown = event.type == platform::MouseEventType::leftMouseDown ||
                         event.type == platform::MouseEventType::rightMouseDown;
  if (mouseDown) {
    _workspace->activate(handler->processIdentifier());
  }
}

std::vector<SimEventPoster::PostedKeyboardEvent> SimEventPoster::keyboardEvents() const {
  std::lock_guard lock(_mutex);
  return _keyboardEvents;
}

std::vector<SimEventPoster::PostedMouseEvent> SimEventPoster::mouseEvents() const {
  std::lock_guard lock(_mutex);
  return _mouseEvents;
}

void SimEventPoster::clearLog() {
  std::lock_guard lock(_mutex);
  _keyboardEvents.clear();
  _mouseEventsCleared += _mouseEvents.size();
  _mouseEvents.clear();
}

}  // namespace zar::sim
