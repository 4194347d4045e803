// Makes one kind of call many times over the in-memory transport, so that callgrind can count the instructions. The
// difference of two runs with different counts is the cost of the calls without start and end of the program.
//
//     bench_native alive|get|set|add COUNT

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <thread>

#include "IPC/class/IPCClient.h"
#include "IPC/class/IPCServer.h"
#include "utils/VexaDB/class/ProtocolTypes.h"
#include "utils/VexaDB/class/VexaDBIPCClient.h"
#include "utils/VexaDB/class/VexaDBServer.h"
#include "utils/logging/Logger.h"

int main(int argc, char** argv) {
    constexpr auto session = VexaDB::kServiceSession;
    constexpr const char* kInstance = "instance";
    Logging::Logger::GetInstance()->SetDisabled(true);
    IPCServer server;
    const auto databaseServer = VexaDB::VexaDBServer::GetInstance();
    databaseServer->Start();
    IPCClient client;
    VexaDB::VexaDBIPCClient database;
    if (server.Start("bench") != 0 || client.Connect("bench") != 0 || !database.Connect() ||
        database.AddInstance(session, kInstance, VexaDB::kSampleProtocol) != 0)
        return 1;
    std::thread owner([&server] {
        while (const auto request = server.GetRequest())
            server.SendReply(IPC::Reply(*request));
    });

    std::uint32_t value = 0;
    const std::map<std::string, std::function<std::int32_t(unsigned round)>> kinds = {
        {"alive", [&](unsigned) { return client.CheckAlive(); }},
        {"get", [&](unsigned) { return database.GetUint32(session, kInstance, "enabled", value); }},
        {"set", [&](unsigned round) { return database.SetUint32(session, kInstance, "n", round); }},
        {"add",
         [&](unsigned round) { return database.AddInstance(session, std::to_string(round), VexaDB::kSampleProtocol); }},
    };
    const auto kind = argc == 3 ? kinds.find(argv[1]) : kinds.end();
    if (kind == kinds.end())
        std::fputs("bench_native alive|get|set|add COUNT\n", stderr);
    const auto count = argc == 3 ? static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)) : 0;
    bool done = kind != kinds.end();
    for (unsigned round = 0; done && round < count; ++round)
        done = kind->second(round) == 0;
    server.Stop();
    owner.join();
    databaseServer->Stop();
    return done ? 0 : 1;
}
