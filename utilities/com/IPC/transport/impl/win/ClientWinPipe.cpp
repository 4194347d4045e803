#include "IPC/transport/impl/win/ClientWinPipe.h"

#include <algorithm>
#include <array>
#include <utility>

#include "IPC/transport/PipeName.h"
#include "utils/logging/Logger.h"

namespace {

constexpr std::int32_t kFailed = -1;
constexpr std::uint32_t kBusyWaitSliceMs = 100;  // between two checks whether Close was called meanwhile

HANDLE NewManualResetEvent(BOOL signalled) {
    return CreateEventW(nullptr, TRUE, signalled, nullptr);
}

}  // namespace

ClientWinPipe::Direction::Direction(const char* logFunction, const char* logOperation, const char* logProgress)
    : event(NewManualResetEvent(TRUE)), function(logFunction), operation(logOperation), progress(logProgress) {}

ClientWinPipe::ClientWinPipe(std::string serverName, UniqueHandle pipe)
    : serverName_(std::move(serverName)),
      isClient_(!pipe),
      pipe_(std::move(pipe)),
      closeEvent_(NewManualResetEvent(FALSE)) {}

std::int32_t ClientWinPipe::Connect(std::uint32_t timeoutMs) {
    if (!isClient_)
        return 0;
    const std::string name = PipeName(serverName_);
    const platform::Deadline deadline(timeoutMs);
    UniqueHandle pipe;
    while (!pipe) {
        // The server can identify the client but not impersonate it, since any program could listen under this name.
        pipe.Reset(CreateFileA(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                               FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION, nullptr));
        if (pipe)
            break;
        if (GetLastError() != ERROR_PIPE_BUSY) {
            KIV_LOG(Logging::Error, "Cannot open client pipe server:%s", serverName_.c_str());
            return kFailed;
        }
        const bool isFree = WaitForFreePipe(name, deadline);
        if (closing_)
            return kFailed;
        if (!isFree) {
            KIV_LOG(Logging::Error, "Timeout in open client pipe timeout:%d server:%s", static_cast<int>(timeoutMs),
                    serverName_.c_str());
            return kFailed;
        }
    }
    const std::scoped_lock readGuard(read_.lock);
    const std::scoped_lock writeGuard(write_.lock);
    if (closing_)
        return kFailed;
    {
        const std::scoped_lock pipeGuard(pipeLock_);
        pipe_ = std::move(pipe);
    }
    DWORD mode = PIPE_READMODE_BYTE;
    if (!SetNamedPipeHandleState(pipe_.Get(), &mode, nullptr, nullptr)) {
        KIV_LOG(Logging::Error, "Cannot set client pipe state server:%s", serverName_.c_str());
        return kFailed;
    }
    return 0;
}

bool ClientWinPipe::WaitForFreePipe(const std::string& name, const platform::Deadline& deadline) const {
    while (!closing_) {
        const std::uint32_t leftMs = deadline.LeftMs();
        if (leftMs == 0)
            return false;
        // This wait cannot also watch closeEvent_, so it is split into slices.
        if (WaitNamedPipeA(name.c_str(), std::min(leftMs, kBusyWaitSliceMs)))
            return true;
        if (GetLastError() != ERROR_SEM_TIMEOUT)
            return false;
    }
    return false;
}

std::int32_t ClientWinPipe::Close() {
    closing_ = true;
    if (closeEvent_)
        SetEvent(closeEvent_.Get());
    const std::scoped_lock readGuard(read_.lock);
    const std::scoped_lock writeGuard(write_.lock);
    if (write_.pending)
        static_cast<void>(GiveUp(write_, 0));  // no thread waits for it any more
    const std::scoped_lock pipeGuard(pipeLock_);
    pipe_.Reset();
    return 0;
}

std::int32_t ClientWinPipe::ReadAhead(void* buffer, std::int32_t size, std::int32_t capacity, std::uint32_t timeoutMs) {
    const std::scoped_lock guard(read_.lock);
    if (closing_)
        return kFailed;
    DWORD bytes = 0;
    const BOOL completed = ReadFile(pipe_.Get(), buffer, static_cast<DWORD>(capacity), &bytes, Prepare(read_, size));
    const std::int32_t result = Started(read_, completed, bytes, timeoutMs);
    return read_.pending ? GiveUp(read_, timeoutMs) : result;
}

std::int32_t ClientWinPipe::Write(const void* buffer, std::int32_t size, std::uint32_t timeoutMs) {
    const std::scoped_lock guard(write_.lock);
    const std::int32_t result = StartWrite(buffer, size, timeoutMs);
    return write_.pending ? GiveUp(write_, timeoutMs) : result;
}

std::int32_t ClientWinPipe::BeginWrite(const void* buffer, std::int32_t size, std::uint32_t timeoutMs) {
    const std::scoped_lock guard(write_.lock);
    return StartWrite(buffer, size, timeoutMs);
}

