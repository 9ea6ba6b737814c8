// dawctl: the command-line host of ZAR_DAWControl.

#include <CLI/CLI.hpp>

#include "Commands.h"

int main(int argc, char** argv) {
  CLI::App app{"dawctl - drives Pro Tools through ZAR_DAWControl (by default the simulated one)"};
  app.require_subcommand(1);
  dawctl::addTimecodeCommand(app);
  dawctl::addSettingsCommand(app);
  dawctl::addDemoCommand(app);
  dawctl::addWatchCommand(app);
  dawctl::addHuiCheckCommand(app);
  CLI11_PARSE(app, argc, argv);
  return 0;
}
