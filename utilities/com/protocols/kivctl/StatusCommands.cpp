// list, status, is-running, clients, ping

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <thread>

#include "protocols/kivctl/Arguments.h"
#include "protocols/kivctl/Commands.h"
#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Database.h"
#include "protocols/kivctl/Interrupt.h"
#include "protocols/kivctl/LogFile.h"
#include "protocols/kivctl/LogHistory.h"
#include "protocols/kivctl/Manager.h"
#include "protocols/kivctl/ProcessInfo.h"
#include "protocols/kivctl/Results.h"
#include "protocols/kivctl/Views.h"
#include "utils/VexaDB/class/ProtocolTypes.h"
#include "utils/logging/LogSettings.h"

namespace kivctl {

namespace {

void AddList(Command app, const Options& options) {
    auto command = app.AddCommand("list", "Lists the manager's instances with their types; fails when there is none");
    auto type = std::make_shared<std::string>();
    command.Add("TYPE", *type, "Only instances of this type, by name or number");
    command.OnRun([=, &options] {
        std::vector<std::uint32_t> types;
        if (!type->empty())
            types.push_back(ParseType(*type));
        else
            for (std::uint32_t number = 0; number < VexaDB::kProtocolNames.size(); ++number)
                types.push_back(number);
        Manager manager(options);
        Table table({"NAME", "TYPE"});
        auto list = Json::array();
        for (const auto number : types)
            for (const auto& name : manager.Instances(number)) {
                table.AddRow({name, TypeName(number)});
                list.push_back({{"name", ToUtf8(name)}, {"type", TypeName(number)}, {"typeNumber", number}});
            }
        if (options.json || !list.empty())
            Print(table, list, options);
        else
            PrintError(type->empty() ? "kivctl: The manager has no instance.\n"
                                     : "kivctl: The manager has no instance of this type.\n");
        if (list.empty())
            throw Exit{kRefused};
    });
}

std::string OptionalText(const std::optional<std::uint32_t>& number) {
    return number ? std::to_string(*number) : "";
}

void PrintTable(const std::vector<InstanceView>& views, bool wide) {
    enum Column : std::size_t { Name, Type, State, Pid, Uptime, Clients, LastError, Enabled, Owner, Note };
    Table table({"NAME", "TYPE", "STATE", "PID", "UPTIME", "CLIENTS", "LAST ERROR", "ENABLED", "OWNER", "NOTE"});
    for (const auto& view : views) {
        const bool running = view.status.processId != 0;
        table.AddRow(
            {view.name, TypeName(view.type), view.State(), running ? std::to_string(view.status.processId) : "",
             running ? Duration(view.status.upTime) : "", running ? std::to_string(view.status.clientCount) : "",
             view.LastError() != 0 ? std::to_string(view.LastError()) : "", OptionalText(view.enabled),
             OptionalText(view.owner), view.Note()},
            view.StateColour(), State);
    }
    table.Print(wide ? 0 : TerminalWidth(), {Owner, Enabled, LastError, Clients, Pid, Type});
}

/// The page of one instance: the view that the table shows, and more.
struct Page {
    InstanceView view;
    Trouble trouble;
    std::unique_ptr<OpenedProcess> process = nullptr;
    std::vector<ipc_client_info> clients = {};
    std::optional<std::string> port = std::nullopt;
};

Page PageOf(Manager& manager, const std::string& instance) {
    Page page{.view = ViewOf(manager, instance), .trouble = TroubleOf(manager, instance)};
    if (page.view.status.processId != 0)
        page.process = OpenedProcess::Open(page.view.status.processId);
    if (page.view.IsRunning())
        page.clients = manager.Clients(instance);
    page.port = manager.GetString(instance, "port");
    return page;
}

constexpr double kMsPerSecond = 1'000;
constexpr double kBytesPerMebibyte = 1024.0 * 1024.0;
constexpr std::size_t kPageLines = 5;  // of the log

std::string Decimal(double number, const char* unit) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f %s", number, unit);
    return text;
}

std::string ClientText(Manager& manager, const ipc_client_info& client) {
    const auto program = ProgramNameOf(client.processId);
    return std::to_string(client.processId) + (program.empty() ? "" : " " + program) +
           (client.processId == manager.Client().ServerPid() ? " (the manager)" : "");
}

std::vector<LogEntryText> LastLines(const Page& page) {
    std::vector<LogEntryText> lines;
    std::ranges::copy_if(page.trouble.lines, std::back_inserter(lines),
                         [](const auto& line) { return !IsOfFramework(line); });
    if (lines.size() > kPageLines)
        lines.erase(lines.begin(), lines.end() - kPageLines);
    return lines;
}

void PrintPage(Manager& manager, const Page& page) {
    const auto& view = page.view;
    const auto& status = view.status;
    const auto row = [](const char* label, const std::string& text, Colour colour = Colour::Plain) {
        char padded[24];
        std::snprintf(padded, sizeof padded, "  %-12s", label);
        Print(padded);
        PrintLine(text.empty() ? "-" : text, colour);
    };
    const bool running = view.IsRunning();
    PrintLine(view.name);
    row("State",
        view.State() + (running ? " since " + LocalTime(status.upTime * std::uint64_t{1'000}).substr(0, 19) + ", " +
                                      Duration(status.upTime)
                                : ""),
        view.StateColour());
    if (!view.Note().empty())
        row("Note", view.Note());
    if (!running && view.status.status != kStopped && !page.trouble.reason.empty())
        row("Why", page.trouble.reason, Colour::Bad);
    if (const auto disabled = WhyDisabled(manager, view.name); !disabled.reason.empty())
        row("Why", disabled.reason + ". " + disabled.remedy);
    row("Type", TypeName(view.type) + " (" + std::to_string(view.type) + ")");
    if (page.process)
        row("Process", std::to_string(status.processId) + ", processor " +
                           Decimal(static_cast<double>(page.process->ProcessorMs()) / kMsPerSecond, "s") + ", memory " +
                           Decimal(static_cast<double>(page.process->MemoryBytes()) / kBytesPerMebibyte, "MiB"));
    else
        row("Process", status.processId != 0 ? std::to_string(status.processId) : "");
    row("Restarts",
        std::to_string(page.trouble.restarts) + " by the manager, as far as the log tells" +
            (page.trouble.lastExitCode ? "; the last exit code is " + std::to_string(*page.trouble.lastExitCode) +
                                             ", at " + page.trouble.lastExitTime
                                       : ""));
    const auto owner = view.owner == 1u ? view.name : PortOwner(manager, view.name, view.type);
    row("Port", page.port.value_or("none") + (owner.empty() ? "" : ", owned by " + owner));
    row("Enabled", view.enabled.value_or(0) != 0 ? "yes" : "no");
    std::string clients;
    for (const auto& client : page.clients)
        clients += (clients.empty() ? "" : ", ") + ClientText(manager, client);
    row("Clients", clients);
    std::string changed;
    for (const auto& setting : page.trouble.changed)
        changed += (changed.empty() ? "" : ", ") + setting;
    if (running)
        row("Changed", changed.empty() ? "no setting since its start" : changed + " since its start");
    const auto lines = LastLines(page);
    PrintLine(lines.empty() ? "  Log         nothing about it" : "  Log");
    for (const auto& line : lines)
        PrintLine("    " + LogText(line), LevelColour(line.level));
}

Json PageJson(Manager& manager, const Page& page) {
    auto json = ViewJson(page.view);
    const auto disabled = WhyDisabled(manager, page.view.name);
    const auto& why = disabled.reason.empty() ? page.trouble.reason : disabled.reason;
    json["why"] = page.view.IsRunning() || why.empty() ? Json() : Json(ToUtf8(why));
    json["processorMs"] = page.process ? Json(page.process->ProcessorMs()) : Json();
    json["memoryBytes"] = page.process ? Json(page.process->MemoryBytes()) : Json();
    json["restarts"] = page.trouble.restarts;
    json["lastExitCode"] = page.trouble.lastExitCode ? Json(*page.trouble.lastExitCode) : Json();
    json["port"] = page.port ? Json(ToUtf8(*page.port)) : Json();
    auto& clients = json["clientList"] = Json::array();
    for (const auto& client : page.clients)
        clients.push_back(
            {{"pid", std::uint64_t{client.processId}}, {"program", ToUtf8(ProgramNameOf(client.processId))}});
    auto& changed = json["changedSinceStart"] = Json::array();
    for (const auto& setting : page.trouble.changed)
        changed.push_back(ToUtf8(setting));
    auto& lines = json["log"] = Json::array();
    for (const auto& line : LastLines(page))
        lines.push_back(LogJson(line));
    return json;
}

/// Without this warning an operator would find out that nothing is logged only when the log is needed.
void WarnOfLog() {
    const auto settings = Logging::LogSettings::Read();
    if (settings.type != Logging::kFileType)
        return;
    const auto file = LookAtLogFile(settings.File());
    if (!file.problem.empty())
        PrintError("kivctl: The log file " + settings.File() + " cannot be written: " + file.problem + ".\n");
}

struct StatusOptions {
    std::string name;
    std::string type;
    bool failed = false;
    bool check = false;
    bool wide = false;
    std::uint32_t watchMs = 0;
};

/// Prints the status as asked for, and returns whether an enabled instance does not run.
bool PrintStatus(const StatusOptions& wanted, const Options& options) {
    auto views = ViewAll(options, wanted.type.empty() ? std::nullopt : std::optional(ParseType(wanted.type)));
    const auto summary = Summary(views);
    const bool anyFailed = std::ranges::any_of(views, &InstanceView::IsFailed);
    if (wanted.failed)
        std::erase_if(views, [](const InstanceView& view) { return !view.IsFailed(); });
    if (options.json) {
        auto list = Json::array();
        std::ranges::transform(views, std::back_inserter(list), ViewJson);
        PrintJson(list);
        return anyFailed;
    }
    if (!views.empty())
        PrintTable(views, wanted.wide);
    PrintLine(summary + ".");
    return anyFailed;
}

void WatchStatus(const StatusOptions& wanted, const Options& options) {
    CatchInterrupt();
    while (!IsInterrupted()) {
        BeginScreen();
        PrintLine(LocalTime().substr(0, 19) + "  every " + std::to_string(wanted.watchMs) + " ms until Ctrl-C");
        try {
            PrintStatus(wanted, options);
        } catch (const Failure& failure) {
            PrintLine(failure.what(), Colour::Bad);
        }
        Flush();
        PauseUnlessInterrupted(wanted.watchMs);
    }
}

void AddStatus(Command app, const Options& options) {
    auto command = app.AddCommand("status", "Shows the state of every instance, or all about one");
    auto wanted = std::make_shared<StatusOptions>();
    const auto name = command.Add("NAME", wanted->name, "Show all about this instance").Checked(FitsRequest);
    command.Add("--type", wanted->type, "Only instances of this type, by name or number").Excludes(name);
    command.AddFlag("--failed", wanted->failed, "Only enabled instances that do not run").Excludes(name);
    command.AddFlag("--check", wanted->check, "End with exit code 4 when an enabled instance does not run");
    command.AddFlag("--wide", wanted->wide, "Show every column, also when the terminal is too narrow").Excludes(name);
    constexpr std::uint32_t watchMs = 2'000;
    AddTime(command, "--watch", wanted->watchMs, kOneSecond, "Repeat until Ctrl-C, every 2 s or at the given interval")
        .Takes(0, 1)
        .ShowDefault("2s")
        .Excludes(name);
    command.OnRun([=, &options] {
        if (wanted->watchMs != 0 || command.WasGiven("--watch")) {
            if (options.json)
                throw Failure(kWrongUsage,
                              "--watch and --json cannot be combined; kivctl watch --json prints events as JSON.");
            if (wanted->watchMs == 0)
                wanted->watchMs = watchMs;
            return WatchStatus(*wanted, options);
        }
        WarnOfLog();
        bool failed = false;
        if (wanted->name.empty()) {
            failed = PrintStatus(*wanted, options);
        } else {
            Manager manager(options);
            const auto page = PageOf(manager, wanted->name);
            failed = page.view.IsFailed();
            if (options.json)
                PrintJson(Json::array({PageJson(manager, page)}));
            else
                PrintPage(manager, page);
        }
        if (wanted->check && failed)
            throw Exit{kNotRunning};
    });
}

void AddIsRunning(Command app, const Options& options) {
    auto command = app.AddCommand("is-running", "Exit code 0 when the instance runs, 1 when it does not");
    const auto name = NameArgument(command, "NAME", "The instance");
    command.OnRun([=, &options] {
        Manager manager(options);
        const auto view = ViewOf(manager, *name);
        Say(options, view.State(), {{"instance", ToUtf8(*name)}, {"running", view.IsRunning()}});
        if (!view.IsRunning())
            throw Exit{kRefused};
    });
}

void AddClients(Command app, const Options& options) {
    auto command = app.AddCommand("clients", "Lists the processes connected to an instance");
    const auto name = NameArgument(command, "NAME", "The instance");
    command.OnRun([=, &options] {
        Manager manager(options);
        Table table({"CONNECTION", "PID", "PROGRAM", "WHO"});
        auto list = Json::array();
        const auto clients = manager.Clients(*name);
        // A process that answers has at least one client, the manager.
        if (clients.empty() && manager.Status(*name).status == kStoppedWorking)
            throw Failure(kNotReachable,
                          "The process of \"" + *name + "\" does not answer, so its clients are unknown.");
        for (const auto& client : clients) {
            const bool isManager = client.processId == manager.Client().ServerPid();
            const auto program = ProgramNameOf(client.processId);
            table.AddRow({std::to_string(client.connectionId), std::to_string(client.processId), program,
                          isManager ? "the manager" : ""});
            list.push_back({{"connection", std::uint64_t{client.connectionId}},
                            {"pid", std::uint64_t{client.processId}},
                            {"program", ToUtf8(program)},
                            {"isManager", isManager}});
        }
        Print(table, list, options);
    });
}

void AddPing(Command app, const Options& options) {
    auto command = app.AddCommand("ping", "Measures round trips to the manager, or to an instance's process");
    auto name = std::make_shared<std::string>(kManagerServerName);
    auto count = std::make_shared<std::uint32_t>(10);
    constexpr std::uint32_t maximum = 100'000;
    command.Add("NAME", *name, "The instance; without it, the manager").Checked(FitsRequest);
    command.Add("--count", *count, "How many round trips").InRange(1u, maximum).ShowDefault();
    command.OnRun([=, &options] {
        using Milliseconds = std::chrono::duration<double, std::milli>;
        const auto timeout = options.TimeoutOr(kConnectTimeout);
        const auto client = *name == kManagerServerName ? Reach(*name, timeout) : TryReach(*name, timeout);
        if (!client)
            throw Failure(kNotReachable, "Nothing serves \"" + *name + "\" on this machine.");
        std::vector<double> times;
        double sum = 0;
        for (std::uint32_t i = 0; i < *count; ++i) {
            const auto begin = std::chrono::steady_clock::now();
            try {
                Ask(*client, kIpcAliveCheck, {}, timeout);
            } catch (const Failure& failure) {
                throw Failure(failure.Code(), "\"" + *name + "\" did not answer round trip " + std::to_string(i + 1) +
                                                  (client->IsConnected() ? "." : ": it ended the connection."));
            }
            times.push_back(Milliseconds(std::chrono::steady_clock::now() - begin).count());
            sum += times.back();
        }
        const auto [least, most] = std::minmax_element(times.begin(), times.end());
        const auto mean = sum / *count;
        if (options.json) {
            PrintJson({{"server", ToUtf8(*name)},
                       {"pid", client->ServerPid()},
                       {"count", *count},
                       {"minMs", *least},
                       {"meanMs", mean},
                       {"maxMs", *most}});
            return;
        }
        char line[160];
        std::snprintf(line, sizeof line, "%u round trips to process %llu: min %.3f ms, mean %.3f ms, max %.3f ms",
                      *count, static_cast<unsigned long long>(client->ServerPid()), *least, mean, *most);
        PrintLine(line);
    });
}

}  // namespace

void AddStatusCommands(Command app, const Options& options) {
    AddList(app, options);
    AddStatus(app, options);
    AddIsRunning(app, options);
    AddClients(app, options);
    AddPing(app, options);
}

}  // namespace kivctl
