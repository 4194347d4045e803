#include "IPC/transport/impl/win/ServerWinPipeInstance.h"

#include <utility>

#include "IPC/transport/PipeName.h"
#include "utils/logging/Logger.h"

namespace {

constexpr DWORD kBufferSize = 4096;  // bytes each way
constexpr DWORD kDefaultTimeoutMs = 5000;
constexpr std::int32_t kStartFailed = -1;

}  // namespace

ServerWinPipeInstance::ServerWinPipeInstance(std::string serverName, SECURITY_ATTRIBUTES* securityAttributes)
    : serverName_(std::move(serverName)),
      securityAttributes_(securityAttributes),
      waitEvent_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    if (!waitEvent_)
        KIV_LOG(Logging::Error, "Cannot create wait event server:%s", serverName_.c_str());
}

ServerWinPipeInstance::~ServerWinPipeInstance() {
    if (wait_ != Wait::Pending)
        return;
    DWORD unused = 0;
    CancelIoEx(pipe_.Get(), &overlapped_);
    GetOverlappedResult(pipe_.Get(), &overlapped_, &unused, TRUE);
}

bool ServerWinPipeInstance::MakeReady() {
    if (wait_ != Wait::None)
        return true;
    CreatePipe();
    if (Start() == 0)
        return true;
    pipe_.Reset();  // a pipe whose client has come and gone cannot wait for another one
    return false;
}

void ServerWinPipeInstance::CreatePipe() {
    pipe_.Reset(CreateNamedPipeA(PipeName(serverName_).c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                                 PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS,
                                 PIPE_UNLIMITED_INSTANCES, kBufferSize, kBufferSize, kDefaultTimeoutMs,
                                 securityAttributes_));
    if (!pipe_)
        KIV_LOG(Logging::Error, "CreateNamedPipe failed server:%s", serverName_.c_str());
}

std::int32_t ServerWinPipeInstance::Start() {
    if (!pipe_)
        return kStartFailed;
    if (!ResetEvent(waitEvent_.Get()))
        return StartFailed("Reset event");
    overlapped_ = {};
    overlapped_.hEvent = waitEvent_.Get();
    if (ConnectNamedPipe(pipe_.Get(), &overlapped_))
        return StartFailed("ConnectNamedPipe");  // an overlapped connect never returns success
    switch (GetLastError()) {
        case ERROR_IO_PENDING:
            wait_ = Wait::Pending;
            return 0;
        case ERROR_PIPE_CONNECTED:  // a client came after the pipe was created and before this call
            if (!SetEvent(waitEvent_.Get()))
                return StartFailed("Set event");
            wait_ = Wait::Connected;
            return 0;
        default:  // such as ERROR_NO_DATA: the client has come and gone already
            return StartFailed("ConnectNamedPipe");
    }
}

std::int32_t ServerWinPipeInstance::StartFailed(const char* step) {
    KIV_LOG_AS("ServerWinPipeInstance::Start", Logging::Error, "%s failed server:%s", step, serverName_.c_str());
    return kStartFailed;
}

UniqueHandle ServerWinPipeInstance::TakeConnection() {
    DWORD unused = 0;
    const bool connected =
        wait_ == Wait::Connected || GetOverlappedResult(pipe_.Get(), &overlapped_, &unused, FALSE) != FALSE;
    UniqueHandle taken = std::move(pipe_);
    wait_ = Wait::None;
    MakeReady();
    return connected ? std::move(taken) : UniqueHandle();
}
