#include <filesystem>

#include "Bench.h"
#include "Machine.h"

namespace bench {

namespace {

constexpr std::uint32_t kNoMonitoringMs = 300000;
constexpr std::uint32_t kBusyMonitoringMs = 20;
constexpr double kMicrosecondsPerMs = 1000;
constexpr double kBytesPerKilobyte = 1024;
constexpr double kNearlyAll = 0.99;

/// Starts a manager on that many enabled instances and waits until the last one runs.
std::unique_ptr<Manager> StartAll(int instances, std::uint32_t monitorWaitMs, double& milliseconds) {
    EmptySettings(monitorWaitMs);
    WriteInstances(0, instances, true);
    std::unique_ptr<Manager> manager;
    milliseconds = Microseconds([&] {
                       manager = std::make_unique<Manager>();
                       manager->AwaitRunning(InstanceName(instances - 1));
                   }) /
                   kMicrosecondsPerMs;
    return manager;
}

/// Alive checks of the manager while its monitor looks at the instances all the time, or not at all.
void MeasureMonitoring(const Manager& manager, const std::string& name, const Options& options, Report& report) {
    Samples checks;
    for (int check = 0; check < (options.quick ? 1000 : 5000); ++check)
        checks.push_back(Microseconds([&] { manager.CheckAlive(); }));
    const std::string group = "Alive checks of the manager with 50 instances";
    report.Add(group, name, "us", checks);
    report.Add(group, name + ", 99 of 100 within", "us", {Quantile(checks, kNearlyAll)});
    report.Add(group, name + ", longest", "us", {Quantile(checks, 1)});
}

}  // namespace

void MeasureManager(const Options& options, Report& report) {
    constexpr int kCounts[] = {1, 20, 50};
    std::vector<Samples> startUps(std::size(kCounts));
    std::vector<Peer::Footprint> footprints(std::size(kCounts));
    for (int round = 0; round < (options.quick ? 1 : 5); ++round) {
        for (std::size_t index = 0; index < std::size(kCounts); ++index) {
            double milliseconds = 0;
            const auto manager = StartAll(kCounts[index], kNoMonitoringMs, milliseconds);
            startUps[index].push_back(milliseconds);
            footprints[index] = manager->Measure();
        }
    }
    for (std::size_t index = 0; index < std::size(kCounts); ++index)
        report.Add("Start-up until the last instance runs", "instances: " + std::to_string(kCounts[index]), "ms",
                   startUps[index], Ratios(startUps[index], startUps.front()), "1 instance");

    double ignored = 0;
    constexpr int kMany = 50;
    MeasureMonitoring(*StartAll(kMany, kNoMonitoringMs, ignored), "no monitoring", options, report);
    MeasureMonitoring(*StartAll(kMany, kBusyMonitoringMs, ignored), "monitored every 20 ms", options, report);

    const std::string group = "What an instance takes in the manager";
    const auto& one = footprints.front();
    const auto& many = footprints.back();
    constexpr double kAdded = kMany - 1;
    report.Add(group, "memory", "KiB", {(many.kilobytes - one.kilobytes) / kAdded});
    report.Add(group, "threads", "", {(many.threads - one.threads) / kAdded});
    report.Add(group, "manager with one instance: memory", "KiB", {one.kilobytes});
    report.Add(group, "manager with one instance: threads", "", {one.threads});
    for (const auto* program : {"KivProtocolManager.exe", "KivProtocol.exe"}) {
        const auto size = static_cast<double>(std::filesystem::file_size(ProgramFolder() + program));
        report.Add("Size of the programs", program, "KiB", {size / kBytesPerKilobyte});
    }
}

}  // namespace bench
