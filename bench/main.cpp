// The benchmark: the cost of calls through the framework, the manager and the database, compared with a bare pipe and
// with the same calls on a small scale.
//
//     bench --erase-settings [--quick] [--json] [latency] [framework] [database] [manager]
#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <map>
#include <set>

#include "Measure.h"
#include "Peers.h"

namespace {

const std::map<std::string, void (*)(bool quick, bench::Report&)> kGroups = {
    {"latency", bench::MeasureLatency},
    {"framework", bench::MeasureFramework},
    {"database", bench::MeasureDatabase},
    {"manager", bench::MeasureManager},
};

int Run(std::set<std::string> words) {
    const bool quick = words.erase("--quick") > 0;
    const bool json = words.erase("--json") > 0;
    const bool mayErase = words.erase("--erase-settings") > 0;
    const auto isGroup = [](const std::string& word) { return kGroups.count(word) > 0; };
    if (!mayErase || !std::all_of(words.begin(), words.end(), isGroup)) {
        std::cerr << "bench --erase-settings [--quick] [--json] [latency] [framework] [database] [manager]\n"
                     "Measures the programs that lie beside it. It needs the registry for itself: run it on a machine "
                     "whose instances and settings may be lost.\n";
        return EXIT_FAILURE;
    }
    bench::Report report;
    for (const auto& [name, measure] : kGroups) {
        if (!words.empty() && words.count(name) == 0)
            continue;
        std::cerr << "Measuring: " << name << '\n';
        measure(quick, report);
    }
    if (json)
        report.PrintJson();
    else
        report.PrintTable();
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    testing::FLAGS_gtest_throw_on_failure = true;  // the code that drives the manager is shared with the tests
    try {
        const std::vector<std::string> words(argv + 1, argv + argc);
        if (words.size() == 2 && words[0] == bench::kEchoRole)
            bench::ServeEcho(words[1]);
        else if (words.size() == 2 && words[0] == bench::kServerRole)
            bench::ServeFramework(words[1]);
        else
            return Run({words.begin(), words.end()});
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
