#include <windows.h>
// These need <windows.h> first.
#include <psapi.h>
#include <tlhelp32.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <thread>

#include "IPC/class/IPCClient.h"
#include "Measure.h"
#include "Peers.h"
#include "protocols/control/ControlClient.h"
#include "protocols/kivapi/kivapi.h"
#include "utils/VexaDB/class/ProtocolTypes.h"
#include "utils/VexaDB/class/VexaDBIPCClient.h"
#include "utils/VexaDB/class/VexaDBServer.h"
#include "utils/registry/RegistryKey.h"

namespace bench {

namespace {

using VexaDB::kServiceSession;

constexpr const char* kDatabaseKey = "Software\\Quenlar\\Torvik\\Runtime\\Settings\\vexa";
constexpr const char* kEchoName = "bench-echo";
constexpr const char* kServerName = "bench-framework";
constexpr const char* kAdded = "Added";

std::string InstanceName(int number) {
    return "Sample " + std::to_string(number);
}

/// All ids have the same length, so that the registry keeps their order.
std::string TableId(int number) {
    return std::to_string(10000 + number);
}

/// Writes the sample instances `first` to `last` - 1, each with a port of its own: of two instances of a type on one
/// port, the second would be disabled.
void WriteInstances(int first, int last, bool enabled) {
    for (int number = first; number < last; ++number)
        e2e::WriteTable(TableId(number), InstanceName(number),
                        e2e::Sample(TableId(number), {{"enabled", enabled ? 1u : 0u}}));
}

/// No settings and no log, and a monitor period that is longer than a measurement.
void EmptyMachine() {
    e2e::PrepareMachine({{"monitorwaittime", 300000u}, {"logtype", std::string("none")}});
}

/// Measures the same for each count, and compares all counts with the first one.
void MeasureGrowth(Report& report, const std::string& group, const std::string& what, const std::string& unit,
                   const std::vector<int>& counts, int rounds, const std::function<double(int count)>& measure) {
    std::vector<Samples> results(counts.size());
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t index = 0; index < counts.size(); ++index)
            results[index].push_back(measure(counts[index]));
    }
    for (std::size_t index = 0; index < counts.size(); ++index)
        report.Add(group, what + std::to_string(counts[index]), unit, results[index], results.front(),
                   std::to_string(counts.front()));
}

using Clients = std::vector<std::unique_ptr<IPCClient>>;

Clients Connect(int count) {
    Clients clients;
    for (int number = 0; number < count; ++number) {
        clients.push_back(std::make_unique<IPCClient>());
        Require(Eventually([&] { return clients.back()->Connect(kServerName) == 0; }), "connect to the peer");
        // Events go only to clients whose handshake the server has completed; an answer shows that it has.
        Require(clients.back()->CheckAlive() == 0, "alive check of a new connection");
    }
    return clients;
}

/// Alive checks per second of `count` clients together, each on a thread of its own.
double Throughput(int count, int checks) {
    const auto clients = Connect(count);
    std::atomic<int> failures{0};
    const auto run = [&] {
        std::vector<std::jthread> threads;
        for (const auto& client : clients)
            threads.emplace_back([&failures, each = checks / count, connection = client.get()] {
                for (int check = 0; check < each; ++check)
                    failures += connection->CheckAlive() == 0 ? 0 : 1;
            });
        threads.clear();  // joins them
        return failures == 0;
    };
    return checks / Measure({"alive checks of several clients", run}) * 1e6;
}

/// The median time, in microseconds, from the request for an event until the last client has it.
double Broadcast(int count, int calls) {
    constexpr std::uint32_t kTimeoutMs = 5000;
    const auto clients = Connect(count);
    Samples samples;
    for (int call = 0; call < calls; ++call) {
        const auto request = IPC::Request(kPeerBroadcast);
        const auto broadcast = [&] {
            return clients.front()->Send(request) == 0 && std::all_of(clients.begin(), clients.end(), [](auto& client) {
                       return client->TakeNotice(kTimeoutMs) != nullptr;
                   });
        };
        samples.push_back(Measure({"broadcast", broadcast}));
        Require(clients.front()->WaitReply(request->RequestId(), kTimeoutMs) != nullptr, "answer");
    }
    return Quantile(samples, 0.5);
}

