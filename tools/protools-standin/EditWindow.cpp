#include "EditWindow.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <sstream>
#include <utility>

#include "FlatWindow.h"
#include "ZAR_DAWControl/protools/ProToolsUI.h"
#include "ZAR_DAWControl/track/TrackUI.h"

namespace standin {

namespace {

constexpr double kFramesPerSecond = 30;

void setAccessibleName(GtkWidget* widget, const std::string& name) {
  atk_object_set_name(gtk_widget_get_accessible(widget), name.c_str());
}

std::string rowTitle(const TrackDefinition& definition) {
  return definition.name + (definition.aux ? " - Aux Track " : " - Audio Track ");
}

const char* onOff(bool value) { return value ? "on" : "off"; }

void say(const std::string& line) {
  fmt::print("{}\n", line);
  std::fflush(stdout);
}

}  // namespace

EditWindow::EditWindow(const std::string& session, std::vector<TrackDefinition> tracks, TimeFormat format)
    : _format(format) {
  for (auto& definition : tracks) {
    const bool recEnabled = definition.recEnabled;
    const bool muted = definition.muted;
    _tracks.push_back(Track{std::move(definition), recEnabled, muted});
  }
  _window = flat_window_new();
  gtk_window_set_title(GTK_WINDOW(_window), fmt::format("{} {}", zar::protools::kEditWindowMarker, session).c_str());
  g_signal_connect(_window, "destroy", G_CALLBACK(gtk_main_quit), nullptr);

  GtkWidget* content = _content = gtk_box_new(GTK_ORIENTATION_VERTICAL, 2);
  GtkWidget* cluster = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 4);
  setAccessibleName(cluster, zar::protools::kCounterDisplayClusterTitle);
  _start = makeCounter(zar::protools::kEditSelectionStartTitle, Entry::start);
  _end = makeCounter(zar::protools::kEditSelectionEndTitle, Entry::end);
  gtk_container_add(GTK_CONTAINER(cluster), _start);
  gtk_container_add(GTK_CONTAINER(cluster), _end);
  gtk_container_add(GTK_CONTAINER(content), cluster);
  showCounters();
  _transport = gtk_label_new("stopped");
  setAccessibleName(_transport, "Transport");
  gtk_container_add(GTK_CONTAINER(content), _transport);
  _received = gtk_label_new("");
  setAccessibleName(_received, "Received");
  gtk_container_add(GTK_CONTAINER(content), _received);
  showReceived();
  gdk_event_handler_set(onEvent, this, nullptr);

  _rows.resize(_tracks.size());
  for (std::size_t i = 0; i < _tracks.size(); ++i) {
    makeRow(i);
    gtk_container_add(GTK_CONTAINER(content), _rows[i].box);
  }
  gtk_container_add(GTK_CONTAINER(_window), content);
}

void EditWindow::show() { gtk_widget_show_all(_window); }

GtkWidget* EditWindow::makeCounter(const char* title, Entry entry) {
  GtkWidget* field = gtk_entry_new();
  setAccessibleName(field, title);
  gtk_entry_set_width_chars(GTK_ENTRY(field), 12);
  gtk_editable_set_editable(GTK_EDITABLE(field), FALSE);
  g_object_set_data(G_OBJECT(field), "standin-entry", GINT_TO_POINTER(static_cast<int>(entry)));
  // Pressing the counter is its accessible action, which GTK calls "activate".
  g_signal_connect(field, "activate", G_CALLBACK(onCounterActivate), this);
  g_signal_connect(field, "key-press-event", G_CALLBACK(onKeyPress), this);
  g_signal_connect(field, "insert-text", G_CALLBACK(onInsertText), this);  // while open: digits only
  return field;
}

void EditWindow::makeRow(std::size_t index) {
  Row& row = _rows[index];
  row.box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 2);
  row.name = gtk_entry_new();
  setAccessibleName(row.name, zar::track::kNameFieldMarker);
  gtk_entry_set_width_chars(GTK_ENTRY(row.name), 16);
  gtk_editable_set_editable(GTK_EDITABLE(row.name), FALSE);
  g_signal_connect(row.name, "button-press-event", G_CALLBACK(onNameButtonPress), this);
  g_signal_connect(row.name, "key-press-event", G_CALLBACK(onKeyPress), this);
  const auto toggle = [&](const char* label, const char* title) {
    GtkWidget* button = gtk_toggle_button_new_with_label(label);
    setAccessibleName(button, title);
    g_signal_connect(button, "toggled", G_CALLBACK(onToggled), this);
    gtk_container_add(GTK_CONTAINER(row.box), button);
    return button;
  };
  gtk_container_add(GTK_CONTAINER(row.box), row.name);
  row.rec = toggle("R", zar::track::kRecordEnableTitle);
  row.input = toggle("I", zar::track::kInputMonitorTitle);
  row.mute = toggle("M", zar::track::kMuteTitle);
  showTrack(index);
}

