// protools-standin: a small GTK 3 program that shows the framework what Pro Tools shows it, on a
// real toolkit and real MIDI ports: the edit window's accessibility tree and the HUI side.

#include <glib-unix.h>
#include <gtk/gtk.h>
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "EditWindow.h"
#include "HUIHost.h"
#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/linux/RtMidiPorts.h"
#include "ZAR_DAWControl/platform/linux/SpdLogger.h"

namespace {

/// What the stand-in announces on the accessibility bus: the identifier is the program name of
/// its application object, the version its description.
constexpr const char* kIdentifier = "com.avid.ProTools";
constexpr const char* kApplicationName = "Pro Tools";

struct Options {
  std::string session = "Dialogue Session";
  std::vector<std::string> tracks;
  int numberedTracks = 0;
  std::string timeFormat = "timecode";
  std::string version = "12.5.0";
  bool noHUI = false;
  std::string midiAPI = "jack";
  std::string huiPort = "ZAR_DAWControl HUI";
  int huiReceiveDelay = 0;
  bool printHUI = false;
  double quitAfter = 0;
};

std::vector<standin::TrackDefinition> trackDefinitions(const Options& options) {
  std::vector<standin::TrackDefinition> tracks;
  for (std::string text : options.tracks) {
    standin::TrackDefinition track;
    // Suffixes, in any order after the name: its kind and how the session was saved.
    const std::pair<const char*, bool standin::TrackDefinition::*> suffixes[] = {
        {":aux", &standin::TrackDefinition::aux},
        {":armed", &standin::TrackDefinition::recEnabled},
        {":muted", &standin::TrackDefinition::muted}};
    for (bool found = true; found;) {
      found = false;
      for (const auto& [suffix, flag] : suffixes) {
        const std::string_view ending(suffix);
        if (text.size() > ending.size() && text.ends_with(ending)) {
          text.resize(text.size() - ending.size());
          track.*flag = true;
          found = true;
        }
      }
    }
    track.name = std::move(text);
    tracks.push_back(std::move(track));
  }
  for (int i = 1; i <= options.numberedTracks; ++i) tracks.push_back({fmt::format("Track {}", i)});
  if (tracks.empty()) tracks = {{"JO Dialog"}, {"ANNA Dialog"}, {"Guide"}, {"FX", true}};
  return tracks;
}

gboolean unselectHUI(gpointer hui) {
  if (hui != nullptr) static_cast<standin::HUIHost*>(hui)->unselect();
  return G_SOURCE_REMOVE;
}

// A line on standard input: what a user does by hand in the window.
gboolean onInput(GIOChannel* channel, GIOCondition condition, gpointer window) {
  gchar* line = nullptr;
  gsize length = 0;
  if ((condition & G_IO_IN) != 0 && g_io_channel_read_line(channel, &line, &length, nullptr, nullptr) == G_IO_STATUS_NORMAL) {
    std::string text(line, length);
    g_free(line);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    if (!static_cast<standin::EditWindow*>(window)->command(text)) {
      fmt::print("unknown command \"{}\"\n", text);
      std::fflush(stdout);
    }
    return G_SOURCE_CONTINUE;
  }
  return G_SOURCE_REMOVE;  // the end of the input
}

gboolean quit(gpointer) {
  fmt::print("quitting\n");
  std::fflush(stdout);
  gtk_main_quit();
  return G_SOURCE_REMOVE;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  const std::map<std::string, standin::TimeFormat> formats{{"timecode", standin::TimeFormat::timecode},
                                                           {"bars", standin::TimeFormat::bars},
                                                           {"minsecs", standin::TimeFormat::minsecs},
                                                           {"samples", standin::TimeFormat::samples},
                                                           {"feet", standin::TimeFormat::feet}};
  CLI::App app{"protools-standin - a stand-in Pro Tools: its edit window over accessibility, its HUI side over MIDI"};
  app.add_option("--session", options.session, "Session name (the edit window is \"Edit: NAME\")")->capture_default_str();
  app.add_option("--track", options.tracks,
                 "A track, top to bottom (repeatable); suffixes :aux (an aux track), :armed and :muted (as saved)");
  app.add_option("--tracks", options.numberedTracks, "Add N audio tracks named \"Track 1\" ... \"Track N\"")
      ->check(CLI::Range(0, 256));
  app.add_option("--time-format", options.timeFormat, "Main counter format")
      ->check(CLI::IsMember({"timecode", "bars", "minsecs", "samples", "feet"}))
      ->capture_default_str();
  app.add_option("--bundle-version", options.version, "The version it announces")->capture_default_str();
  app.add_flag("--no-hui", options.noHUI, "No HUI peripheral: never ping or answer on MIDI");
  app.add_option("--midi-api", options.midiAPI, "MIDI API of the HUI ports")
      ->check(CLI::IsMember({"jack", "alsa"}))
      ->capture_default_str();
  app.add_option("--hui-port", options.huiPort, "The surface's MIDI ports to connect to")->capture_default_str();
  app.add_option("--hui-receive-delay", options.huiReceiveDelay,
                 "Microseconds each HUI message received holds the MIDI thread (JACK's process callback)")
      ->check(CLI::Range(0, 100000));
  app.add_flag("--print-hui", options.printHUI, "Print every HUI message received (\"hui in B0 0F 0E\")");
  app.add_option("--quit-after", options.quitAfter, "Quit after this many seconds")->check(CLI::PositiveNumber);
  CLI11_PARSE(app, argc, argv);

  g_set_prgname(kIdentifier);
  g_set_application_name(kApplicationName);
  if (!gtk_init_check(&argc, &argv)) {
    fmt::print(stderr, "protools-standin: cannot open the display\n");
    return 1;
  }
  atk_object_set_description(atk_get_root(), options.version.c_str());

  auto platform = std::make_shared<zar::platform::Platform>();
  platform->logger = zar::native::SpdLogger::makeDefault();
  zar::platform::Platform::install(platform);

  standin::EditWindow window(options.session, trackDefinitions(options), formats.at(options.timeFormat));
  std::unique_ptr<standin::HUIHost> hui;
  if (!options.noHUI) {
    hui = std::make_unique<standin::HUIHost>(window, std::make_shared<zar::native::RtMidiPorts>(),
                                             zar::platform::MidiPortRequest{options.midiAPI, kApplicationName,
                                                                            options.huiPort, options.huiPort},
                                             standin::HUIHost::Options{
                                                 std::chrono::microseconds(options.huiReceiveDelay), options.printHUI});
    window.setTrackChangedCallback([&hui](std::size_t) { hui->trackChanged(); });
    hui->start();
  }
  // SIGUSR1: HUI unselected in the peripherals, as a user does while a host is attached.
  g_unix_signal_add(SIGUSR1, unselectHUI, hui.get());
  // Stopped from outside, it quits as from its menu: its MIDI client leaves JACK, which otherwise
  // waits out its client time-out for the process that no longer answers.
  g_unix_signal_add(SIGTERM, quit, nullptr);
  g_unix_signal_add(SIGINT, quit, nullptr);
  GIOChannel* input = g_io_channel_unix_new(STDIN_FILENO);
  g_io_add_watch(input, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR), onInput, &window);
  g_io_channel_unref(input);
  window.show();
  if (options.quitAfter > 0) g_timeout_add(static_cast<guint>(options.quitAfter * 1000), quit, nullptr);
  fmt::print("ready pid={}\n", ::getpid());
  std::fflush(stdout);
  gtk_main();
  hui.reset();
  zar::platform::Platform::install(nullptr);
  return 0;
}
