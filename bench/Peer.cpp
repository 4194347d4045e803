#include "Peer.h"

// Need <windows.h> first.
#include <psapi.h>
#include <tlhelp32.h>

#include "IPC/class/IPCServer.h"
#include "Measure.h"
#include "utils/platform/Platform.h"

namespace bench {

namespace {

constexpr DWORD kEndPatienceMs = 60000;
constexpr double kBytesPerKilobyte = 1024;

}  // namespace

void ServeFramework(const std::string& name) {
    IPCServer server;
    Require(server.Start(name) == 0, "start the server " + name);
    while (const auto request = server.GetRequest()) {
        if (request->Command() == kPeerBroadcast)
            server.Broadcast(IPC::Notice(kPeerEvent));
        if (request->ExpectsReply())
            server.SendReply(IPC::Reply(*request));
    }
}

std::string ProgramFolder() {
    const auto path = platform::ModulePath();
    return path.substr(0, path.find_last_of("\\/") + 1);
}

Peer Peer::Self(const std::string& arguments) {
    return Peer("\"" + platform::ModulePath() + "\" " + arguments);
}

Peer Peer::Program(const std::string& fileName) {
    return Peer("\"" + ProgramFolder() + fileName + "\"");
}

Peer::Peer(std::string commandLine) {
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    Require(CreateProcessA(nullptr, commandLine.data(), nullptr, nullptr, FALSE, DETACHED_PROCESS, nullptr, nullptr,
                           &startup, &process) != FALSE,
            "start " + commandLine);
    CloseHandle(process.hThread);
    process_.Reset(process.hProcess);
    processId_ = process.dwProcessId;
}

Peer::~Peer() {
    if (!process_)
        return;
    TerminateProcess(process_.Get(), 1);
    WaitForSingleObject(process_.Get(), kEndPatienceMs);
}

void Peer::AwaitEnd() {
    Require(WaitForSingleObject(process_.Get(), kEndPatienceMs) == WAIT_OBJECT_0, "the process ends");
}

Peer::Footprint Peer::Measure() const {
    PROCESS_MEMORY_COUNTERS memory{};
    Require(K32GetProcessMemoryInfo(process_.Get(), &memory, sizeof memory) != FALSE, "read the process's memory");
    Footprint footprint{static_cast<double>(memory.WorkingSetSize) / kBytesPerKilobyte, 0};
    const UniqueHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Thread32First(snapshot.Get(), &entry); more; more = Thread32Next(snapshot.Get(), &entry)) {
        if (entry.th32OwnerProcessID == processId_)
            footprint.threads += 1;
    }
    return footprint;
}

}  // namespace bench