/// Operations that leave the instances of the database as they are, so that each can run many times.
std::vector<Operation> Reads(VexaDB::VexaDBServer& server, const std::string& instance, const std::string& table) {
    const auto bareRead = [table, key = VexaUtils::RegistryKey::OpenOrCreate(kDatabaseKey)] {
        VexaUtils::RegistryValue value;
        const auto subkey = key->OpenSubkey(table);
        return subkey && subkey->Query("type", value) == VexaUtils::Reading::Found;
    };
    const auto read = [&server, instance, value = 0u]() mutable {
        return server.GetUint32(kServiceSession, instance, "type", value) == 0;
    };
    const auto write = [&server, instance, value = 0u]() mutable {
        return server.SetUint32(kServiceSession, instance, "owner", ++value) == 0;
    };
    const auto list = [&server, names = std::vector<std::string>()]() mutable {
        return server.GetInstances(kServiceSession, names) == 0;
    };
    return {{"bare registry: open, read, close", bareRead},
            {"read a setting", read},
            {"write a setting", write},
            {"list the instances", list}};
}

/// Operations that change the state for the next one; each runs once per round.
std::vector<Operation> Steps(VexaDB::VexaDBServer& server, const std::vector<Operation>& reads) {
    return {
        {"add an instance", [&] { return server.AddInstance(kServiceSession, kAdded, VexaDB::kSampleProtocol) == 0; }},
        {"list the instances after a write", reads.back().run},
        {"remove an instance", [&] { return server.RemoveInstance(kServiceSession, kAdded) == 0; }},
        {"look for a missing instance after a write",
         [&] { return !server.IsInstanceExist(kServiceSession, "Missing"); }},
        {"begin a batch", [&] { return server.Batch(kServiceSession) == 0; }},
        {"write a setting in a batch",
         [&] { return server.SetUint32(kServiceSession, InstanceName(0), "owner", 1) == 0; }},
        {"drop a batch", [&] { return server.Reset(kServiceSession) == 0; }},
        {"open the database", [] { return std::make_shared<VexaDB::VexaDBServer>() != nullptr; }},
    };
}

/// Starts a manager on `instances` instances, and waits until the last one runs.
std::unique_ptr<e2e::ManagerRun> StartManager(int instances, const std::string& folder = "") {
    auto manager = std::make_unique<e2e::ManagerRun>(folder);
    Require(e2e::WaitForStatus(InstanceName(instances - 1), kRunning), "the last instance runs");
    return manager;
}

/// Sends a control command on a connection of its own, so that requests on other connections do not wait for it.
std::int32_t ControlApart(std::uint32_t command, const std::string& instance) {
    IPCClient client;
    std::shared_ptr<IPC> reply;
    const auto request = IPC::Request(command, wire::Encode(ipc_mngctrl_instance_request{instance}));
    if (client.Connect(kManagerServerName) != 0 || client.Call(request, kPatienceMs, reply) != 0)
        return kIpcNoReply;
    return wire::Decode<ipc_mngctrl_result_reply>(reply->Payload())->result;
}

