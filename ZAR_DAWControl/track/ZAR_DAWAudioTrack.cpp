#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "ZAR_DAWControl/accessibility/AXNames.h"
#include "ZAR_DAWControl/accessibility/UIElementUtilities.h"
#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackMode.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/passes/BlackBox.h"
#include "ZAR_DAWControl/platform/Log.h"
#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/track/TrackUI.h"

using zar::platform::AXTypedValue;
using zar::platform::AXUIElementRef;
using zar::platform::MouseEvent;
using zar::platform::MouseEventType;
using zar::platform::Platform;
using zar::platform::Point;
using zar::platform::Rect;

namespace {

std::mutex inputGuardMutex;
double lastInputSetTime = 0;  // guarded by inputGuardMutex
// The clock that made the stamp: a stamp of a clock since replaced (another installed platform)
// tells nothing about the time on the current one. Guarded by inputGuardMutex.
std::weak_ptr<const zar::platform::Clock> lastInputSetClock;

// A typed attribute of the element, or nothing when it is missing or of another kind.
const AXTypedValue* typedValue(const std::optional<zar::platform::AXAttributeValue>& value) {
  return value ? value->get<AXTypedValue>() : nullptr;
}

Rect rectAttribute(const char* attribute, const AXUIElementRef& element) {
  const auto value = UIElementUtilities::valueOfAttribute(attribute, element);
  const auto* typed = typedValue(value);
  const Rect* rect = typed != nullptr ? typed->rectValue() : nullptr;
  return rect != nullptr ? *rect : zar::platform::zeroRect;
}

Point pointAttribute(const char* attribute, const AXUIElementRef& element) {
  const auto value = UIElementUtilities::valueOfAttribute(attribute, element);
  const auto* typed = typedValue(value);
  const Point* point = typed != nullptr ? typed->pointValue() : nullptr;
  return point != nullptr ? *point : Point{};
}

zar::platform::Size sizeAttribute(const char* attribute, const AXUIElementRef& element) {
  const auto value = UIElementUtilities::valueOfAttribute(attribute, element);
  const auto* typed = typedValue(value);
  const zar::platform::Size* size = typed != nullptr ? typed->sizeValue() : nullptr;
  return size != nullptr ? *size : zar::platform::Size{};
}

std::shared_ptr<ZAR_DAWMuteRecMatrix> matrix() { return ZAR_DAWApplicationManager::sharedManager()->muteRecMatrix(); }

std::shared_ptr<ZAR_HUIDevice> currentHUIDevice() {
  const auto application = ZAR_DAWApplicationManager::sharedManager()->currentApplication();
  return application ? application->huiDevice() : nullptr;
}

// The name without control characters (C0, DEL and, encoded in UTF-8, C1): typed, a line feed
// would be Return and the rest of the name keystrokes outside the field.
std::string withoutControlCharacters(const std::string& text) {
  std::string kept;
  kept.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte < 0x20 || byte == 0x7F) continue;
    if (byte == 0xC2 && i + 1 < text.size()) {
      const auto next = static_cast<unsigned char>(text[i + 1]);
      if (next >= 0x80 && next <= 0x9F) {
        ++i;
        continue;
      }
    }
    kept.push_back(text[i]);
  }
  return kept;
}

std::string modeText(const std::shared_ptr<ZAR_DAWAudioTrackMode>& mode) {
  if (!mode) return "(null)";
  return mode->name().value_or("(null)");
}

std::string lowercase(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lower;
}

}  // namespace

void ZAR_DAWAudioTrack::registerUserDefaults() {
  Platform::current()->userDefaults->registerDefaults({
      {ZAR_DAWAudioTrackNameCharacterPrefixPrefKey, true},
      {ZAR_DAWAudioTrackNameNumRecordsPrefKey, true},
      {ZAR_DAWAudioTrackNameCueNumberPrefKey, true},
  });
}

