// The commands of kivctl, by theme. Each function adds its commands to `app`. A command's action is declared with the
// command and runs while the command line is parsed; it returns, or throws Failure or Exit. `options` must outlive the
// parsing.
#pragma once

#include <string>
#include <vector>

#include "protocols/kivctl/CommandLine.h"
#include "protocols/kivctl/Options.h"

namespace kivctl {

/// list, status, is-running, clients, ping
void AddStatusCommands(Command app, const Options& options);
/// add, remove, rename, shutdown
void AddControlCommands(Command app, const Options& options);
/// start, stop, restart, enable, disable, load
void AddRunCommands(Command app, const Options& options);
/// settings, get, set
void AddSettingsCommands(Command app, const Options& options);
/// watch, wait
void AddWatchCommands(Command app, const Options& options);
/// settings alone, which is also a command of db
void AddSettingsCommand(Command app, const Options& options);
/// db instances, settings, get, set, export, import
void AddDatabaseCommands(Command app, const Options& options);
/// log show, set
void AddLogCommands(Command app, const Options& options);
/// logs
void AddLogsCommand(Command app, const Options& options);
/// metrics
void AddMetricsCommand(Command app, const Options& options);
/// completion, help
void AddHelpCommands(Command app);
/// Prints the words that can complete the last of `words`, one per line, for the scripts of the completion command.
void PrintCompletions(Command app, const std::vector<std::string>& words, const Options& options);
/// service install, uninstall, start, stop, restart, status
void AddServiceCommands(Command app, const Options& options);
/// access show, set
void AddAccessCommands(Command app, const Options& options);

}  // namespace kivctl