/// Status requests about other instances while one instance takes seconds to start, and then to stop.
void MeasureBesideASlowInstance(Report& report) {
    constexpr int kOthers = 5;
    const std::string slow = "slow";  // this name makes the test child start and stop slowly
    EmptyMachine();
    WriteInstances(0, kOthers, true);
    e2e::WriteTable(TableId(kOthers), slow, e2e::Sample(TableId(kOthers), {{"enabled", 0u}}));
    const auto manager = StartManager(kOthers, "faulty\\");
    const auto connection = IPCClient::GetClient(kManagerServerName, true);  // e2e::Status below shares it
    e2e::WriteTable(TableId(kOthers), slow, {{"enabled", 1u}});
    for (const auto& [command, name] : {std::pair(kManagerStart, "starts"), {kManagerStop, "stops"}}) {
        auto change = std::async(std::launch::async, ControlApart, command, slow);
        Samples requests;
        for (int request = 0; request < 200; ++request)
            requests.push_back(Measure(
                {"status of another", [&] { return e2e::Status(InstanceName(request % kOthers)).result == 0; }}));
        Require(change.wait_for(std::chrono::seconds(0)) != std::future_status::ready, "ask while it is at it");
        Require(change.get() == 0, "the slow instance's change");
        const auto group = "200 status requests to others, one " + std::string(name) + " for 3 s";
        report.Add(group, "all", "us", requests);
        report.Add(group, "slowest", "us", {Quantile(requests, 1)});
    }
}

/// One call of the C library, compared with the same call of the class that it uses.
void MeasureLibrary(Report& report, const std::string& instance, int rounds, int calls) {
    ControlClient manager;
    kiv_client* client = nullptr;
    Require(manager.Connect().IsDone() && kiv_connect(kPatienceMs, &client) == KIV_OK, "connect to the manager");
    kiv_status status{};
    status.size = sizeof status;
    const auto results =
        MeasureInTurns({{"C++", [&] { return manager.Status(instance).IsDone(); }},
                        {"kivapi", [&] { return kiv_get_status(client, instance.c_str(), &status) == KIV_OK; }}},
                       rounds, calls);
    report.Add("Status of a stopped instance, through the library", "ControlClient", "us", results[0]);
    report.Add("Status of a stopped instance, through the library", "kiv_get_status", "us", results[1], results[0],
               "ControlClient");
    kiv_close(client);
}

void MeasureFootprint(Report& report, std::uint64_t pid) {
    const std::string group = "A manager at rest, with one instance";
    const UniqueHandle process(OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, static_cast<DWORD>(pid)));
    PROCESS_MEMORY_COUNTERS memory{};
    Require(K32GetProcessMemoryInfo(process.Get(), &memory, sizeof memory) != FALSE, "read the manager's memory");
    report.Add(group, "memory, what it shares with others included", "KiB",
               {static_cast<double>(memory.WorkingSetSize) / 1024});
    const UniqueHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32First(snapshot.Get(), &entry); more; more = Process32Next(snapshot.Get(), &entry)) {
        if (entry.th32ProcessID == pid)
            report.Add(group, "threads", "", {static_cast<double>(entry.cntThreads)});
    }
}

}  // namespace

void MeasureLatency(bool quick, Report& report) {
    EmptyMachine();
    WriteInstances(0, 1, true);
    WriteInstances(1, 10, false);
    const auto echoServer = StartPeer(kEchoRole, kEchoName);
    const auto server = StartPeer(kServerRole, kServerName);
    const auto run = StartManager(1);
    const auto manager = IPCClient::GetClient(kManagerServerName, true);
    const auto clients = Connect(1);
    VexaDB::VexaDBIPCClient database;
    Require(database.Connect(), "connect to the database");

    const auto running = InstanceName(0);
    const auto stopped = InstanceName(1);
    std::uint32_t value = 0;
    const Operation limit{"bare echo, 24 bytes each way", ConnectEcho(kEchoName)};
    const std::vector<Operation> calls = {
        limit,
        {"alive check", [&] { return clients.front()->CheckAlive() == 0; }},
        {"alive check of the manager", [&] { return manager->CheckAlive() == 0; }},
        {"status of a stopped instance", [&] { return e2e::Status(stopped).result == 0; }},
        {"status of a running instance", [&] { return e2e::Status(running).result == 0; }},
        {"GetUint32", [&] { return database.GetUint32(kServiceSession, stopped, "type", value) == 0; }},
        {"SetUint32", [&] { return database.SetUint32(kServiceSession, stopped, "owner", ++value) == 0; }},
    };
    const std::vector<Operation> pairs = {
        limit,
        {"AddInstance (with its six settings)",
         [&] { return database.AddInstance(kServiceSession, kAdded, VexaDB::kSampleProtocol) == 0; }},
        {"RemoveInstance", [&] { return database.RemoveInstance(kServiceSession, kAdded) == 0; }},
    };
    const auto measure = [&](const std::vector<Operation>& operations, int rounds, int callsEach) {
        const auto results = MeasureInTurns(operations, rounds, callsEach);
        for (std::size_t index = 0; index < operations.size(); ++index)
            report.Add(callsEach > 1 ? "One call, against the bare pipe" : "One call in a round, against the bare pipe",
                       operations[index].name, "us", results[index], results.front(), "bare echo");
    };
    measure(calls, quick ? 5 : 15, quick ? 60 : 200);
    measure(pairs, quick ? 20 : 100, 1);
    MeasureLibrary(report, stopped, quick ? 5 : 15, quick ? 60 : 200);
}