bool ZAR_DAWAudioTrack::isTrackRowTitle(std::string_view title) {
  const std::string lower = lowercase(title);
  return std::any_of(zar::track::kNameMarkers.begin(), zar::track::kNameMarkers.end(), [&](std::string_view marker) {
    // "- Audio Track" counts as " audio track": the dash is what the name is cut before, not what
    // makes a row a track's.
    if (marker.starts_with('-')) marker.remove_prefix(1);
    return lower.find(lowercase(marker)) != std::string::npos;
  });
}

std::optional<std::string> ZAR_DAWAudioTrack::nameInRowTitle(std::string_view title) {
  // The first marker of the list that occurs at all decides, wherever another one stands.
  for (const std::string_view marker : zar::track::kNameMarkers) {
    if (const auto position = title.find(marker); position != std::string_view::npos) {
      return std::string(title.substr(0, position));
    }
  }
  return std::nullopt;
}

std::string_view ZAR_DAWAudioTrack::withoutTrailingBlanks(std::string_view name) {
  while (!name.empty() && name.back() == ' ') name.remove_suffix(1);
  return name;
}

ZAR_DAWAudioTrack::ZAR_DAWAudioTrack(AXUIElementRef trackCluster) { setTrackCluster(std::move(trackCluster)); }

AXUIElementRef ZAR_DAWAudioTrack::trackCluster() const {
  std::lock_guard lock(_elementMutex);
  return _trackCluster;
}

void ZAR_DAWAudioTrack::setTrackCluster(AXUIElementRef trackCluster) {
  {
    std::lock_guard lock(_elementMutex);
    _trackCluster = trackCluster;
  }
  const Rect frame = rectAttribute(zar::ax::kFrameAttribute, trackCluster);
  float y = static_cast<float>(frame.origin.y);
  if (frame == zar::platform::zeroRect) {
    y = static_cast<float>(pointAttribute(zar::ax::kPositionAttribute, trackCluster).y);
  }
  setYPos(y);
  findUIElements();
}

void ZAR_DAWAudioTrack::findUIElements() {
  const auto children = UIElementUtilities::valueOfAttribute(zar::ax::kChildrenAttribute, trackCluster());
  const auto* list = children ? children->get<zar::platform::AXValueList>() : nullptr;
  if (list == nullptr) return;
  for (const auto& entry : *list) {
    const auto* child = entry.get<AXUIElementRef>();
    if (child == nullptr || *child == nullptr) continue;
    const auto title = UIElementUtilities::titleOfUIElement(*child);
    if (!title) continue;
    if (*title == zar::track::kRecordEnableTitle) {
      setRecButton(*child);
    } else if (*title == zar::track::kInputMonitorTitle) {
      setInputButton(*child);
    } else if (*title == zar::track::kMuteTitle) {
      setMuteButton(*child);
    } else if (title->find(zar::track::kNameFieldMarker) != std::string::npos) {
      setNameTextField(*child);
    }
  }
}

AXUIElementRef ZAR_DAWAudioTrack::nameTextField() const {
  std::lock_guard lock(_elementMutex);
  return _nameTextField;
}

void ZAR_DAWAudioTrack::setNameTextField(AXUIElementRef element) {
  std::lock_guard lock(_elementMutex);
  _nameTextField = std::move(element);
}

AXUIElementRef ZAR_DAWAudioTrack::recButton() const {
  std::lock_guard lock(_elementMutex);
  return _recButton;
}

void ZAR_DAWAudioTrack::setRecButton(AXUIElementRef element) {
  std::lock_guard lock(_elementMutex);
  _recButton = std::move(element);
}

AXUIElementRef ZAR_DAWAudioTrack::inputButton() const {
  std::lock_guard lock(_elementMutex);
  return _inputButton;
}

void ZAR_DAWAudioTrack::setInputButton(AXUIElementRef element) {
  std::lock_guard lock(_elementMutex);
  _inputButton = std::move(element);
}

AXUIElementRef ZAR_DAWAudioTrack::muteButton() const {
  std::lock_guard lock(_elementMutex);
  return _muteButton;
}

void ZAR_DAWAudioTrack::setMuteButton(AXUIElementRef element) {
  std::lock_guard lock(_elementMutex);
  _muteButton = std::move(element);
}

