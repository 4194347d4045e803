// A child that misbehaves in the way its instance's name says; a real child's worst days, on demand.

#include <windows.h>

#include <cstdint>
#include <string>
#include <utility>

#include "IPC/class/IPCServer.h"
#include "IPC/transport/ClientTransport.h"
#include "utils/VexaDB/class/VexaDBIPCClient.h"

namespace {

constexpr std::uint32_t kGoDeaf = 200;  // command: from now on answer nothing
constexpr DWORD kLifetimeMs = 120000;   // a faulty child that nobody ends goes by itself
constexpr DWORD kSlowMs = 4000;         // how long a slow child takes to come up, and to end
constexpr ULONGLONG kAnswerMs = 2000;   // the longest that the database may take for one call

bool Is(const std::string& name, const char* kind) {
    return name.rfind(kind, 0) == 0;
}

/// Settings of its own, one by one and in a batch. False when a call fails or is not answered in time.
bool WriteSettings(const std::string& name) {
    VexaDB::VexaDBIPCClient database;
    VexaDB::SessionId session = 0;
    auto done = [begin = GetTickCount64()](std::int32_t result) mutable {
        const auto last = std::exchange(begin, GetTickCount64());
        return result == 0 && begin - last < kAnswerMs;
    };
    return database.Connect() && done(database.OpenSession(session)) &&
           done(database.SetString(session, name, "note", "alone")) && done(database.Batch(session)) &&
           done(database.SetString(session, name, "note", "in a batch")) &&
           done(database.SetUint32(session, name, "starts", 1)) && done(database.Commit(session)) &&
           done(database.CloseSession(session));
}

void Serve(IPCServer& server, const std::string& name) {
    bool deaf = false;
    while (const auto request = server.GetRequest()) {
        deaf = deaf || request->Command() == kGoDeaf;
        if (deaf || !request->ExpectsReply())
            continue;
        auto reply = server.AnswerBuiltIn(*request, 42);
        server.SendReply(reply ? reply : IPC::Reply(*request));
        if (request->Command() == kIpcStop && !Is(name, "stubborn"))
            return;
    }
}

}  // namespace

int main() {
    const std::string key = "--key:";
    const std::string line = GetCommandLineA();  // the name may hold blanks, and has no quotes
    const std::string name = line.substr(line.find(key) + key.size());
    if (Is(name, "absent")) {
        Sleep(kLifetimeMs);
        return 0;
    }
    if (Is(name, "dies"))
        return 3;
    if (Is(name, "slow"))
        Sleep(kSlowMs);

    IPCServer server;
    if (server.Start(name) != 0)
        return 1;
    const bool fails = Is(name, "refuses") || (Is(name, "writes") && !WriteSettings(name));
    const auto ready = ClientTransport::Make(name + "-ready");
    if (ready->Connect(kLifetimeMs) != 0)
        return 2;
    if (Is(name, "hangup"))
        return 4;
    if (Is(name, "silent")) {
        Sleep(kLifetimeMs);
        return 0;
    }
    const std::uint8_t result = fails ? 0xFF : 0;
    ready->Write(&result, sizeof result, kLifetimeMs);
    Serve(server, name);
    if (Is(name, "slow"))
        Sleep(kSlowMs);
    return 0;
}
