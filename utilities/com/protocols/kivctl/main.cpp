// kivctl: the operator's command line to the manager and its settings database.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <string>

#include "protocols/kivctl/Commands.h"
#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Failure.h"
#include "utils/logging/Logger.h"

namespace {

using namespace kivctl;

constexpr const char* kDescription =
    "Controls KivProtocolManager on this machine: its protocol instances and their settings.\n"
    "Names are case-sensitive and have at most 49 characters.";
constexpr const char* kFooter =
    "Exit codes: 0 done; 1 refused by the manager, or an awaited state not reached; 2 wrong usage;\n"
    "3 manager not reachable, or no answer in time.\n"
    "Adding, removing, renaming, starting and stopping are done one after another, so that each may wait for others.";

int Report(const Failure& failure, const Options& options) {
    if (options.json)
        PrintJson(
            {{"error", ToUtf8(failure.what())}, {"result", failure.Result() != 0 ? Json(failure.Result()) : Json()}});
    else
        PrintError(std::string("kivctl: ") + failure.what() + "\n");
    return failure.Code();
}

}  // namespace

int main() {
    Options options;
    CLI::App app(kDescription, "kivctl");
    // A value may begin with a slash.
    app.allow_windows_style_options(false);
    app.fallthrough();
    app.require_subcommand(0, 1);  // with 1 at least, an unknown command would be reported as none
    app.footer(kFooter);
    app.set_version_flag("--version", "kivctl " KIV_VERSION);
    app.add_flag("--json", options.json, "Print data, and a failure, as JSON");
    app.add_option("--timeout", options.timeoutMs,
                   "How long to wait for each answer, in ms (20000, or longer where a child starts or stops)")
        ->check(CLI::Range(1u, 86'400'000u));
    app.add_flag_callback(
        "--verbose", [&options] { options.verbose = true; }, "Log as the manager does");
    app.parse_complete_callback([&options] { Logging::Logger::GetInstance()->SetDisabled(!options.verbose); });
    AddStatusCommands(app, options);
    AddControlCommands(app, options);
    AddWatchCommands(app, options);
    AddDatabaseCommands(app, options);
    AddLogCommands(app, options);
    AddServiceCommands(app, options);
    AddAccessCommands(app, options);
    try {
        auto arguments = Arguments();
        options.json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
        std::reverse(arguments.begin(), arguments.end());  // as the parser wants them
        app.parse(arguments);
        if (app.get_subcommands().empty())
            throw Failure(kWrongUsage, "Name a command; kivctl --help lists them.");
        return kDone;
    } catch (const CLI::ParseError& error) {
        // Help and version come as errors whose code is 0.
        if (error.get_exit_code() != 0 && options.json)
            return Report(Failure(kWrongUsage, error.what()), options);
        return app.exit(error) == 0 ? kDone : kWrongUsage;
    } catch (const Exit& exit) {
        return exit.code;
    } catch (const Failure& failure) {
        return Report(failure, options);
    }
}
