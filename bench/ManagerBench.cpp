#include <chrono>
#include <filesystem>
#include <future>

#include "Bench.h"
#include "Machine.h"
#include "utils/registry/RegistryKey.h"

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

/// Status requests about other instances while one takes seconds to start, and to stop.
void MeasureBesideASlowInstance(Report& report) {
    constexpr int kOthers = 5;
    constexpr int kRequests = 200;
    const std::string slow = "slow";  // the name that tells the child of this manager how to behave
    EmptySettings(kNoMonitoringMs);
    WriteInstances(0, kOthers, true);
    WriteInstance(kOthers, slow, false);
    const Manager manager("faulty\\KivProtocolManager.exe");
    manager.AwaitRunning(InstanceName(kOthers - 1));
    VexaUtils::RegistryKey::OpenOrCreate(kDatabaseKey)->OpenSubkey(TableId(kOthers))->SetNumber("enabled", 1);
    for (const auto& [command, name] :
         {std::pair(kManagerStart, "while it starts"), {kManagerStop, "while it stops"}}) {
        auto change = std::async(std::launch::async, Manager::Control, command, slow);
        Samples requests;
        for (int request = 0; request < kRequests; ++request)
            requests.push_back(Microseconds([&] { manager.Status(InstanceName(request % kOthers)); }));
        const bool inTime = change.wait_for(std::chrono::seconds(0)) != std::future_status::ready;
        change.get();
        Require(inTime, "ask while the slow instance is at it");
        const std::string group = "Status of other instances beside one that takes 4 s";
        report.Add(group, name, "us", requests);
        report.Add(group, std::string(name) + ", slowest of 200", "us", {Quantile(requests, 1)});
    }
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

    MeasureBesideASlowInstance(report);

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