std::int32_t ClientWinPipe::FinishWrite(std::uint32_t timeoutMs) {
    const std::scoped_lock guard(write_.lock);
    if (!write_.pending)
        return kFailed;  // Close has ended the write
    const std::int32_t result = Await(write_, timeoutMs);
    return write_.pending ? GiveUp(write_, timeoutMs) : result;
}

std::uint64_t ClientWinPipe::PeerProcessId() {
    const std::scoped_lock guard(pipeLock_);
    ULONG processId = 0;
    const bool known = isClient_ ? GetNamedPipeServerProcessId(pipe_.Get(), &processId) != FALSE
                                 : GetNamedPipeClientProcessId(pipe_.Get(), &processId) != FALSE;
    return known ? processId : 0;
}

bool ClientWinPipe::HasPeerClosed() {
    const UniqueHandle event(NewManualResetEvent(FALSE));
    const std::scoped_lock guard(pipeLock_);
    if (isClient_ || !pipe_ || !event)
        return false;
    // Only ConnectNamedPipe tells whether the client is still there while unread bytes wait. On a pipe that has, or has
    // had, a client it fails at once and changes nothing.
    OVERLAPPED overlapped{};
    overlapped.hEvent = event.Get();
    return !ConnectNamedPipe(pipe_.Get(), &overlapped) && GetLastError() == ERROR_NO_DATA;
}

std::int32_t ClientWinPipe::StartWrite(const void* buffer, std::int32_t size, std::uint32_t timeoutMs) {
    if (closing_)
        return kFailed;
    DWORD bytes = 0;
    const BOOL completed = WriteFile(pipe_.Get(), buffer, static_cast<DWORD>(size), &bytes, Prepare(write_, size));
    return Started(write_, completed, bytes, timeoutMs);
}

OVERLAPPED* ClientWinPipe::Prepare(Direction& direction, std::int32_t size) const {
    direction.overlapped = {};
    direction.overlapped.hEvent = direction.event.Get();
    direction.size = size;
    return &direction.overlapped;
}

std::int32_t ClientWinPipe::Started(Direction& direction, BOOL completed, DWORD bytes, std::uint32_t timeoutMs) const {
    if (completed)
        return static_cast<std::int32_t>(bytes);
    const DWORD error = GetLastError();
    if (error == ERROR_IO_PENDING) {
        direction.pending = true;
        return Await(direction, timeoutMs);
    }
    return error == ERROR_BROKEN_PIPE ? kFailed : Failed(direction, "", bytes, timeoutMs);
}

// Waits for the transfer in progress and returns its result; kWritePending when it still goes on after the timeout.
std::int32_t ClientWinPipe::Await(Direction& direction, std::uint32_t timeoutMs) const {
    const std::array events{direction.event.Get(), closeEvent_.Get()};
    const DWORD index = WaitForMultipleObjects(static_cast<DWORD>(events.size()), events.data(), FALSE, timeoutMs);
    if (index == WAIT_TIMEOUT)
        return kWritePending;
    if (index != WAIT_OBJECT_0)
        CancelIoEx(pipe_.Get(), &direction.overlapped);
    return Collect(direction, index != WAIT_OBJECT_0, "error ", timeoutMs);
}

// Cancels the transfer in progress and returns its result: it may have completed before the cancel.
std::int32_t ClientWinPipe::GiveUp(Direction& direction, std::uint32_t timeoutMs) const {
    CancelIoEx(pipe_.Get(), &direction.overlapped);
    return Collect(direction, TRUE, "timeout ", timeoutMs);
}

std::int32_t ClientWinPipe::Collect(Direction& direction, BOOL wait, const char* failure,
                                    std::uint32_t timeoutMs) const {
    DWORD bytes = 0;
    const BOOL succeeded = GetOverlappedResult(pipe_.Get(), &direction.overlapped, &bytes, wait);
    const DWORD error = succeeded ? ERROR_SUCCESS : GetLastError();
    direction.pending = false;
    if (succeeded)
        return static_cast<std::int32_t>(bytes);
    // Neither a peer that went away nor our own Close is an error.
    return error == ERROR_BROKEN_PIPE || closing_ ? kFailed : Failed(direction, failure, bytes, timeoutMs);
}

std::int32_t ClientWinPipe::Failed(const Direction& direction, const char* failure, DWORD bytes,
                                   std::uint32_t timeoutMs) const {
    KIV_LOG_AS(direction.function, Logging::Error, "Cannot %s %ssize:%d, %s:%d timeout:%d server:%s client:%d",
               direction.operation, failure, direction.size, direction.progress, static_cast<int>(bytes),
               static_cast<int>(timeoutMs), serverName_.c_str(), isClient_ ? 1 : 0);
    return kFailed;
}

std::shared_ptr<ClientTransport> ClientTransport::Make(const std::string& serverName) {
    return std::make_shared<ClientWinPipe>(serverName);
}
