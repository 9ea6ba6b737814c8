#pragma once

#include <gtk/gtk.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace standin {

/// Pro Tools' counter formats.
enum class TimeFormat { timecode, bars, minsecs, samples, feet };

/// A timecode at 30 frames per second.
struct Timecode {
  std::uint32_t hours = 0, minutes = 0, seconds = 0, frames = 0;
};

struct TrackDefinition {
  std::string name;
  bool aux = false;
  /// As the session was saved: record enabled, muted.
  bool recEnabled = false;
  bool muted = false;
};

/// The edit window of the stand-in Pro Tools, with the accessibility tree the driver reads: a
/// window titled "Edit: <session>" whose children are the "Counter Display Cluster" (the fields
/// "Edit Selection Start" and "Edit Selection End") and one row per track titled "<name> - Audio
/// Track " or "<name> - Aux Track ", holding "Track name", "Track Record Enable", "TrackInput
/// Monitor" and "Mute". Pressing a counter (its action) opens it for entry: digits and Return set
/// the selection. Double-clicking a name field opens it for renaming: typed text and Return rename
/// the track. A label "Transport" shows the transport's state as its text, a label "Received"
/// what the stand-in received ("hui N keys N mouse N": HUI messages, key presses and releases,
/// mouse button presses and releases). Everything runs on the GTK main thread; each change is
/// printed on standard output.
///
/// `command` takes what a user does by hand, one line each: "input N on|off" (a track's input
/// monitor button), "rename N NAME", "add NAME" (a track at the bottom), "remove N", "move N M"
/// (track N to position M), "select HH:MM:SS:FF HH:MM:SS:FF" (the edit selection); "say TEXT"
/// prints the text, after everything done before it. Tracks count from 0, top to bottom. The window announces the rows it
/// gains and loses to accessibility, as a toolkit's container does.
class EditWindow {
 public:
  struct Track {
    TrackDefinition definition;
    bool recEnabled = false;
    bool muted = false;
    bool inputMonitoring = false;
  };

  EditWindow(const std::string& session, std::vector<TrackDefinition> tracks, TimeFormat format);
  EditWindow(const EditWindow&) = delete;
  EditWindow& operator=(const EditWindow&) = delete;

  void show();
  const std::vector<Track>& tracks() const { return _tracks; }
  /// Sets a track's record enable or mute as Pro Tools shows it (its button follows).
  void setRecEnabled(std::size_t index, bool value);
  void setMuted(std::size_t index, bool value);
  /// Shows the transport's state ("stopped", "playing", "recording", "record armed").
  void showTransport(const std::string& state);
  /// Counts HUI messages received.
  void receivedHUI(std::size_t messages);
  /// Does what a line of the user says; false for a line it doesn't understand.
  bool command(const std::string& line);
  /// Told the index of a track whose record enable or mute the user changed with its button.
  void setTrackChangedCallback(std::function<void(std::size_t)> callback) { _trackChanged = std::move(callback); }

  /// The counter text of a timecode in a format.
  static std::string counterText(const Timecode& time, TimeFormat format);

 private:
  struct Row {
    GtkWidget* box = nullptr;
    GtkWidget* name = nullptr;
    GtkWidget* rec = nullptr;
    GtkWidget* input = nullptr;
    GtkWidget* mute = nullptr;
  };
  enum class Entry { none, start, end, rename };

  GtkWidget* makeCounter(const char* title, Entry entry);
  void makeRow(std::size_t index);
  void showCounters();
  void showTrack(std::size_t index);
  void open(Entry entry, GtkWidget* field, std::size_t track = 0);
  void commit();
  void toggled(GtkWidget* button);
  void showReceived();
  void addTrack(const std::string& name);
  void removeTrack(std::size_t index);
  void moveTrack(std::size_t from, std::size_t to);
  /// Says a change of the rows once the window has laid them out and drawn them: until then a new
  /// row has no place on the screen.
  void sayWhenShown(std::string line);
  /// Tells accessibility that the window's row at `index` came or went.
  void announceRow(const char* change, std::size_t index, GtkWidget* row);

  static void onEvent(GdkEvent* event, gpointer self);
  static gboolean onKeyPress(GtkWidget* widget, GdkEventKey* event, gpointer self);
  static void onInsertText(GtkEditable* editable, const gchar* text, gint length, gint* position, gpointer self);
  static void onCounterActivate(GtkEntry* entry, gpointer self);
  static gboolean onNameButtonPress(GtkWidget* widget, GdkEventButton* event, gpointer self);
  static void onToggled(GtkToggleButton* button, gpointer self);

  const TimeFormat _format;
  std::vector<Track> _tracks;
  std::vector<Row> _rows;
  GtkWidget* _window = nullptr;
  GtkWidget* _content = nullptr;
  /// The window's children before the first row: the counters, "Transport" and "Received".
  static constexpr std::size_t kRowsStart = 3;
  GtkWidget* _start = nullptr;
  GtkWidget* _end = nullptr;
  GtkWidget* _transport = nullptr;
  GtkWidget* _received = nullptr;
  std::size_t _huiMessages = 0;
  std::size_t _keyEvents = 0;
  std::size_t _mouseEvents = 0;
  Timecode _selectionStart{1, 0, 0, 0};
  Timecode _selectionEnd{1, 0, 10, 0};
  Entry _entry = Entry::none;
  GtkWidget* _entryField = nullptr;
  std::size_t _renamed = 0;
  bool _updating = false;
  std::function<void(std::size_t)> _trackChanged;
  std::vector<std::string> _unshown;
  gulong _afterPaint = 0;
};

}  // namespace standin
