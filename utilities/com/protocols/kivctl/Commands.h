// The commands of kivctl, by theme. Each function adds its commands to `app`. A command's action is declared with the
// command and runs while the command line is parsed; it returns, or throws Failure or Exit. `options` must outlive the
// parsing.
#pragma once

#include <string>
#include <vector>

#include "protocols/kivctl/Options.h"

namespace CLI {
class App;
}

namespace kivctl {

/// list, status, is-running, clients, ping
void AddStatusCommands(CLI::App& app, const Options& options);
/// add, remove, rename, shutdown
void AddControlCommands(CLI::App& app, const Options& options);
/// start, stop, restart, enable, disable, load
void AddRunCommands(CLI::App& app, const Options& options);
/// settings, get, set
void AddSettingsCommands(CLI::App& app, const Options& options);
/// watch, wait
void AddWatchCommands(CLI::App& app, const Options& options);
/// settings alone, which is also a command of db
void AddSettingsCommand(CLI::App& app, const Options& options);
/// db instances, settings, get, set, export, import
void AddDatabaseCommands(CLI::App& app, const Options& options);
/// log show, set
void AddLogCommands(CLI::App& app, const Options& options);
/// logs
void AddLogsCommand(CLI::App& app, const Options& options);
/// metrics
void AddMetricsCommand(CLI::App& app, const Options& options);
/// completion, help
void AddHelpCommands(CLI::App& app);
/// Prints the words that can complete the last of `words`, one per line, for the scripts of the completion command.
void PrintCompletions(const CLI::App& app, const std::vector<std::string>& words, const Options& options);
/// service install, uninstall, start, stop, restart, status
void AddServiceCommands(CLI::App& app, const Options& options);
/// access show, set
void AddAccessCommands(CLI::App& app, const Options& options);

}  // namespace kivctl
