// A child that misbehaves; the beginning of its instance's name says how.

#include <windows.h>

#include <array>
#include <cstdint>
#include <string>

#include "IPC/class/IPCServer.h"
#include "IPC/transport/ClientTransport.h"

namespace {

constexpr std::uint32_t kGoDeaf = 200;  // command: from now on answer nothing
constexpr DWORD kSlowMs = 3000;         // how long a slow child takes to start and to stop
constexpr DWORD kLifetimeMs = 120000;   // after this time a faulty child ends by itself

bool Is(const std::string& name, const char* kind) {
    return name.rfind(kind, 0) == 0;
}

void Serve(IPCServer& server, const std::string& name) {
    bool deaf = false;
    while (const auto request = server.GetRequest()) {
        deaf = deaf || request->Command() == kGoDeaf;
        if (deaf || !request->ExpectsReply())
            continue;
        auto reply = server.AnswerBuiltIn(*request, 42);
        if (Is(name, "lists another") && request->Command() == kIpcGetClientsInfo)
            reply = IPC::Reply(*request, wire::Encode(std::array<wire::u64, 4>{0, 1, 4711, 0}));
        server.SendReply(reply ? reply : IPC::Reply(*request));
        if (request->Command() == kIpcStop && Is(name, "slow"))
            Sleep(kSlowMs);
        if (request->Command() == kIpcStop && !Is(name, "stubborn"))
            return;
    }
}

}  // namespace

int main() {
    const std::string key = "--key:";
    const std::string line = GetCommandLineA();  // the name may contain spaces and has no quotes
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
    const auto ready = ClientTransport::Make(name + "-ready");
    if (ready->Connect(kLifetimeMs) != 0)
        return 2;
    if (Is(name, "hangup"))
        return 4;
    if (Is(name, "silent")) {
        Sleep(kLifetimeMs);
        return 0;
    }
    const std::uint8_t result = Is(name, "refuses") ? 0xFF : 0;
    ready->Write(&result, sizeof result, kLifetimeMs);
    Serve(server, name);
    return 0;
}
