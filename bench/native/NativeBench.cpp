// One kind of call, many times, over the in-memory transport: what callgrind counts the instructions of. Two runs with
// different counts tell what one call costs, free of start and end.
//
//     bench_native KIND COUNT, KIND one of alive, get, set, add

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>

#include "IPC/class/IPCClient.h"
#include "IPC/class/IPCServer.h"
#include "utils/VexaDB/class/ProtocolTypes.h"
#include "utils/VexaDB/class/VexaDBIPCClient.h"
#include "utils/VexaDB/class/VexaDBServer.h"
#include "utils/logging/Logger.h"

namespace {

constexpr const char* kServerName = "bench";
constexpr const char* kInstance = "instance";

using Call = std::function<bool(unsigned round)>;

bool Repeat(unsigned count, const Call& call) {
    for (unsigned round = 0; round < count; ++round) {
        if (!call(round))
            return false;
    }
    return true;
}

bool AliveChecks(unsigned count) {
    IPCServer server;
    if (server.Start(kServerName) != 0)
        return false;
    std::thread owner([&server] {
        while (const auto request = server.GetRequest())
            server.SendReply(IPC::Reply(*request));
    });
    const auto client = IPCClient::GetClient(kServerName, true);
    const bool done = Repeat(count, [&client](unsigned) { return client->CheckAlive() == 0; });
    server.Stop();
    owner.join();
    return done;
}

bool DatabaseCalls(unsigned count, const std::function<bool(VexaDB::VexaDBIPCClient&, unsigned)>& call) {
    const auto server = VexaDB::VexaDBServer::GetInstance();
    server->Start();
    VexaDB::VexaDBIPCClient client;
    bool done =
        client.Connect() && client.AddInstance(VexaDB::kServiceSession, kInstance, VexaDB::kSampleProtocol) == 0;
    done = done && Repeat(count, [&](unsigned round) { return call(client, round); });
    server->Stop();
    return done;
}

}  // namespace

int main(int argc, char** argv) {
    using Client = VexaDB::VexaDBIPCClient;
    constexpr auto session = VexaDB::kServiceSession;
    const std::map<std::string, std::function<bool(unsigned)>> kinds = {
        {"alive", AliveChecks},
        {"get",
         [](unsigned count) {
             return DatabaseCalls(count, [](Client& client, unsigned) {
                 std::uint32_t value = 0;
                 return client.GetUint32(session, kInstance, "enabled", value) == 0;
             });
         }},
        {"set",
         [](unsigned count) {
             return DatabaseCalls(count, [](Client& client, unsigned round) {
                 return client.SetUint32(session, kInstance, "n", round) == 0;
             });
         }},
        {"add",
         [](unsigned count) {
             return DatabaseCalls(count, [](Client& client, unsigned round) {
                 return client.AddInstance(session, std::to_string(round), VexaDB::kSampleProtocol) == 0;
             });
         }},
    };
    Logging::Logger::GetInstance()->SetDisabled(true);
    const auto kind = argc == 3 ? kinds.find(argv[1]) : kinds.end();
    if (kind == kinds.end()) {
        std::fputs("bench_native alive|get|set|add COUNT\n", stderr);
        return 2;
    }
    return kind->second(static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10))) ? 0 : 1;
}
