#include "EchoPipe.h"

#include <windows.h>

#include <array>

#include "IPC/class/IPC.h"
#include "Measure.h"

namespace bench {

namespace {

constexpr DWORD kBufferSize = 4096;
using Message = std::array<char, sizeof(ipc_header)>;

std::string PipePath(const std::string& name) {
    return "\\\\.\\pipe\\" + name;
}

UniqueHandle NewEvent() {
    return UniqueHandle(CreateEventW(nullptr, TRUE, FALSE, nullptr));
}

/// Completes an overlapped call that returned `completed`; whether it moved a whole message.
bool Finish(HANDLE pipe, BOOL completed, OVERLAPPED& overlapped) {
    DWORD bytes = 0;
    if (!completed && GetLastError() != ERROR_IO_PENDING)
        return false;
    return GetOverlappedResult(pipe, &overlapped, &bytes, TRUE) && bytes == sizeof(Message);
}

bool Read(HANDLE pipe, Message& message, HANDLE event) {
    OVERLAPPED overlapped{};
    overlapped.hEvent = event;
    return Finish(pipe, ReadFile(pipe, message.data(), sizeof message, nullptr, &overlapped), overlapped);
}

bool Write(HANDLE pipe, const Message& message, HANDLE event) {
    OVERLAPPED overlapped{};
    overlapped.hEvent = event;
    return Finish(pipe, WriteFile(pipe, message.data(), sizeof message, nullptr, &overlapped), overlapped);
}

}  // namespace

void ServeEcho(const std::string& name) {
    const UniqueHandle pipe(CreateNamedPipeA(PipePath(name).c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                                             PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, 1, kBufferSize,
                                             kBufferSize, 0, nullptr));
    const auto readEvent = NewEvent();
    const auto writeEvent = NewEvent();
    OVERLAPPED connect{};
    connect.hEvent = readEvent.Get();
    DWORD ignored = 0;
    if (!ConnectNamedPipe(pipe.Get(), &connect) && GetLastError() == ERROR_IO_PENDING)
        GetOverlappedResult(pipe.Get(), &connect, &ignored, TRUE);
    Message message{};
    while (Read(pipe.Get(), message, readEvent.Get()) && Write(pipe.Get(), message, writeEvent.Get())) {
    }
}

EchoClient::EchoClient(const std::string& name) : readEvent_(NewEvent()), writeEvent_(NewEvent()) {
    Await(
        [&] {
            pipe_.Reset(CreateFileA(PipePath(name).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_OVERLAPPED, nullptr));
            return static_cast<bool>(pipe_);
        },
        "open the echo pipe");
}

void EchoClient::RoundTrip() {
    Message message{};
    Require(Write(pipe_.Get(), message, writeEvent_.Get()) && Read(pipe_.Get(), message, readEvent_.Get()),
            "echo round trip");
}

}  // namespace bench
