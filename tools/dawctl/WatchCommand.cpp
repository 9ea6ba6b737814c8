#include <fmt/format.h>

#include <mutex>

#include "CommandLine.h"
#include "Commands.h"
#include "SimulatedHost.h"
#include "X11Host.h"
#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/platform/NotificationObservation.h"
#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"

namespace dawctl {

namespace {

struct WatchOptions {
  double seconds = 10;
  std::optional<double> quitAfter;
  bool virtualTime = false;
  std::shared_ptr<DirectoryChoice> directory = std::make_shared<DirectoryChoice>();
  std::string desktop = "sim";
  std::optional<std::string> alertAnswer;
};

// The tracks as the framework names them, with their positions.
std::string trackList(const ZAR_DAWApplication& application) {
  std::vector<std::string> tracks;
  for (const auto& track : application.audioTracks()) {
    tracks.push_back(fmt::format("{} {:?}", track->index(), track->name()));
  }
  return tracks.empty() ? std::string("no tracks") : fmt::format("tracks {}", fmt::join(tracks, ", "));
}

// What a notification tells the host, as one line.
std::string describe(const zar::platform::Notification& notification) {
  if (notification.name == ZAR_DAWSettingsFileStatusNotification) {
    return fmt::format("{}: {}", notification.name,
                       std::any_cast<const ZAR_DAWSettingsFileStatus&>(notification.object).description);
  }
  const auto application = ZAR_DAWApplicationManager::sharedManager()->currentApplication();
  if (!application || notification.name == ZAR_DAWApplicationRemovedNotification) {
    return notification.name;
  }
  if (notification.name == ZAR_DAWApplicationAddedNotification) {
    return fmt::format("{}: {} {} (major version {}), session \"{}\", {}", notification.name,
                       application->name().value_or(""), application->versionString().value_or(""),
                       application->majorVersion(), application->currentProject().value_or(""),
                       trackList(*application));
  }
  if (notification.name == ZAR_DAWApplicationTrackNamesChangedNotification) {
    return fmt::format("{}: {}", notification.name, trackList(*application));
  }
  if (notification.name == ZAR_DAWApplicationSelectionChangedNotification) {
    return fmt::format("{}: selection {} to {}", notification.name,
                       application->selectionStartTC().value_or("(unreadable)"),
                       application->selectionEndTC().value_or("(unreadable)"));
  }
  return notification.name;
}

// Enables the framework, prints every notification for the given seconds, and disables it.
template <typename Host>
void watchOn(Host& host, double seconds, std::mutex& printing) {
  zar::platform::NotificationObservation observation(
      host.platform()->notificationCenter, std::nullopt, [&](const zar::platform::Notification& notification) {
        std::lock_guard lock(printing);
        fmt::print("[{:8.3f}] {}\n", host.elapsed(), describe(notification));
        std::fflush(stdout);
      });
  const auto manager = ZAR_DAWApplicationManager::sharedManager();
  manager->setAllowed(true);
  manager->setEnabled(true);
  host.runFor(seconds);
  manager->setEnabled(false);
}

void watchX11(const WatchOptions& options) {
  if (options.quitAfter || options.virtualTime) {
    fmt::print(stderr, "dawctl watch: --quit-after and --virtual-time are for the simulated desktop\n");
    throw CLI::RuntimeError(2);
  }
  X11Host::Options hostOptions;
  hostOptions.supportDirectory = checkedDirectory("watch", *options.directory);
  if (options.alertAnswer) {
    hostOptions.alertAnswer =
        *options.alertAnswer == "ok" ? TerminalAlertPresenter::Answer::ok : TerminalAlertPresenter::Answer::okSuppress;
  }
  X11Host host(hostOptions);
  std::mutex printing;  // notifications come from the discovery threads too
  watchOn(host, options.seconds, printing);
}

void watch(const WatchOptions& options) {
  if (options.desktop == "x11") {
    watchX11(options);
    return;
  }
  SimulatedHost host(SimulatedHost::Options{options.virtualTime, checkedDirectory("watch", *options.directory), {}});
  std::mutex printing;
  host.launchProTools();
  zar::platform::TimerRef quitTimer;
  if (options.quitAfter) {
    quitTimer = host.platform()->mainRunLoop->scheduleRepeatingTimer(*options.quitAfter, [&] {
      quitTimer->invalidate();
      std::lock_guard lock(printing);
      fmt::print("[{:8.3f}] (Pro Tools quits)\n", host.elapsed());
      host.quitProTools();
    });
  }

  watchOn(host, options.seconds, printing);
  if (quitTimer) quitTimer->invalidate();
}

}  // namespace

void addWatchCommand(CLI::App& app) {
  auto options = std::make_shared<WatchOptions>();
  auto* command = app.add_subcommand(
      "watch", "Enable the framework against Pro Tools (the simulated one, or on the X11 desktop) and print every "
               "notification it posts");
  command->add_option("--seconds", options->seconds, "How long to watch")->check(secondsBetween(0, 86400));
  command->add_option("--quit-after", options->quitAfter, "Make Pro Tools quit after this many seconds")
      ->check(secondsBetween(0, 86400));
  command->add_flag("--virtual-time", options->virtualTime, "Run in virtual time, as fast as the machine allows");
  addDirectoryOptions(*command, options->directory, true);
  command->add_option("--desktop", options->desktop, "The simulated desktop, or the X11 desktop of $DISPLAY")
      ->check(CLI::IsMember({"sim", "x11"}))
      ->capture_default_str();
  command->add_option("--alert-answer", options->alertAnswer,
                      "Answer alerts on the X11 desktop without asking (ok-suppress also checks the box)")
      ->check(CLI::IsMember({"ok", "ok-suppress"}));
  command->callback([options] { watch(*options); });
}

}  // namespace dawctl