std::string EditWindow::counterText(const Timecode& time, TimeFormat format) {
  const double seconds = ((time.hours * 60.0 + time.minutes) * 60.0 + time.seconds) + time.frames / kFramesPerSecond;
  switch (format) {
    case TimeFormat::timecode:
      return fmt::format("{:02}:{:02}:{:02}:{:02}", time.hours, time.minutes, time.seconds, time.frames);
    case TimeFormat::bars: {  // 120 beats per minute in 4/4
      const auto beats = static_cast<long long>(seconds * 2);
      return fmt::format("{}| {}| 000", beats / 4 + 1, beats % 4 + 1);
    }
    case TimeFormat::minsecs: {
      const auto millis = static_cast<long long>(seconds * 1000 + 0.5);
      return fmt::format("{}:{:02}.{:03}", millis / 60000, (millis / 1000) % 60, millis % 1000);
    }
    case TimeFormat::samples:
      return fmt::format("{}", static_cast<long long>(seconds * 48000 + 0.5));
    case TimeFormat::feet: {  // 16 frames a foot at 24 frames a second
      const auto frames = static_cast<long long>(seconds * 24 + 0.5);
      return fmt::format("{}+{:02}", frames / 16, frames % 16);
    }
  }
  return {};
}

void EditWindow::showCounters() {
  gtk_entry_set_text(GTK_ENTRY(_start), counterText(_selectionStart, _format).c_str());
  gtk_entry_set_text(GTK_ENTRY(_end), counterText(_selectionEnd, _format).c_str());
}

void EditWindow::showTrack(std::size_t index) {
  const Track& track = _tracks[index];
  const Row& row = _rows[index];
  _updating = true;
  setAccessibleName(row.box, rowTitle(track.definition));
  gtk_entry_set_text(GTK_ENTRY(row.name), track.definition.name.c_str());
  gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(row.rec), track.recEnabled);
  gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(row.input), track.inputMonitoring);
  gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(row.mute), track.muted);
  _updating = false;
}

void EditWindow::showTransport(const std::string& state) {
  gtk_label_set_text(GTK_LABEL(_transport), state.c_str());
}

void EditWindow::receivedHUI(std::size_t messages) {
  _huiMessages += messages;
  showReceived();
}

void EditWindow::showReceived() {
  const auto text = fmt::format("hui {} keys {} mouse {}", _huiMessages, _keyEvents, _mouseEvents);
  gtk_label_set_text(GTK_LABEL(_received), text.c_str());
}

// Every event of the program passes here on its way to GTK.
void EditWindow::onEvent(GdkEvent* event, gpointer self) {
  auto& window = *static_cast<EditWindow*>(self);
  switch (event->type) {
    case GDK_KEY_PRESS:
    case GDK_KEY_RELEASE:
      ++window._keyEvents;
      window.showReceived();
      break;
    case GDK_BUTTON_PRESS:  // a double-click's GDK_2BUTTON_PRESS comes on top of its second press
    case GDK_BUTTON_RELEASE:
      ++window._mouseEvents;
      window.showReceived();
      break;
    default:
      break;
  }
  gtk_main_do_event(event);
}

void EditWindow::setRecEnabled(std::size_t index, bool value) {
  if (index >= _tracks.size() || _tracks[index].recEnabled == value) return;
  _tracks[index].recEnabled = value;
  showTrack(index);
  say(fmt::format("track {} record {}", index, onOff(value)));
}

void EditWindow::setMuted(std::size_t index, bool value) {
  if (index >= _tracks.size() || _tracks[index].muted == value) return;
  _tracks[index].muted = value;
  showTrack(index);
  say(fmt::format("track {} mute {}", index, onOff(value)));
}

void EditWindow::open(Entry entry, GtkWidget* field, std::size_t track) {
  if (_entry != Entry::none) {
    gtk_editable_set_editable(GTK_EDITABLE(_entryField), FALSE);
    showCounters();
    if (_entry == Entry::rename) showTrack(_renamed);
  }
  _entry = entry;
  _entryField = field;
  _renamed = track;
  gtk_editable_set_editable(GTK_EDITABLE(field), TRUE);
  gtk_entry_set_text(GTK_ENTRY(field), "");
  gtk_widget_grab_focus(field);
  say(entry == Entry::rename ? fmt::format("track {} name open", track)
                             : fmt::format("counter {} open", entry == Entry::start ? "start" : "end"));
}

