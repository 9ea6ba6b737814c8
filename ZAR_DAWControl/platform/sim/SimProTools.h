#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZAR_DAWControl/platform/Geometry.h"
#include "ZAR_DAWControl/platform/utility/TCTime.h"
#include "ZAR_DAWControl/platform/sim/SimApplication.h"
#include "ZAR_DAWControl/platform/sim/SimHUIHost.h"

namespace zar::sim {

/// The simulated Pro Tools, as its accessibility tree shows it and as it reacts to input: the edit
/// window with its counter display (edit-selection start and end) and one row per audio or aux
/// track (name field, record-enable, input-monitor and mute buttons). Pressing a counter opens it
/// for entry: digits typed to Pro Tools fill it and Return commits them as HH:MM:SS:FF. Pressing an
/// input-monitor button flips it. Double-clicking a name field opens it for renaming: text typed
/// into Pro Tools while it is frontmost replaces the name and Return commits it into the row.
///
/// State is guarded by the simulated elements' tree lock, so it changes atomically for clients.
class SimProTools : public SimApplication {
 public:
  enum class TrackKind { audio, aux };
  /// Pro Tools' main counter formats.
  enum class TimeFormat { timecode, barsBeats, minSecs, samples, feetFrames };

  struct TrackDefinition {
    std::string name;
    TrackKind kind = TrackKind::audio;
  };

  struct Options {
    std::int32_t processIdentifier = 0;
    std::string bundleIdentifier = "com.avid.ProTools";
    /// The bundle's "CFBundleVersion"; nothing leaves the key out.
    std::optional<std::string> bundleVersion = "12.5.0";
    /// The open session; nothing: Pro Tools runs without a session (no edit window).
    std::optional<std::string> sessionName = "Dialogue Session";
    std::vector<TrackDefinition> tracks;
    /// How a row's title is made from the track's name ("{}" stands for the name).
    std::string audioTitleFormat = "{} - Audio Track ";
    std::string auxTitleFormat = "{} - Aux Track ";
    /// The edit window in accessibility coordinates; rows lie below the counters, top to bottom.
    platform::Rect editWindowFrame{{0, 25}, {1600, 1000}};
    double firstRowOffset = 150;
    double rowHeight = 60;
  };

  explicit SimProTools(Options options);
  /// Its elements stop answering: their reactions refer to the application.
  ~SimProTools() override;

  // Session.

  /// Opens a session: the edit window (titled "Edit: " and the name) appears with fresh elements.
  void openSession(const std::string& name);
  /// Closes the session: the edit window goes away and its elements stop answering.
  void closeSession();
  std::shared_ptr<SimElement> editWindow() const;
  std::shared_ptr<SimElement> selectionStartField() const;
  std::shared_ptr<SimElement> selectionEndField() const;

  // Counters.

  void setTimeFormat(TimeFormat format);
  /// Sets the edit selection (timecode at 30 frames per second).
  void setSelection(TCTime start, TCTime end);
  TCTime selectionStart() const;
  TCTime selectionEnd() const;
  /// Whether a counter is open for entry.
  bool counterEntryOpen() const;

  // Tracks.

  std::size_t trackCount() const;
  std::string trackName(std::size_t index) const;
  bool inputMonitoring(std::size_t index) const;
  bool trackRecEnabled(std::size_t index) const;
  bool trackMuted(std::size_t index) const;
  /// Sets the track's record enable or mute as Pro Tools shows it.
  void setTrackRecEnabled(std::size_t index, bool value);
  void setTrackMuted(std::size_t index, bool value);
  /// Adds a track at `position` (the end when nothing or past the end).
  void addTrack(TrackDefinition definition, std::optional<std::size_t> position = std::nullopt);
  void removeTrack(std::size_t index);
  /// The order in which the edit window lists the rows among its children (rows stay on screen in
  /// track order). Empty: track order. An order that isn't a permutation of the tracks is refused.
  bool setRowListingOrder(std::vector<std::size_t> order);
  std::shared_ptr<SimElement> trackRow(std::size_t index) const;
  std::shared_ptr<SimElement> trackNameField(std::size_t index) const;
  std::shared_ptr<SimElement> recordEnableButton(std::size_t index) const;
  std::shared_ptr<SimElement> inputMonitorButton(std::size_t index) const;
  std::shared_ptr<SimElement> muteButton(std::size_t index) const;

  // HUI.

  /// Makes Pro Tools talk HUI on those ports: from then on a track's record enable and mute are
  /// the HUI side's, so a toggle pressed over HUI shows in the track's row and a change in the row
  /// reaches the surface's lamps.
  void attachHUI(std::shared_ptr<platform::MidiPorts> ports, platform::MidiPortRequest request,
                 SimHUIHost::Options options = {});
  std::shared_ptr<SimHUIHost> huiHost() const;

  /// The counter's text for a time in a format.
  static std::string counterText(const TCTime& time, TimeFormat format);

  void keyEvent(const platform::KeyboardEvent& event) override;
  bool mouseEvent(const platform::MouseEvent& event) override;

 private:
  struct Track {
    explicit Track(TrackDefinition trackDefinition) : definition(std::move(trackDefinition)) {}
    TrackDefinition definition;
    bool recEnabled = false;
    bool muted = false;
    bool inputMonitoring = false;
    std::shared_ptr<SimElement> row;
    std::shared_ptr<SimElement> nameField;
    std::shared_ptr<SimElement> recButton;
    std::shared_ptr<SimElement> inputButton;
    std::shared_ptr<SimElement> muteButton;
  };
  enum class Entry { none, start, end, rename };

  static Info infoFor(const Options& options);
  std::string rowTitle(const TrackDefinition& definition) const;
  void buildEditWindowLocked();
  void buildRowLocked(std::size_t index);
  void layoutRowsLocked();
  void relistRowsLocked();
  void showCountersLocked();
  void showTrackLocked(std::size_t index);
  void closeEntryLocked();
  void commitEntryLocked();
  const Track* trackLocked(std::size_t index) const;
  void syncHUITracksLocked();
  void hostChangedTrack(std::size_t index);

  const Options _options;
  // Guarded by the element tree lock.
  std::optional<std::string> _sessionName;
  std::shared_ptr<SimElement> _editWindow;
  std::shared_ptr<SimElement> _startField;
  std::shared_ptr<SimElement> _endField;
  TimeFormat _format = TimeFormat::timecode;
  TCTime _selectionStart{1, 0, 0, 0, 0, 100, 0};
  TCTime _selectionEnd{1, 0, 10, 0, 0, 100, 0};
  std::vector<Track> _tracks;
  std::vector<std::size_t> _listingOrder;
  Entry _entry = Entry::none;
  std::size_t _renamedTrack = 0;
  std::u32string _entryText;
  std::shared_ptr<SimHUIHost> _huiHost;
};

}  // namespace zar::sim
