#include "DemoTimeline.h"

#include <fmt/format.h>


#include "PassReport.h"
#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"
#include "ZAR_DAWControl/platform/utility/Utf8Text.h"
#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"

namespace dawctl {

namespace {

using zar::hui::HUIEvent;

// The track's name in a row title such as "Booth Mic - Audio Track ".
std::string trackOfRowTitle(const std::string& title) {
  return std::string(ZAR_DAWAudioTrack::withoutTrailingBlanks(ZAR_DAWAudioTrack::nameInRowTitle(title).value_or("")));
}

}  // namespace

DemoTimeline::DemoTimeline(DemoOutput& output, std::function<bool()> isMainThread, double start,
                           std::function<std::string(const zar::platform::Point&)> describePoint)
    : _output(output),
      _isMainThread(std::move(isMainThread)),
      _start(start),
      _describePoint(std::move(describePoint)) {}

void DemoTimeline::queueLocked(nlohmann::json event, double time) {
  event["t"] = roundedSeconds(time - _start);
  _pending.push_back(std::move(event));
}

void DemoTimeline::add(nlohmann::json event, double time) {
  std::lock_guard lock(_mutex);
  endPressRunLocked();
  endTypingLocked();
  queueLocked(std::move(event), time);
}

void DemoTimeline::onNotification(const std::string& name, const std::string& detail, double time) {
  std::lock_guard lock(_mutex);
  if (_held) return;
  queueLocked({{"event", "notification"}, {"name", name}, {"detail", detail}}, time);
}

void DemoTimeline::onAction(const FrameworkTap::Action& action) {
  using Kind = FrameworkTap::Action::Kind;
  std::optional<std::string> liveText;
  // Described before the lock is taken: describing may wait for the MIDI thread, which may be
  // waiting for the lock.
  const bool doubleClick = action.kind == Kind::mouse &&
                           action.mouse.type == zar::platform::MouseEventType::leftMouseDown &&
                           action.mouse.clickState == 2;
  const std::string clicked = doubleClick ? _describePoint(action.mouse.location) : std::string();
  {
    std::lock_guard lock(_mutex);
    countLocked(action.kind);
    if (_held) return;
    if (action.kind != Kind::midi && action.kind != Kind::pause) endPressRunLocked();
    switch (action.kind) {
      case Kind::pause:
        if (action.seconds >= 0.05) liveText = fmt::format("the framework pauses {:.0f} ms...", action.seconds * 1000);
        break;
      case Kind::key: {
        if (!action.key.keyDown) break;
        const auto& characters = action.key.characters;
        if (characters == "\n" || characters == "\r" ||
            (characters.empty() && action.key.keyCode == zar::platform::KeyboardLayout::returnKeyCode)) {
          _typingEnd = action.time;
          endTypingLocked();
          break;
        }
        if (_typed.empty()) _typingTime = action.time;
        _typingEnd = action.time;
        if (!action.key.characters.empty()) {
          _typed += action.key.characters;
        } else if (const auto c = zar::platform::KeyboardLayout::characterForKeyCode(action.key.keyCode, false)) {
          _typed += zar::platform::Utf8Text::encode(*c);
        }
        liveText = fmt::format("typing {} into {}...", _typed, _typingInto.empty() ? "Pro Tools" : _typingInto);
        break;
      }
      case Kind::mouse:
        if (doubleClick) queueLocked({{"event", "double-click"}, {"target", clicked}}, action.time);
        break;
      case Kind::press: {
        endTypingLocked();
        _typingInto = action.title;
        nlohmann::json event{{"event", "pressed"}, {"element", action.title}};
        if (const auto track = trackOfRowTitle(action.parentTitle); !track.empty()) event["track"] = track;
        queueLocked(std::move(event), action.time);
        break;
      }
      case Kind::script:
        queueLocked({{"event", "script"}}, action.time);
        break;
      case Kind::warning:
        queueLocked({{"event", "warning"}, {"message", action.title}, {"informative", action.parentTitle}},
                    action.time);
        break;
      case Kind::midi:
        onMidiLocked(action);
        break;
    }
  }
  if (_isMainThread()) {
    flush(false);
    if (liveText) live(*liveText);
  }
}

void DemoTimeline::countLocked(FrameworkTap::Action::Kind kind) {
  using Kind = FrameworkTap::Action::Kind;
  switch (kind) {
    case Kind::pause:
      break;
    case Kind::key:
      ++_counts.keys;
      break;
    case Kind::mouse:
      ++_counts.mouseEvents;
      break;
    case Kind::press:
      ++_counts.presses;
      break;
    case Kind::script:
      ++_counts.scripts;
      break;
    case Kind::warning:
      ++_counts.warnings;
      break;
    case Kind::midi:
      ++_counts.midiMessages;
      break;
  }
}

void DemoTimeline::onMidiLocked(const FrameworkTap::Action& action) {
  for (const HUIEvent& event : _decoder.decode(action.bytes)) {
    if (event.kind == HUIEvent::Kind::pingReply) {
      if (!_pingAnswerTold) {
        _pingAnswerTold = true;
        endPressRunLocked();
        queueLocked({{"event", "hui"}, {"what", "ping answered"}}, action.time);
      }
      continue;
    }
    if (event.kind != HUIEvent::Kind::switchPort || !event.on) continue;  // releases complete a press
    const std::string button = huiButtonName(event);
    if (_pressRun && (*_pressRun)["button"] == button) {
      (*_pressRun)["count"] = (*_pressRun)["count"].get<int>() + 1;
      continue;
    }
    endPressRunLocked();
    _pressRun = nlohmann::json{{"event", "hui"}, {"what", "press"}, {"button", button}, {"count", 1}};
    _pressRunTime = action.time;
  }
}

void DemoTimeline::endPressRunLocked() {
  if (!_pressRun) return;
  queueLocked(std::move(*_pressRun), _pressRunTime);
  _pressRun.reset();
}

void DemoTimeline::endTypingLocked() {
  if (_typed.empty()) return;
  queueLocked({{"event", "typed"},
               {"text", _typed},
               {"into", _typingInto.empty() ? "Pro Tools" : _typingInto},
               {"seconds", roundedSeconds(_typingEnd - _typingTime)}},
              _typingTime);
  _typed.clear();
  _typingInto.clear();
}

void DemoTimeline::flush(bool endRuns) {
  std::vector<nlohmann::json> events;
  {
    std::lock_guard lock(_mutex);
    if (endRuns) {
      endPressRunLocked();
      endTypingLocked();
    }
    events.swap(_pending);
  }
  for (const auto& event : events) _output.write(event);
}

void DemoTimeline::hold(bool held) {
  std::lock_guard lock(_mutex);
  if (held) {
    endPressRunLocked();
    endTypingLocked();
  }
  _held = held;
}

void DemoTimeline::live(const std::string& text) { _output.live(text); }

DemoTimeline::Counts DemoTimeline::counts() const {
  std::lock_guard lock(_mutex);
  return _counts;
}

}  // namespace dawctl