void EditWindow::commit() {
  const std::string text = gtk_entry_get_text(GTK_ENTRY(_entryField));
  gtk_editable_set_editable(GTK_EDITABLE(_entryField), FALSE);
  const Entry entry = std::exchange(_entry, Entry::none);
  if (entry == Entry::rename) {
    if (!text.empty()) {
      _tracks[_renamed].definition.name = text;
      say(fmt::format("track {} renamed \"{}\"", _renamed, text));
    }
    showTrack(_renamed);
    return;
  }
  // The counter takes the last eight digits typed, filled from the right.
  std::string digits(8, '0');
  const std::size_t kept = std::min<std::size_t>(text.size(), 8);
  std::copy(text.end() - static_cast<std::ptrdiff_t>(kept), text.end(), digits.end() - static_cast<std::ptrdiff_t>(kept));
  const auto field = [&](std::size_t i) { return static_cast<std::uint32_t>((digits[i] - '0') * 10 + (digits[i + 1] - '0')); };
  const Timecode entered{field(0), field(2), field(4), field(6)};
  if (entered.hours < 24 && entered.minutes < 60 && entered.seconds < 60 && entered.frames < kFramesPerSecond) {
    (entry == Entry::start ? _selectionStart : _selectionEnd) = entered;
    say(fmt::format("selection {} {}", entry == Entry::start ? "start" : "end",
                    counterText(entered, TimeFormat::timecode)));
  }
  showCounters();
}

gboolean EditWindow::onKeyPress(GtkWidget* widget, GdkEventKey* event, gpointer self) {
  auto& window = *static_cast<EditWindow*>(self);
  if (event->keyval != GDK_KEY_Return && event->keyval != GDK_KEY_KP_Enter) return FALSE;
  if (window._entry != Entry::none && widget == window._entryField) window.commit();
  return TRUE;  // Return never activates a counter: only pressing it does
}

void EditWindow::onInsertText(GtkEditable* editable, const gchar* text, gint length, gint*, gpointer) {
  if (!gtk_editable_get_editable(editable)) return;  // the counter shows its text
  const std::string inserted(text, length < 0 ? std::strlen(text) : static_cast<std::size_t>(length));
  if (!std::all_of(inserted.begin(), inserted.end(), [](char c) { return std::isdigit(static_cast<unsigned char>(c)); })) {
    g_signal_stop_emission_by_name(editable, "insert-text");  // a counter takes digits only
  }
}

void EditWindow::onCounterActivate(GtkEntry* entry, gpointer self) {
  auto& window = *static_cast<EditWindow*>(self);
  const auto kind = static_cast<Entry>(GPOINTER_TO_INT(g_object_get_data(G_OBJECT(entry), "standin-entry")));
  window.open(kind, GTK_WIDGET(entry));
}

gboolean EditWindow::onNameButtonPress(GtkWidget* widget, GdkEventButton* event, gpointer self) {
  auto& window = *static_cast<EditWindow*>(self);
  if (event->type != GDK_2BUTTON_PRESS || event->button != 1) return FALSE;
  for (std::size_t i = 0; i < window._rows.size(); ++i) {
    if (window._rows[i].name == widget) window.open(Entry::rename, widget, i);
  }
  return TRUE;
}

void EditWindow::onToggled(GtkToggleButton* button, gpointer self) {
  static_cast<EditWindow*>(self)->toggled(GTK_WIDGET(button));
}

void EditWindow::toggled(GtkWidget* button) {
  if (_updating) return;
  const bool active = gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(button));
  for (std::size_t i = 0; i < _rows.size(); ++i) {
    Track& track = _tracks[i];
    if (_rows[i].input == button) {
      track.inputMonitoring = active;
      say(fmt::format("track {} input {}", i, onOff(active)));
    } else if (_rows[i].rec == button || _rows[i].mute == button) {
      (_rows[i].rec == button ? track.recEnabled : track.muted) = active;
      say(fmt::format("track {} {} {}", i, _rows[i].rec == button ? "record" : "mute", onOff(active)));
      if (_trackChanged) _trackChanged(i);
    }
  }
}

