// The benchmark: what calls through the framework, the manager and the database cost, measured against the bare pipe
// and against themselves on a small scale.
//
//     bench --erase-settings [--quick] [--json] [latency] [framework] [database] [manager]
#include <CLI/CLI.hpp>
#include <iostream>
#include <map>

#include "Bench.h"
#include "EchoPipe.h"
#include "Peer.h"

namespace {

using Group = void (*)(const bench::Options&, bench::Report&);

const std::vector<std::pair<std::string, Group>> kGroups = {
    {"latency", bench::MeasureLatency},
    {"framework", bench::MeasureFramework},
    {"database", bench::MeasureDatabase},
    {"manager", bench::MeasureManager},
};

void Run(const bench::Options& options, const std::vector<std::string>& wanted, bool json) {
    bench::Report report;
    for (const auto& [name, measure] : kGroups) {
        if (!wanted.empty() && std::find(wanted.begin(), wanted.end(), name) == wanted.end())
            continue;
        std::cerr << "Measuring: " << name << '\n';
        measure(options, report);
    }
    if (json)
        report.PrintJson(std::cout);
    else
        report.PrintTable(std::cout);
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Measures the programs of KivProtocolManager that lie beside it");
    bench::Options options;
    bool json = false;
    bool eraseSettings = false;
    std::vector<std::string> wanted;
    std::string echoName;
    std::string frameworkName;
    std::vector<std::string> names;
    for (const auto& group : kGroups)
        names.push_back(group.first);
    app.add_flag("--quick", options.quick, "Fewer calls and rounds");
    app.add_flag("--json", json, "Print JSON instead of a table");
    app.add_flag("--erase-settings", eraseSettings, "Agree that this machine's instances and settings are lost");
    app.add_option("groups", wanted, "What to measure; everything when nothing is named")->check(CLI::IsMember(names));
    app.add_option("--serve-echo", echoName)->group("");
    app.add_option("--serve-framework", frameworkName)->group("");
    CLI11_PARSE(app, argc, argv);

    try {
        if (!echoName.empty()) {
            bench::ServeEcho(echoName);
        } else if (!frameworkName.empty()) {
            bench::ServeFramework(frameworkName);
        } else if (!eraseSettings) {
            std::cerr << "The measurements need the registry for themselves: run with --erase-settings on a machine "
                         "whose instances and settings may be lost\n";
            return EXIT_FAILURE;
        } else {
            Run(options, wanted, json);
        }
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