void ZAR_DAWAudioTrack::setRecEnabled(bool recEnabled, bool sendHUIEvent) {
  ZAR_LOG_DEBUG("{}::Setting rec enabled state:{}", name(), recEnabled ? 1 : 0);
  if (_recEnabled.exchange(recEnabled) == recEnabled) {
    return;
  }
  if (sendHUIEvent && !rowAnswers()) {
    _recEnabled.store(!recEnabled);
    return;
  }
  if (sendHUIEvent) {
    if (const auto device = currentHUIDevice()) device->toggleTrackRecEnabledForTrackIndex(index());
  }
}

void ZAR_DAWAudioTrack::setMuted(bool muted, bool sendHUIEvent) {
  if (_muted.exchange(muted) == muted) {
    return;
  }
  if (sendHUIEvent && !rowAnswers()) {
    _muted.store(!muted);
    return;
  }
  if (sendHUIEvent) {
    if (const auto device = currentHUIDevice()) device->toggleTrackMuteForTrackIndex(index());
  }
}

bool ZAR_DAWAudioTrack::rowAnswers() {
  if (UIElementUtilities::attributeNamesOfUIElement(trackCluster())) {
    return true;
  }
  ZAR_LOG_WARN("Track {}: the row no longer answers; nothing is toggled", index());
  _rowVanished.store(true);
  return false;
}

std::optional<bool> ZAR_DAWAudioTrack::readInputMonitor() const {
  const auto value = UIElementUtilities::valueOfAttribute(zar::ax::kValueAttribute, inputButton());
  const auto* text = value ? value->get<std::string>() : nullptr;
  if (text == nullptr) return std::nullopt;
  return *text == zar::track::kInputOnValue;
}

bool ZAR_DAWAudioTrack::inputEnabled() const { return readInputMonitor().value_or(false); }

void ZAR_DAWAudioTrack::setInputEnabled(bool inputEnabled) {
  ZAR_LOG_DEBUG("{}::Setting input enabled state:{}", name(), inputEnabled ? 1 : 0);
  auto& box = zar::passes::BlackBox::shared();
  const auto shown = readInputMonitor();
  if (shown) box.inputRead(index(), *shown);
  if (shown.value_or(false) == inputEnabled) {
    return;
  }
  std::lock_guard lock(inputGuardMutex);
  const auto& clock = Platform::current()->clock;
  const double now = clock->now();
  const bool sameClock = lastInputSetClock.lock() == clock;
  if (!sameClock || now - lastInputSetTime > inputPressInterval) {
    UIElementUtilities::performAction(zar::ax::kPressAction, inputButton());
    lastInputSetTime = now;
    lastInputSetClock = clock;
    box.inputPress(index(), inputEnabled);
  }
}

std::shared_ptr<ZAR_DAWAudioTrackMode> ZAR_DAWAudioTrack::rehearseMode() const {
  return matrix()->rehearseModeAtTrackIndex(index());
}

void ZAR_DAWAudioTrack::setRehearseMode(std::shared_ptr<ZAR_DAWAudioTrackMode> mode) {
  matrix()->setRehearseMode(std::move(mode), index());
}

std::shared_ptr<ZAR_DAWAudioTrackMode> ZAR_DAWAudioTrack::recordMode() const {
  return matrix()->recordModeAtTrackIndex(index());
}

void ZAR_DAWAudioTrack::setRecordMode(std::shared_ptr<ZAR_DAWAudioTrackMode> mode) {
  matrix()->setRecordMode(std::move(mode), index());
}

std::shared_ptr<ZAR_DAWAudioTrackMode> ZAR_DAWAudioTrack::reviewMode() const {
  return matrix()->reviewModeAtTrackIndex(index());
}

void ZAR_DAWAudioTrack::setReviewMode(std::shared_ptr<ZAR_DAWAudioTrackMode> mode) {
  matrix()->setReviewMode(std::move(mode), index());
}

std::string ZAR_DAWAudioTrack::description() const {
  return fmt::format("Track ({}): {} - Rec: {} - Mute: {} - Modes:: Rehearse: {}, Record: {}, Review: {}",
                     static_cast<const void*>(this), name(), recEnabled() ? 1 : 0, muted() ? 1 : 0,
                     modeText(rehearseMode()), modeText(recordMode()), modeText(reviewMode()));
}