void MeasureFramework(bool quick, Report& report) {
    const auto server = StartPeer(kServerRole, kServerName);
    const int rounds = quick ? 3 : 9;
    MeasureGrowth(report, "Alive checks a second", "clients: ", "/s", {1, 16}, rounds,
                  [=](int count) { return Throughput(count, quick ? 800 : 3200); });
    MeasureGrowth(report, "An event until the last has it", "clients: ", "us", {1, 64}, rounds,
                  [=](int count) { return Broadcast(count, quick ? 20 : 60); });
}

void MeasureDatabase(bool quick, Report& report) {
    constexpr int kFew = 10;
    constexpr int kMany = 1000;
    std::map<int, std::vector<Samples>> all;  // for each size, the figures of every operation
    std::vector<std::string> names;
    for (int pass = 0; pass < (quick ? 2 : 5); ++pass) {
        EmptyMachine();
        for (const int size : {kFew, kMany}) {
            WriteInstances(size == kFew ? 0 : kFew, size, false);
            VexaDB::VexaDBServer server;
            const auto reads = Reads(server, InstanceName(size / 2), TableId(size / 2));
            const auto steps = Steps(server, reads);
            auto results = MeasureInTurns(reads, quick ? 3 : 5, quick ? 30 : 100);
            for (auto& samples : MeasureInTurns(steps, quick ? 3 : 9, 1))
                results.push_back(std::move(samples));
            names.clear();
            std::transform(reads.begin(), reads.end(), std::back_inserter(names), std::mem_fn(&Operation::name));
            std::transform(steps.begin(), steps.end(), std::back_inserter(names), std::mem_fn(&Operation::name));
            all[size].resize(results.size());
            for (std::size_t index = 0; index < results.size(); ++index)
                all[size][index].push_back(Quantile(results[index], 0.5));
        }
    }
    for (std::size_t index = 0; index < names.size(); ++index)
        for (const auto& [size, figures] : all)
            report.Add("Database: " + names[index], "instances: " + std::to_string(size), "us", figures[index],
                       all[kFew][index], std::to_string(kFew));
}

void MeasureManager(bool quick, Report& report) {
    std::unique_ptr<e2e::ManagerRun> manager;
    const auto startUp = [&manager](int count) {
        manager.reset();
        EmptyMachine();
        WriteInstances(0, count, true);
        const auto start = [&] { return (manager = StartManager(count)) != nullptr; };
        return Measure({"start the manager", start}) / 1000;
    };
    MeasureGrowth(report, "Start-up until the last instance runs", "instances: ", "ms", {1, 50}, quick ? 1 : 5,
                  startUp);
    startUp(1);
    MeasureFootprint(report, IPCClient::GetClient(kManagerServerName, true)->ServerPid());
    manager.reset();
    MeasureBesideASlowInstance(report);
}

}  // namespace bench