bool EditWindow::command(const std::string& line) {
  std::istringstream words(line);
  std::string verb;
  words >> verb;
  std::size_t index = 0;
  const auto track = [&] { return static_cast<bool>(words >> index) && index < _tracks.size(); };
  const auto rest = [&] {
    std::string text;
    std::getline(words >> std::ws, text);
    return text;
  };
  if (verb == "input" && track()) {
    const std::string value = rest();
    if (value != "on" && value != "off") return false;
    // As a click on the button: its handler says what changed.
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(_rows[index].input), value == "on");
    return true;
  }
  if (verb == "rename" && track()) {
    const std::string name = rest();
    if (name.empty()) return false;
    _tracks[index].definition.name = name;
    showTrack(index);
    say(fmt::format("track {} renamed \"{}\"", index, name));
    return true;
  }
  if (verb == "say") {
    // Said after everything the stand-in did before it: a reader of the output has caught up.
    say(rest());
    return true;
  }
  if (verb == "add") {
    const std::string name = rest();
    if (name.empty()) return false;
    addTrack(name);
    return true;
  }
  if (verb == "remove" && track()) {
    removeTrack(index);
    return true;
  }
  if (verb == "select") {
    // As a user drags a selection: the counters show its start and end.
    Timecode edge[2];
    for (Timecode& time : edge) {
      std::string text;
      char separator[3] = {};
      std::istringstream fields(words >> text ? text : "");
      if (!(fields >> time.hours >> separator[0] >> time.minutes >> separator[1] >> time.seconds >> separator[2] >> time.frames)) {
        return false;
      }
    }
    _selectionStart = edge[0];
    _selectionEnd = edge[1];
    showCounters();
    say(fmt::format("selected {} {}", counterText(edge[0], TimeFormat::timecode), counterText(edge[1], TimeFormat::timecode)));
    return true;
  }
  std::size_t to = 0;
  if (verb == "move" && track() && (words >> to) && to < _tracks.size()) {
    moveTrack(index, to);
    return true;
  }
  return false;
}

void EditWindow::sayWhenShown(std::string line) {
  _unshown.push_back(std::move(line));
  if (_afterPaint == 0) {
    _afterPaint = g_signal_connect_swapped(gtk_widget_get_frame_clock(_window), "after-paint", G_CALLBACK(+[](gpointer self) {
      auto& window = *static_cast<EditWindow*>(self);
      for (const auto& shown : std::exchange(window._unshown, {})) say(shown);
    }), this);
  }
  gtk_widget_queue_draw(_window);
}

void EditWindow::announceRow(const char* change, std::size_t index, GtkWidget* row) {
  // The window lists its content's children as its own: their container's announcements name
  // the content box, which accessibility never sees.
  g_signal_emit_by_name(gtk_widget_get_accessible(_window), change, static_cast<guint>(kRowsStart + index),
                        gtk_widget_get_accessible(row));
}

void EditWindow::addTrack(const std::string& name) {
  const std::size_t index = _tracks.size();
  _tracks.push_back(Track{TrackDefinition{name}});
  _rows.emplace_back();
  makeRow(index);
  gtk_container_add(GTK_CONTAINER(_content), _rows[index].box);
  gtk_widget_show_all(_rows[index].box);
  announceRow("children-changed::add", index, _rows[index].box);
  sayWhenShown(fmt::format("track {} added \"{}\"", index, name));
}

void EditWindow::removeTrack(std::size_t index) {
  GtkWidget* box = _rows[index].box;
  g_object_ref(box);  // for the announcement after it left the window
  gtk_container_remove(GTK_CONTAINER(_content), box);
  _tracks.erase(_tracks.begin() + static_cast<std::ptrdiff_t>(index));
  _rows.erase(_rows.begin() + static_cast<std::ptrdiff_t>(index));
  announceRow("children-changed::remove", index, box);
  g_object_unref(box);
  sayWhenShown(fmt::format("track {} removed", index));
}

void EditWindow::moveTrack(std::size_t from, std::size_t to) {
  GtkWidget* box = _rows[from].box;
  announceRow("children-changed::remove", from, box);
  gtk_box_reorder_child(GTK_BOX(_content), box, static_cast<gint>(kRowsStart + to));
  Track track = std::move(_tracks[from]);
  const Row row = _rows[from];
  _tracks.erase(_tracks.begin() + static_cast<std::ptrdiff_t>(from));
  _rows.erase(_rows.begin() + static_cast<std::ptrdiff_t>(from));
  _tracks.insert(_tracks.begin() + static_cast<std::ptrdiff_t>(to), std::move(track));
  _rows.insert(_rows.begin() + static_cast<std::ptrdiff_t>(to), row);
  announceRow("children-changed::add", to, box);
  sayWhenShown(fmt::format("track {} moved to {}", from, to));
}

}  // namespace standin