std::string ZAR_DAWAudioTrack::lastReadName() const {
  std::lock_guard lock(_elementMutex);
  return _lastReadName;
}

void ZAR_DAWAudioTrack::setLastReadName(std::string name) {
  std::lock_guard lock(_elementMutex);
  _lastReadName = std::move(name);
}

std::string ZAR_DAWAudioTrack::name() const {
  const auto title = UIElementUtilities::titleOfUIElement(trackCluster());
  if (!title) {
    return {};
  }
  if (auto name = nameInRowTitle(*title)) {
    return std::move(*name);
  }
  ZAR_LOG_ERROR("Couldn't get name of track cluster");
  return {};
}

void ZAR_DAWAudioTrack::setName(const std::string& name) {
  const auto notEntered = [&](const char* why) {
    auto& box = zar::passes::BlackBox::shared();
    if (!box.recording()) return;
    box.record(ZAR_DAWPassRecord::Event{.kind = ZAR_DAWPassRecord::EventKind::accessibilityFailure,
                                        .track = index(),
                                        .text = fmt::format("setName \"{}\" (name field)", name),
                                        .detail = why});
  };
  const auto field = nameTextField();
  if (!field) {
    ZAR_LOG_ERROR("{}::No name field to enter the name {} in", this->name(), name);
    notEntered("no name field was found in the row");
    return;
  }
  // A field that no longer answers (its row was deleted, Pro Tools quit) has no place on screen:
  // a click would land at the screen's corner and the name in whatever is frontmost.
  if (!UIElementUtilities::attributeNamesOfUIElement(field)) {
    ZAR_LOG_ERROR("{}::The name field no longer answers; the name {} is not entered", this->name(), name);
    notEntered("the name field no longer answers");
    return;
  }
  Rect frame = rectAttribute(zar::ax::kFrameAttribute, field);
  if (frame == zar::platform::zeroRect) {
    frame = Rect{pointAttribute(zar::ax::kPositionAttribute, field), sizeAttribute(zar::ax::kSizeAttribute, field)};
  }
  const std::string text = withoutControlCharacters(name);
  const auto platform = Platform::current();
  const auto application = ZAR_DAWApplicationManager::sharedManager()->currentApplication();

  auto& workspace = *platform->workspace;
  bool hostWasActive = false;
  if (const auto active = workspace.activeApplication()) {
    if (const auto it = active->find("NSApplicationBundleIdentifier"); it != active->end()) {
      hostWasActive = it->second.stringValue() == workspace.mainBundleIdentifier();
    }
  }

  // Where the pointer is, turned from the bottom-left system into the top-left one by the first
  // screen that holds it; left as it is when none does.
  Point pointer = platform->screens->mouseLocation();
  for (const Rect& screen : platform->screens->screenFrames()) {
    if (zar::platform::pointInRect(pointer, screen)) {
      pointer.y = screen.size.height - pointer.y;
      break;
    }
  }

  auto& events = *platform->eventPoster;
  MouseEvent click;
  click.type = MouseEventType::leftMouseDown;
  click.location = Point{frame.origin.x + frame.size.width / 2, frame.origin.y + frame.size.height / 2};
  click.button = zar::platform::MouseButton::left;
  events.postMouseEvent(click);
  click.type = MouseEventType::leftMouseUp;
  events.postMouseEvent(click);
  click.clickState = 2;
  click.type = MouseEventType::leftMouseDown;
  events.postMouseEvent(click);
  click.type = MouseEventType::leftMouseUp;
  events.postMouseEvent(click);

  if (application) {
    application->sendTextToDAWApplication(text, true);
  }
  if (hostWasActive) {
    workspace.activateIgnoringOtherApps(true);
  }

  MouseEvent move;
  move.type = MouseEventType::mouseMoved;
  move.location = pointer;
  move.button = zar::platform::MouseButton::left;
  events.postMouseEvent(move);
}
