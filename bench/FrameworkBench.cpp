#include <atomic>
#include <memory>
#include <thread>

#include "Bench.h"
#include "IPC/class/IPCClient.h"
#include "Peer.h"

namespace bench {

namespace {

constexpr const char* kServerName = "bench-framework";
constexpr std::uint32_t kTimeoutMs = 5000;
constexpr double kMicrosecondsPerSecond = 1e6;

using Clients = std::vector<std::unique_ptr<IPCClient>>;

Clients Connect(std::size_t count) {
    Clients clients;
    while (clients.size() < count) {
        auto client = std::make_unique<IPCClient>();
        Await([&] { return client->Connect(kServerName) == 0; }, "connect to the server of the benchmark");
        // Events go to those whose handshake the server has completed, which it tells by answering.
        Require(client->CheckAlive() == 0, "alive check of a new connection");
        clients.push_back(std::move(client));
    }
    return clients;
}

/// Alive checks per second of that many clients together, each on a thread of its own.
double Throughput(std::size_t count, int checksEach) {
    const auto clients = Connect(count);
    std::atomic<int> failures{0};
    const auto duration = Microseconds([&] {
        std::vector<std::jthread> threads;
        for (const auto& client : clients) {
            threads.emplace_back([&failures, checksEach, connection = client.get()] {
                for (int check = 0; check < checksEach; ++check)
                    failures += connection->CheckAlive() == 0 ? 0 : 1;
            });
        }
    });
    Require(failures == 0, "alive checks of several clients");
    return static_cast<double>(count) * checksEach / duration * kMicrosecondsPerSecond;
}

void MeasureThroughput(const Options& options, Report& report) {
    constexpr std::size_t kCounts[] = {1, 4, 16};
    const int rounds = options.quick ? 3 : 9;
    const int checks = options.quick ? 800 : 3200;
    std::vector<Samples> results(std::size(kCounts));
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t index = 0; index < std::size(kCounts); ++index)
            results[index].push_back(Throughput(kCounts[index], checks / static_cast<int>(kCounts[index])));
    }
    for (std::size_t index = 0; index < std::size(kCounts); ++index)
        report.Add("Alive checks of several clients", "throughput, clients: " + std::to_string(kCounts[index]), "/s",
                   results[index], Ratios(results[index], results.front()), "1 client");
}

/// The median time from asking for the broadcast until the last of the clients has the event.
double Broadcast(std::size_t count, int calls) {
    const auto clients = Connect(count);
    Samples samples;
    for (int call = 0; call < calls; ++call) {
        auto request = IPC::Request(kPeerBroadcast);
        samples.push_back(Microseconds([&] {
            Require(clients.front()->Send(request) == 0, "ask for a broadcast");
            for (const auto& client : clients)
                Require(client->TakeNotice(kTimeoutMs) != nullptr, "receive the event");
        }));
        Require(clients.front()->WaitReply(request->RequestId(), kTimeoutMs) != nullptr, "broadcast");
    }
    return SpreadOf(samples).median;
}

void MeasureBroadcast(const Options& options, Report& report) {
    constexpr std::size_t kCounts[] = {1, 16, 64};
    const int rounds = options.quick ? 3 : 9;
    const int calls = options.quick ? 20 : 60;
    std::vector<Samples> results(std::size(kCounts));
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t index = 0; index < std::size(kCounts); ++index)
            results[index].push_back(Broadcast(kCounts[index], calls));
    }
    for (std::size_t index = 0; index < std::size(kCounts); ++index)
        report.Add("Broadcast of an event until the last has it", "clients: " + std::to_string(kCounts[index]), "us",
                   results[index], Ratios(results[index], results.front()), "1 client");
}

void MeasureConnection(const Peer& server, Report& report) {
    constexpr std::size_t kConnections = 64;
    const auto warm = Connect(kConnections);  // what the first connections allocate stays
    const auto before = server.Measure();
    const auto clients = Connect(kConnections);
    const auto after = server.Measure();
    constexpr double kCount = kConnections;
    const std::string group = "What a connection takes at the server";
    report.Add(group, "memory", "KiB", {(after.kilobytes - before.kilobytes) / kCount});
    report.Add(group, "threads", "", {(after.threads - before.threads) / kCount});
}

}  // namespace

void MeasureFramework(const Options& options, Report& report) {
    const auto server = Peer::Self(std::string("--serve-framework ") + kServerName);
    MeasureThroughput(options, report);
    MeasureBroadcast(options, report);
    MeasureConnection(server, report);
}

}  // namespace bench
