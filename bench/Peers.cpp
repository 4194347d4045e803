#include "Peers.h"

#include <array>
#include <memory>

#include "IPC/class/IPCServer.h"
#include "Measure.h"
#include "utils/platform/Platform.h"

namespace bench {

namespace {

using Message = std::array<char, sizeof(ipc_header)>;

std::string PipePath(const std::string& name) {
    return "\\\\.\\pipe\\" + name;
}

UniqueHandle NewEvent() {
    return UniqueHandle(CreateEventW(nullptr, TRUE, FALSE, nullptr));
}

/// Reads or writes a whole message; `transfer` is ReadFile or WriteFile.
template <class Transfer>
bool Move(Transfer transfer, const UniqueHandle& pipe, Message& message, const UniqueHandle& event) {
    OVERLAPPED overlapped{};
    overlapped.hEvent = event.Get();
    DWORD bytes = 0;
    if (!transfer(pipe.Get(), message.data(), sizeof message, nullptr, &overlapped) &&
        GetLastError() != ERROR_IO_PENDING)
        return false;
    return GetOverlappedResult(pipe.Get(), &overlapped, &bytes, TRUE) && bytes == sizeof message;
}

}  // namespace

void ServeEcho(const std::string& name) {
    constexpr DWORD kBufferSize = 4096;
    const UniqueHandle pipe(CreateNamedPipeA(PipePath(name).c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                                             PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, 1, kBufferSize,
                                             kBufferSize, 0, nullptr));
    const auto event = NewEvent();
    OVERLAPPED connect{};
    connect.hEvent = event.Get();
    DWORD ignored = 0;
    if (!ConnectNamedPipe(pipe.Get(), &connect) && GetLastError() == ERROR_IO_PENDING)
        GetOverlappedResult(pipe.Get(), &connect, &ignored, TRUE);
    Message message{};
    while (Move(ReadFile, pipe, message, event) && Move(WriteFile, pipe, message, event)) {
    }
}

std::function<bool()> ConnectEcho(const std::string& name) {
    const auto pipe = std::make_shared<UniqueHandle>();
    const auto open = [&] {
        pipe->Reset(CreateFileA(PipePath(name).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                FILE_FLAG_OVERLAPPED, nullptr));
        return static_cast<bool>(*pipe);
    };
    Require(Eventually(open), "open the echo pipe");
    return [pipe, event = std::make_shared<UniqueHandle>(NewEvent()), message = Message()]() mutable {
        return Move(WriteFile, *pipe, message, *event) && Move(ReadFile, *pipe, message, *event);
    };
}

void ServeFramework(const std::string& name) {
    IPCServer server;
    Require(server.Start(name) == 0, "start the server " + name);
    while (const auto request = server.GetRequest()) {
        if (request->Command() == kPeerBroadcast)
            server.Broadcast(IPC::Notice(kPeerBroadcast));
        if (request->ExpectsReply())
            server.SendReply(IPC::Reply(*request));
    }
}

e2e::Program StartPeer(const char* role, const char* name) {
    return e2e::Program("\"" + platform::ModulePath() + "\" " + role + " " + name);
}

}  // namespace bench
