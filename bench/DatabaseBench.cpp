#include <map>

#include "Bench.h"
#include "Machine.h"
#include "utils/VexaDB/class/ProtocolTypes.h"
#include "utils/VexaDB/class/VexaDBServer.h"
#include "utils/registry/RegistryKey.h"

namespace bench {

namespace {

using VexaDB::kServiceSession;
using VexaDB::VexaDBServer;

constexpr std::uint32_t kNoMonitoringMs = 300000;
constexpr const char* kMissing = "Missing";

/// The operations on a database as it stands, the bare registry read first.
std::vector<Operation> Operations(VexaDBServer& server, const std::string& instance, const std::string& tableId) {
    return {
        {"bare registry: open, read, close",
         [=, key = VexaUtils::RegistryKey::OpenOrCreate(kDatabaseKey)] {
             VexaUtils::RegistryValue value;
             const auto table = key->OpenSubkey(tableId);
             Require(table && table->Query("type", value) == VexaUtils::Reading::Found, "bare registry read");
         }},
        {"read a setting",
         [&server, instance] {
             std::uint32_t value = 0;
             Require(server.GetUint32(kServiceSession, instance, "type", value) == 0, "read a setting");
         }},
        {"write a setting",
         [&server, instance, value = 0u]() mutable {
             Require(server.SetUint32(kServiceSession, instance, "owner", ++value) == 0, "write a setting");
         }},
        {"list the instances",
         [&server] {
             std::vector<std::string> names;
             Require(server.GetInstances(kServiceSession, names) == 0, "list the instances");
         }},
    };
}

/// What changes the state that the next one meets, timed one by one.
struct Step {
    const char* name;
    std::function<void(VexaDBServer&)> run;
};

const std::vector<Step>& Steps() {
    static const std::vector<Step> steps = {
        {"add an instance",
         [](VexaDBServer& server) {
             Require(server.AddInstance(kServiceSession, "Added", VexaDB::kSampleProtocol) == 0, "add an instance");
         }},
        {"list the instances after a write",
         [](VexaDBServer& server) {
             std::vector<std::string> names;
             Require(server.GetInstances(kServiceSession, names) == 0, "list the instances");
         }},
        {"remove an instance",
         [](VexaDBServer& server) {
             Require(server.RemoveInstance(kServiceSession, "Added") == 0, "remove an instance");
         }},
        {"look for a missing instance after a write",
         [](VexaDBServer& server) {
             Require(!server.IsInstanceExist(kServiceSession, kMissing), "look for a missing instance");
         }},
        {"begin a batch", [](VexaDBServer& server) { Require(server.Batch(kServiceSession) == 0, "begin a batch"); }},
        {"write a setting in a batch",
         [](VexaDBServer& server) {
             Require(server.SetUint32(kServiceSession, InstanceName(0), "owner", 1) == 0, "write in a batch");
         }},
        {"drop a batch", [](VexaDBServer& server) { Require(server.Reset(kServiceSession) == 0, "drop a batch"); }},
    };
    return steps;
}

/// The figures of one size in one pass, by the operation's name.
using Figures = std::map<std::string, double>;

Figures MeasureSize(int size, const Options& options, std::vector<std::string>& order) {
    Figures figures;
    order.clear();
    const auto note = [&](const std::string& name, const Samples& samples) {
        order.push_back(name);
        figures[name] = SpreadOf(samples).median;
    };

    std::shared_ptr<VexaDBServer> server;
    Samples openings;
    for (int opening = 0; opening < (options.quick ? 1 : 3); ++opening)
        openings.push_back(Microseconds([&] { server = std::make_shared<VexaDBServer>(); }));

    const auto operations = Operations(*server, InstanceName(size / 2), TableId(size / 2));
    const auto results = MeasureInTurns(operations, options.quick ? Effort{3, 30} : Effort{5, 100});
    for (std::size_t index = 0; index < operations.size(); ++index)
        note(operations[index].name, results[index]);

    std::vector<Samples> steps(Steps().size());
    for (int round = 0; round < (options.quick ? 3 : 9); ++round) {
        for (std::size_t index = 0; index < steps.size(); ++index)
            steps[index].push_back(Microseconds([&] { Steps()[index].run(*server); }));
    }
    for (std::size_t index = 0; index < steps.size(); ++index)
        note(Steps()[index].name, steps[index]);
    note("open the database", openings);
    return figures;
}

}  // namespace

void MeasureDatabase(const Options& options, Report& report) {
    constexpr int kSizes[] = {10, 100, 1000};
    std::map<int, std::map<std::string, Samples>> all;
    std::vector<std::string> order;
    for (int pass = 0; pass < (options.quick ? 2 : 5); ++pass) {
        EmptySettings(kNoMonitoringMs);
        int written = 0;
        for (const int size : kSizes) {
            WriteInstances(written, size, false);
            written = size;
            for (const auto& [name, value] : MeasureSize(size, options, order))
                all[size][name].push_back(value);
        }
    }
    for (const auto& name : order) {
        for (const int size : kSizes)
            report.Add("Database: " + name, "instances: " + std::to_string(size), "us", all[size][name],
                       Ratios(all[size][name], all[kSizes[0]][name]), "10 instances");
    }
}

}  // namespace bench
