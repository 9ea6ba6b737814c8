#pragma once

#include <CLI/CLI.hpp>

// Each subcommand of dawctl lives in a file of its own and registers itself here.
namespace dawctl {

/// `dawctl timecode TEXT`: reads a counter text as the framework reads it.
void addTimecodeCommand(CLI::App& app);
/// `dawctl settings ...`: shows and edits the track modes and the mode matrix.
void addSettingsCommand(CLI::App& app);
/// `dawctl watch [--desktop sim|x11]`: the framework against Pro Tools, printing its notifications.
void addWatchCommand(CLI::App& app);
/// `dawctl demo [--desktop sim|x11]`: the road of one take against Pro Tools, checked at every phase.
void addDemoCommand(CLI::App& app);
/// `dawctl hui-check [--api jack|alsa] [--seconds N]`: opens the HUI ports as the framework does
/// and reports whether Pro Tools pings them.
void addHuiCheckCommand(CLI::App& app);
/// `dawctl takes [show N]`: the passes the framework kept on disk, with their verdicts.
void addTakesCommand(CLI::App& app);

}  // namespace dawctl
