// kivctl: the operator's command line to the manager and its settings database.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>

#include "protocols/kivctl/Arguments.h"
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
    "Exit codes: 0 done, or yes; 1 refused, or no; 2 wrong usage; 3 not reachable, or no answer in time;\n"
    "4 status --check found an enabled instance that does not run, or the service is not installed.\n"
    "The manager adds, removes, renames, starts and stops one instance at a time: such a command may wait for others.";
constexpr const char* kCompleteCommand = "__complete";  // the scripts of "completion" call it
constexpr const char* kTimeoutOption = "--timeout";

int Report(const Failure& failure, const Options& options) {
    if (options.json)
        PrintJson(
            {{"error", ToUtf8(failure.what())}, {"result", failure.Result() != 0 ? Json(failure.Result()) : Json()}});
    else
        PrintError(std::string("kivctl: ") + failure.what() + "\n");
    return failure.Code();
}

/// Throws Failure, with the nearest command, for an unknown word in the place of a command. The parser's own message
/// would say less, and with --help it would print help instead of an error.
void CheckCommands(Command app, const std::vector<std::string>& arguments) {
    auto command = app;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const auto names = command.CommandNames();
        if (names.empty())
            return;
        const auto& word = arguments[i];
        if (word == kTimeoutOption)
            ++i;  // skip its value
        if (word.starts_with('-'))
            continue;
        const auto next = command.Find(word);
        if (!next) {
            const auto hint = DidYouMean(word, names);
            throw Failure(kWrongUsage, "There is no command \"" + word + "\"" +
                                           (hint.empty() ? "; kivctl help lists the commands." : hint));
        }
        command = *next;
    }
}

}  // namespace

int main() {
    Options options;
    CommandLine line(kDescription, "kivctl", "kivctl " KIV_VERSION);
    const auto app = line.Program();
    app.AddFlag("--json", options.json, "Print one JSON document, also for a failure");
    AddTime(app, kTimeoutOption, options.timeoutMs, kOneMs,
            "How long to wait for each answer, in ms or as 500ms, 5s, 2m (20s; longer when a process starts or stops)");
    app.AddFlag("--verbose", options.verbose, "Write log lines to the same place as the other programs");
    line.OnOptions([&options] { Logging::Logger::GetInstance()->SetDisabled(!options.verbose); });
    AddStatusCommands(app, options);
    AddRunCommands(app, options);
    AddControlCommands(app, options);
    AddSettingsCommands(app, options);
    AddWatchCommands(app, options);
    AddDatabaseCommands(app, options);
    AddLogCommands(app, options);
    AddLogsCommand(app, options);
    AddMetricsCommand(app, options);
    AddServiceCommands(app, options);
    AddAccessCommands(app, options);
    AddHelpCommands(app);
    app.SetFooter(kFooter);  // set last: commands that are added later would inherit it
    try {
        auto arguments = Arguments();
        options.json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
        if (!arguments.empty() && arguments.front() == kCompleteCommand) {
            Logging::Logger::GetInstance()->SetDisabled(true);
            PrintCompletions(app, {arguments.begin() + 1, arguments.end()}, options);
            return kDone;
        }
        CheckCommands(app, arguments);
        line.Run(arguments);
        return kDone;
    } catch (const Exit& exit) {
        return exit.code;
    } catch (const Failure& failure) {
        return Report(failure, options);
    }
}
