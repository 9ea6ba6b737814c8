#include "ZAR_DAWControl/platform/sim/SimProTools.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

#include "ZAR_DAWControl/accessibility/AXNames.h"
#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"
#include "ZAR_DAWControl/platform/utility/Utf8Text.h"
#include "ZAR_DAWControl/protools/ProToolsUI.h"
#include "ZAR_DAWControl/track/TrackUI.h"

namespace zar::sim {

namespace {

constexpr double kFramesPerSecond = 30;

platform::Rect offset(const platform::Rect& within, double x, double y, double width, double height) {
  return platform::Rect{{within.origin.x + x, within.origin.y + y}, {width, height}};
}

double secondsOf(const TCTime& time) {
  return ((time.hours * 60.0 + time.minutes) * 60.0 + time.seconds) + time.frames / kFramesPerSecond;
}

const char* onOff(bool value) { return value ? "on" : "off"; }

}  // namespace

SimApplication::Info SimProTools::infoFor(const Options& options) {
  Info info;
  info.processIdentifier = options.processIdentifier;
  info.bundleIdentifier = options.bundleIdentifier;
  info.bundleURL = "file:///Applications/Pro%20Tools.app/";
  info.localizedName = protools::kDisplayName;
  info.infoDictionary["CFBundleIdentifier"] = options.bundleIdentifier;
  info.infoDictionary["CFBundleName"] = protools::kDisplayName;
  if (options.bundleVersion) info.infoDictionary[protools::kBundleVersionKey] = *options.bundleVersion;
  return info;
}

SimProTools::SimProTools(Options options) : SimApplication(infoFor(options)), _options(std::move(options)) {
  auto lock = SimElement::lockTree();
  for (const auto& definition : _options.tracks) _tracks.emplace_back(definition);
  if (_options.sessionName) {
    _sessionName = _options.sessionName;
    buildEditWindowLocked();
  }
}

SimProTools::~SimProTools() {
  if (const auto host = huiHost()) host->setTrackChangeCallback({});
  invalidateElements();
}

// Session.

void SimProTools::openSession(const std::string& name) {
  auto lock = SimElement::lockTree();
  if (_editWindow) closeWindow(_editWindow);
  _sessionName = name;
  buildEditWindowLocked();
}

void SimProTools::closeSession() {
  auto lock = SimElement::lockTree();
  closeEntryLocked();
  if (_editWindow) closeWindow(_editWindow);
  _editWindow.reset();
  _startField.reset();
  _endField.reset();
  _sessionName.reset();
}

std::shared_ptr<SimElement> SimProTools::editWindow() const {
  auto lock = SimElement::lockTree();
  return _editWindow;
}

std::shared_ptr<SimElement> SimProTools::selectionStartField() const {
  auto lock = SimElement::lockTree();
  return _startField;
}

std::shared_ptr<SimElement> SimProTools::selectionEndField() const {
  auto lock = SimElement::lockTree();
  return _endField;
}

void SimProTools::buildEditWindowLocked() {
  _editWindow = addWindow(fmt::format("{} {}", protools::kEditWindowMarker, *_sessionName));
  _editWindow->setFrame(_options.editWindowFrame);

  auto cluster = makeElement(ax::kGroupRole, protools::kCounterDisplayClusterTitle);
  cluster->setFrame(offset(_options.editWindowFrame, 300, 40, 500, 60));
  const auto makeCounter = [&](const char* title, Entry entry, double x) {
    auto field = makeElement(ax::kTextFieldRole, std::string(title));
    field->setFrame(offset(_options.editWindowFrame, x, 50, 130, 24));
    field->addAction(ax::kPressAction, "press", [this, entry] {
      auto lock = SimElement::lockTree();
      closeEntryLocked();
      _entry = entry;
    });
    return cluster->addChild(field);
  };
  _startField = makeCounter(protools::kEditSelectionStartTitle, Entry::start, 320);
  _endField = makeCounter(protools::kEditSelectionEndTitle, Entry::end, 470);
  _editWindow->addChild(cluster);
  showCountersLocked();

  for (std::size_t i = 0; i < _tracks.size(); ++i) buildRowLocked(i);
  layoutRowsLocked();
  relistRowsLocked();
}

void SimProTools::buildRowLocked(std::size_t index) {
  Track& track = _tracks[index];
  track.row = makeElement(ax::kGroupRole, rowTitle(track.definition));
  track.nameField = track.row->addChild(makeElement(ax::kTextFieldRole, std::string(zar::track::kNameFieldMarker)));
  track.recButton = track.row->addChild(makeElement(ax::kButtonRole, std::string(zar::track::kRecordEnableTitle)));
  track.inputButton = track.row->addChild(makeElement(ax::kButtonRole, std::string(zar::track::kInputMonitorTitle)));
  track.muteButton = track.row->addChild(makeElement(ax::kButtonRole, std::string(zar::track::kMuteTitle)));

  // The button finds its track when pressed: tracks move, their buttons go with them.
  track.inputButton->addAction(ax::kPressAction, "press", [this, weakButton = std::weak_ptr<SimElement>(track.inputButton)] {
    auto lock = SimElement::lockTree();
    const auto button = weakButton.lock();
    for (std::size_t i = 0; i < _tracks.size(); ++i) {
      if (_tracks[i].inputButton == button) {
        _tracks[i].inputMonitoring = !_tracks[i].inputMonitoring;
        showTrackLocked(i);
        return;
      }
    }
  });
  showTrackLocked(index);
}

void SimProTools::layoutRowsLocked() {
  for (std::size_t i = 0; i < _tracks.size(); ++i) {
    const Track& track = _tracks[i];
    if (!track.row) continue;
    const platform::Rect row = offset(_options.editWindowFrame, 0,
                                      _options.firstRowOffset + static_cast<double>(i) * _options.rowHeight,
                                      _options.editWindowFrame.size.width, _options.rowHeight);
    track.row->setFrame(row);
    track.nameField->setFrame(offset(row, 10, 5, 140, 20));
    track.recButton->setFrame(offset(row, 160, 5, 24, 20));
    track.inputButton->setFrame(offset(row, 190, 5, 24, 20));
    track.muteButton->setFrame(offset(row, 220, 5, 24, 20));
  }
}

void SimProTools::relistRowsLocked() {
  if (!_editWindow) return;
  std::vector<std::size_t> order = _listingOrder;
  if (order.size() != _tracks.size()) {
    order.resize(_tracks.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
  }
  for (const auto& track : _tracks) {
    if (track.row) _editWindow->removeChild(track.row);
  }
  for (const std::size_t i : order) {
    if (_tracks[i].row) _editWindow->addChild(_tracks[i].row);
  }
}

std::string SimProTools::rowTitle(const TrackDefinition& definition) const {
  const std::string& format = definition.kind == TrackKind::audio ? _options.audioTitleFormat : _options.auxTitleFormat;
  return fmt::format(fmt::runtime(format), definition.name);
}

// Counters.

void SimProTools::setTimeFormat(TimeFormat format) {
  auto lock = SimElement::lockTree();
  _format = format;
  showCountersLocked();
}

void SimProTools::setSelection(TCTime start, TCTime end) {
  auto lock = SimElement::lockTree();
  _selectionStart = start;
  _selectionEnd = end;
  showCountersLocked();
}

TCTime SimProTools::selectionStart() const {
  auto lock = SimElement::lockTree();
  return _selectionStart;
}

TCTime SimProTools::selectionEnd() const {
  auto lock = SimElement::lockTree();
  return _selectionEnd;
}

bool SimProTools::counterEntryOpen() const {
  auto lock = SimElement::lockTree();
  return _entry == Entry::start || _entry == Entry::end;
}

void SimProTools::showCountersLocked() {
  if (_startField) _startField->setAttribute(ax::kValueAttribute, counterText(_selectionStart, _format));
  if (_endField) _endField->setAttribute(ax::kValueAttribute, counterText(_selectionEnd, _format));
}

std::string SimProTools::counterText(const TCTime& time, TimeFormat format) {
  const double seconds = secondsOf(time);
  switch (format) {
    case TimeFormat::timecode:
      return fmt::format("{:02}:{:02}:{:02}:{:02}", time.hours, time.minutes, time.seconds, time.frames);
    case TimeFormat::barsBeats: {  // 120 beats per minute in 4/4
      const auto beats = static_cast<long long>(seconds * 2);
      return fmt::format("{}| {}| {:03}", beats / 4 + 1, beats % 4 + 1, 0);
    }
    case TimeFormat::minSecs: {
      const auto millis = static_cast<long long>(seconds * 1000 + 0.5);
      return fmt::format("{}:{:02}.{:03}", millis / 60000, (millis / 1000) % 60, millis % 1000);
    }
    case TimeFormat::samples:
      return fmt::format("{}", static_cast<long long>(seconds * 48000 + 0.5));
    case TimeFormat::feetFrames: {  // 35 mm film: 16 frames per foot at 24 frames per second
      const auto frames = static_cast<long long>(seconds * 24 + 0.5);
      return fmt::format("{}+{:02}", frames / 16, frames % 16);
    }
  }
  return {};
}

// Tracks.

std::size_t SimProTools::trackCount() const {
  auto lock = SimElement::lockTree();
  return _tracks.size();
}

const SimProTools::Track* SimProTools::trackLocked(std::size_t index) const {
  return index < _tracks.size() ? &_tracks[index] : nullptr;
}

std::string SimProTools::trackName(std::size_t index) const {
  auto lock = SimElement::lockTree();
  const Track* track = trackLocked(index);
  return track != nullptr ? track->definition.name : std::string();
}

bool SimProTools::inputMonitoring(std::size_t index) const {
  auto lock = SimElement::lockTree();
  const Track* track = trackLocked(index);
  return track != nullptr && track->inputMonitoring;
}

bool SimProTools::trackRecEnabled(std::size_t index) const {
  auto lock = SimElement::lockTree();
  const Track* track = trackLocked(index);
  return track != nullptr && track->recEnabled;
}

bool SimProTools::trackMuted(std::size_t index) const {
  auto lock = SimElement::lockTree();
  const Track* track = trackLocked(index);
  return track != nullptr && track->muted;
}

void SimProTools::setTrackRecEnabled(std::size_t index, bool value) {
  auto lock = SimElement::lockTree();
  if (index >= _tracks.size()) return;
  _tracks[index].recEnabled = value;
  showTrackLocked(index);
  if (_huiHost) _huiHost->setTrackRecEnabled(index, value);
}

void SimProTools::setTrackMuted(std::size_t index, bool value) {
  auto lock = SimElement::lockTree();
  if (index >= _tracks.size()) return;
  _tracks[index].muted = value;
  showTrackLocked(index);
  if (_huiHost) _huiHost->setTrackMuted(index, value);
}

// HUI.

void SimProTools::attachHUI(std::shared_ptr<platform::MidiPorts> ports, platform::MidiPortRequest request,
                            SimHUIHost::Options options) {
  auto lock = SimElement::lockTree();
  std::vector<std::string> names;
  for (const auto& track : _tracks) names.push_back(track.definition.name);
  _huiHost = SimHUIHost::create(std::move(ports), std::move(request), std::move(names), options);
  syncHUITracksLocked();
  _huiHost->setTrackChangeCallback([this](std::size_t index) { hostChangedTrack(index); });
}

std::shared_ptr<SimHUIHost> SimProTools::huiHost() const {
  auto lock = SimElement::lockTree();
  return _huiHost;
}

void SimProTools::syncHUITracksLocked() {
  if (!_huiHost) return;
  std::vector<SimHUIHost::Track> tracks;
  for (const auto& track : _tracks) {
    SimHUIHost::Track hui;
    hui.name = track.definition.name;
    hui.recEnabled = track.recEnabled;
    hui.muted = track.muted;
    tracks.push_back(std::move(hui));
  }
  _huiHost->setTracks(std::move(tracks));
}

void SimProTools::hostChangedTrack(std::size_t index) {
  const auto host = huiHost();
  const auto state = host ? host->track(index) : std::nullopt;
  if (!state) return;
  auto lock = SimElement::lockTree();
  if (index >= _tracks.size()) return;
  _tracks[index].recEnabled = state->recEnabled;
  _tracks[index].muted = state->muted;
  showTrackLocked(index);
}

void SimProTools::showTrackLocked(std::size_t index) {
  const Track& track = _tracks[index];
  if (!track.row) return;
  track.nameField->setAttribute(ax::kValueAttribute, track.definition.name);
  track.recButton->setAttribute(ax::kValueAttribute, onOff(track.recEnabled));
  track.inputButton->setAttribute(ax::kValueAttribute, onOff(track.inputMonitoring));
  track.muteButton->setAttribute(ax::kValueAttribute, onOff(track.muted));
}

void SimProTools::addTrack(TrackDefinition definition, std::optional<std::size_t> position) {
  auto lock = SimElement::lockTree();
  closeEntryLocked();
  const std::size_t at = std::min(position.value_or(_tracks.size()), _tracks.size());
  _tracks.insert(_tracks.begin() + static_cast<std::ptrdiff_t>(at), Track(std::move(definition)));
  _listingOrder.clear();
  if (_editWindow) {
    buildRowLocked(at);
    layoutRowsLocked();
    relistRowsLocked();
  }
  syncHUITracksLocked();
}

void SimProTools::removeTrack(std::size_t index) {
  auto lock = SimElement::lockTree();
  if (index >= _tracks.size()) return;
  closeEntryLocked();
  if (const auto& row = _tracks[index].row) {
    if (_editWindow) _editWindow->removeChild(row);
    row->invalidate();
  }
  _tracks.erase(_tracks.begin() + static_cast<std::ptrdiff_t>(index));
  _listingOrder.clear();
  layoutRowsLocked();
  relistRowsLocked();
  syncHUITracksLocked();
}

bool SimProTools::setRowListingOrder(std::vector<std::size_t> order) {
  auto lock = SimElement::lockTree();
  if (!order.empty()) {
    std::vector<std::size_t> sorted = order;
    std::sort(sorted.begin(), sorted.end());
    for (std::size_t i = 0; i < sorted.size(); ++i) {
      if (sorted[i] != i) return false;
    }
    if (sorted.size() != _tracks.size()) return false;
  }
  _listingOrder = std::move(order);
  relistRowsLocked();
  return true;
}

std::shared_ptr<SimElement> SimProTools::trackRow(std::size_t index) const {
  auto lock = SimElement::lockTree();
  const Track* track = trackLocked(index);
  return track != nullptr ? track->row : nullptr;
}

std::shared_ptr<SimElement> SimProTools::trackNameField(std::size_t index) const {
  auto lock = SimElement::lockTree();
  const Track* track = trackLocked(index);
  return track != nullptr ? track->nameField : nullptr;
}

std::shared_ptr<SimElement> SimProTools::recordEnableButton(std::size_t index) const {
  auto lock = SimElement::lockTree();
  const Track* track = trackLocked(index);
  return track != nullptr ? track->recButton : nullptr;
}

std::shared_ptr<SimElement> SimProTools::inputMonitorButton(std::size_t index) const {
  auto lock = SimElement::lockTree();
  const Track* track = trackLocked(index);
  return track != nullptr ? track->inputButton : nullptr;
}

std::shared_ptr<SimElement> SimProTools::muteButton(std::size_t index) const {
  auto lock = SimElement::lockTree();
  const Track* track = trackLocked(index);
  return track != nullptr ? track->muteButton : nullptr;
}

// Input.

void SimProTools::closeEntryLocked() {
  _entry = Entry::none;
  _entryText.clear();
}

void SimProTools::commitEntryLocked() {
  if (_entry == Entry::start || _entry == Entry::end) {
    // The counter takes the last eight digits typed, filled from the right.
    const std::size_t kept = std::min<std::size_t>(_entryText.size(), 8);
    std::u32string digits(8 - kept, U'0');
    digits.append(_entryText, _entryText.size() - kept, kept);
    const auto field = [&](std::size_t i) { return static_cast<std::uint32_t>((digits[i] - U'0') * 10 + (digits[i + 1] - U'0')); };
    const TCTime entered{field(0), field(2), field(4), field(6), 0, 100, 0};
    if (entered.hours < 24 && entered.minutes < 60 && entered.seconds < 60 && entered.frames < kFramesPerSecond) {
      (_entry == Entry::start ? _selectionStart : _selectionEnd) = entered;
      showCountersLocked();
    }
  } else if (_entry == Entry::rename && _renamedTrack < _tracks.size() && !_entryText.empty()) {
    std::string name;
    for (const char32_t c : _entryText) name += platform::Utf8Text::encode(c);
    Track& track = _tracks[_renamedTrack];
    track.definition.name = std::move(name);
    if (track.row) track.row->setAttribute(ax::kTitleAttribute, rowTitle(track.definition));
    showTrackLocked(_renamedTrack);
  }
  closeEntryLocked();
}

void SimProTools::keyEvent(const platform::KeyboardEvent& event) {
  auto lock = SimElement::lockTree();
  if (_entry == Entry::none) {
    lock.unlock();
    SimApplication::keyEvent(event);
    return;
  }
  if (!event.keyDown) return;
  std::u32string characters = platform::Utf8Text::decode(event.characters);
  if (characters.empty()) {
    // A bare key code types the character of its key (Return a line feed).
    const auto c = platform::KeyboardLayout::characterForKeyCode(event.keyCode,
                                                                  (event.flags & platform::EventFlagMaskShift) != 0);
    if (c) characters.push_back(*c);
  }
  for (const char32_t c : characters) {
    if (c == U'\n' || c == U'\r') {
      commitEntryLocked();
      return;
    }
    if (_entry == Entry::rename) {
      if (c >= 0x20) _entryText.push_back(c);
    } else if (c >= U'0' && c <= U'9') {
      _entryText.push_back(c);
    }
  }
}

bool SimProTools::mouseEvent(const platform::MouseEvent& event) {
  auto lock = SimElement::lockTree();
  if (!_editWindow || !platform::pointInRect(event.location, _options.editWindowFrame)) {
    return false;
  }
  if (event.type == platform::MouseEventType::leftMouseDown) {
    closeEntryLocked();
    if (event.clickState == 2) {
      for (std::size_t i = 0; i < _tracks.size(); ++i) {
        const auto frame = _tracks[i].nameField ? _tracks[i].nameField->frame() : std::nullopt;
        if (frame && platform::pointInRect(event.location, *frame)) {
          _entry = Entry::rename;
          _renamedTrack = i;
          break;
        }
      }
    }
  }
  return true;
}

}  // namespace zar::sim
