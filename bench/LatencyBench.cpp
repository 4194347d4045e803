#include "Bench.h"
#include "EchoPipe.h"
#include "Machine.h"
#include "utils/VexaDB/class/ProtocolTypes.h"
#include "utils/VexaDB/class/VexaDBIPCClient.h"

namespace bench {

namespace {

constexpr const char* kEchoName = "bench-echo";
constexpr const char* kServerName = "bench-latency";
constexpr const char* kAddedInstance = "Added";
constexpr int kInstances = 10;
constexpr std::uint32_t kNoMonitoringMs = 300000;
constexpr const char* kGroup = "One call, against the bare pipe";

}  // namespace

void MeasureLatency(const Options& options, Report& report) {
    EmptySettings(kNoMonitoringMs);
    WriteInstances(0, 1, true);
    WriteInstances(1, kInstances, false);
    const auto running = InstanceName(0);
    const auto stopped = InstanceName(1);

    const auto echoServer = Peer::Self(std::string("--serve-echo ") + kEchoName);
    const auto server = Peer::Self(std::string("--serve-framework ") + kServerName);
    const Manager manager;
    manager.AwaitRunning(running);
    EchoClient echo(kEchoName);
    IPCClient client;
    Await([&] { return client.Connect(kServerName) == 0; }, "connect to the server of the benchmark");
    VexaDB::VexaDBIPCClient database;
    Require(database.Connect(), "connect to the database");

    std::uint32_t value = 0;
    const auto service = VexaDB::kServiceSession;
    const std::vector<Operation> operations = {
        {"bare echo, 24 bytes each way", [&] { echo.RoundTrip(); }},
        {"alive check", [&] { Require(client.CheckAlive() == 0, "alive check"); }},
        {"alive check of the manager", [&] { manager.CheckAlive(); }},
        {"status of a stopped instance", [&] { manager.Status(stopped); }},
        {"status of a running instance", [&] { manager.Status(running); }},
        {"GetUint32", [&] { Require(database.GetUint32(service, stopped, "type", value) == 0, "GetUint32"); }},
        {"SetUint32", [&] { Require(database.SetUint32(service, stopped, "owner", ++value) == 0, "SetUint32"); }},
    };
    const auto results = MeasureInTurns(operations, options.quick ? Effort{5, 60} : Effort{15, 200});
    const auto& limit = results.front();
    for (std::size_t index = 0; index < operations.size(); ++index)
        report.Add(kGroup, operations[index].name, "us", results[index], Ratios(results[index], limit), "bare echo");

    // These two only make sense in pairs.
    Samples limits;
    Samples adds;
    Samples removes;
    for (int pair = 0; pair < (options.quick ? 20 : 100); ++pair) {
        limits.push_back(Microseconds([&] { echo.RoundTrip(); }));
        adds.push_back(Microseconds([&] {
            Require(database.AddInstance(service, kAddedInstance, VexaDB::kSampleProtocol) == 0, "AddInstance");
        }));
        removes.push_back(
            Microseconds([&] { Require(database.RemoveInstance(service, kAddedInstance) == 0, "RemoveInstance"); }));
    }
    report.Add(kGroup, "AddInstance (with its six settings)", "us", adds, Ratios(adds, limits), "bare echo");
    report.Add(kGroup, "RemoveInstance", "us", removes, Ratios(removes, limits), "bare echo");
}

}  // namespace bench
