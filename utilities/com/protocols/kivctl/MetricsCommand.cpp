// metrics: the state of the manager and all instances, for a monitoring system that reads text files.

#include <functional>

#include "protocols/kivctl/Commands.h"
#include "protocols/kivctl/Connection.h"
#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Views.h"
#include "protocols/kivctl/Words.h"

namespace kivctl {

namespace {

std::string Label(const std::string& narrow) {
    std::string text;
    for (const char letter : ToUtf8(narrow)) {
        if (letter == '\\' || letter == '"')
            text += '\\';
        text += letter == '\n' ? "\\n" : std::string(1, letter);
    }
    return "\"" + text + "\"";
}

void PrintHead(const std::string& name, const std::string& help) {
    PrintUnix("# HELP " + name + " " + help + "\n# TYPE " + name + " gauge\n");
}

void PrintMetric(const std::vector<InstanceView>& views, const std::string& name, const std::string& help,
                 const std::function<std::uint64_t(const InstanceView&)>& value) {
    if (!views.empty())
        PrintHead(name, help);
    for (const auto& view : views)
        PrintUnix(name + "{instance=" + Label(view.name) + ",type=" + Label(TypeName(view.type)) + "} " +
                  std::to_string(value(view)) + "\n");
}

void PrintMetrics(const Options& options) {
    const bool isUp = TryReach(kManagerServerName, options.TimeoutOr(kConnectTimeout)) != nullptr;
    PrintHead("kiv_manager_up", "Whether the manager answers.");
    PrintUnix(std::string("kiv_manager_up ") + (isUp ? "1" : "0") + "\n");
    const auto views = isUp ? ViewAll(options) : std::vector<InstanceView>();
    PrintMetric(views, "kiv_instance_up", "Whether the instance runs and answers.",
                [](const auto& view) { return view.IsRunning() ? 1u : 0u; });
    PrintMetric(views, "kiv_instance_enabled", "Whether the instance may be started.",
                [](const auto& view) { return view.enabled.value_or(0) != 0 ? 1u : 0u; });
    PrintMetric(views, "kiv_instance_uptime_seconds", "Seconds since the instance's process came up.",
                [](const auto& view) { return std::uint64_t{view.status.upTime}; });
    PrintMetric(views, "kiv_instance_clients", "Connections to the instance's process, the manager's included.",
                [](const auto& view) { return std::uint32_t{view.status.clientCount}; });
    PrintMetric(views, "kiv_instance_last_error", "The error that the instance's protocol reported at its last start.",
                [](const auto& view) { return view.LastError(); });
    PrintUnix("# EOF\n");
}

}  // namespace

void AddMetricsCommand(Command app, const Options& options) {
    auto command = app.AddCommand("metrics", "Prints the state of the manager and all instances as OpenMetrics text");
    command.SetFooter("When the manager does not run, prints kiv_manager_up 0 and ends with exit code 0.");
    command.OnRun([&options] {
        if (options.json)
            throw Failure(kWrongUsage, "Metrics are text; kivctl --json status prints the same data as JSON.");
        PrintMetrics(options);
    });
}

}  // namespace kivctl
