// The commands of kivctl, by theme. Each function adds its commands to the program; a command's action stands beside
// its declaration and runs while the command line is parsed. An action ends normally or throws Failure or Exit. The
// options must outlive the parsing.
#pragma once

#include "protocols/kivctl/Options.h"

namespace CLI {
class App;
}

namespace kivctl {

/// list, status, clients, ping
void AddStatusCommands(CLI::App& app, const Options& options);
/// add, remove, rename, start, stop, restart, get, set, shutdown
void AddControlCommands(CLI::App& app, const Options& options);
/// watch, wait
void AddWatchCommands(CLI::App& app, const Options& options);
/// db instances, settings, get, set, export, import
void AddDatabaseCommands(CLI::App& app, const Options& options);
/// log show, set
void AddLogCommands(CLI::App& app, const Options& options);
/// service install, uninstall, start, stop, restart, status
void AddServiceCommands(CLI::App& app, const Options& options);
/// access show, set
void AddAccessCommands(CLI::App& app, const Options& options);

}  // namespace kivctl
