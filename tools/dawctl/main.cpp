// dawctl: the command-line host of ZAR_DAWControl.

#include <CLI/CLI.hpp>

#include "CommandLine.h"
#include "Commands.h"
#include "ZAR_DAWControl/ZAR_DAWControlVersion.h"

int main(int argc, char** argv) {
  CLI::App app{"dawctl - drives Pro Tools through ZAR_DAWControl (by default the simulated one)"};
  app.require_subcommand(1);
  app.set_version_flag("--version", "dawctl " ZAR_DAWCONTROL_VERSION_STRING);
  app.footer(dawctl::kHelpFooter);
  dawctl::addTimecodeCommand(app);
  dawctl::addSettingsCommand(app);
  dawctl::addDemoCommand(app);
  dawctl::addWatchCommand(app);
  dawctl::addHuiCheckCommand(app);
  dawctl::addTakesCommand(app);
  return dawctl::runCommandLine(app, argc, argv);
}
