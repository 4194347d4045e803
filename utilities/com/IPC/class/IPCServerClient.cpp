#include "IPC/class/IPCServerClient.h"

#include <algorithm>
#include <array>
#include <utility>

#include "IPC/transport/WholeTransfer.h"
#include "utils/class/GlobalSettings.h"
#include "utils/logging/Logger.h"
#include "utils/platform/Platform.h"
#include "utils/sync/WaitAny.h"

namespace {

constexpr std::uint32_t kDirectWriteMs = 5;                    // how long a sender waits for the client itself
constexpr std::size_t kMaximumBacklogBytes = kIpcMaximumSize;  // of the messages that wait for a client
constexpr std::size_t kMaximumWaitingRequests = 65536;         // bytes; the client is not read while more wait
constexpr std::size_t kRequestWeight = 1024;                   // bytes, beside the payload: each takes its time

constexpr std::uint32_t kTickMs = 20;

std::size_t Weight(const IPC& request) {
    return kRequestWeight + request.Payload().size();
}

}  // namespace

IPCServerClient::IPCServerClient(std::string serverName, std::uint64_t connectionId,
                                 std::shared_ptr<ClientTransport> transport, RequestMonitor& requests,
                                 DisconnectMonitor& disconnects)
    : serverName_(std::move(serverName)),
      connectionId_(connectionId),
      transport_(std::move(transport)),
      requestMonitor_(requests),
      disconnectMonitor_(disconnects),
      reader_(transport_, true) {}

IPCServerClient::~IPCServerClient() {
    KIV_LOG(Logging::Info, "~IPCServerClient");
    Close();
    reader_.StopListener();
    // Each member thread finds the transport closed; nothing starts a further one.
    terminateThread_.reset();
    drainThread_.reset();
}

std::int32_t IPCServerClient::Start() {
    reader_.SetMonitors(this, this);
    return reader_.StartListener([this] { return Handshake(); });
}

bool IPCServerClient::Handshake() {
    const std::array<wire::u64, 2> ids{connectionId_, platform::CurrentProcessId()};
    if (transport_->Write(ids.data(), sizeof ids, kivsync::kInfinite) != static_cast<std::int32_t>(sizeof ids))
        return false;
    wire::u64 clientProcessId;
    if (!ReadWhole(*transport_, &clientProcessId, sizeof clientProcessId, kivsync::kInfinite))
        return false;
    processId_ = clientProcessId;
    reader_.SetIds(connectionId_, processId_);
    handshakeDone_ = true;
    return true;
}

bool IPCServerClient::SetEnded() {
    bool endedBefore = false;
    {
        const std::scoped_lock guard(requestsLock_);
        endedBefore = ended_.exchange(true);
    }
    requestTaken_.notify_all();
    return endedBefore;
}

void IPCServerClient::End() {
    if (SetEnded())
        return;
    transport_->Close();
    disconnectMonitor_.OnDisconnect(connectionId_);
}

void IPCServerClient::Close() {
    SetEnded();
    transport_->Close();
}

void IPCServerClient::OnDisconnect(std::uint64_t) {
    // The answer to the terminate request is still to be sent; its thread ends the connection.
    if (!terminating_)
        End();
}

std::int32_t IPCServerClient::OnRequest(const std::shared_ptr<IPC>& request) {
    if (!request->IsTerminate()) {
        {
            const std::scoped_lock guard(requestsLock_);
            waitingRequests_ += Weight(*request);
        }
        const auto result = requestMonitor_.OnRequest(request);
        std::unique_lock guard(requestsLock_);
        requestTaken_.wait(guard, [this] { return ended_ || waitingRequests_ <= kMaximumWaitingRequests; });
        return result;
    }
    terminating_ = true;
    terminateThread_ = kivsync::Thread::Start([this, request] { AnswerTerminate(*request); });
    if (!terminateThread_) {
        KIV_LOG(Logging::Error, "Cannot start terminate thread for client %X", static_cast<unsigned>(connectionId_));
        terminating_ = false;
    }
    return kIpcSuccess;
}

void IPCServerClient::RequestTaken(const IPC& request) {
    {
        const std::scoped_lock guard(requestsLock_);
        // Never below nothing: the request may be of an earlier connection that had the same id.
        waitingRequests_ -= std::min(waitingRequests_, Weight(request));
    }
    requestTaken_.notify_all();
}

void IPCServerClient::AnswerTerminate(const IPC& request) {
    const auto id = static_cast<long long>(connectionId_);
    const auto pid = static_cast<long long>(processId_);
    KIV_LOG(Logging::Info, "OnRequest terminate handling id:%lld pid:%lld", id, pid);
    if (Send(std::make_shared<const IPCPayload>(IPC::Reply(request)->Serialize())) != kIpcSuccess)
        KIV_LOG(Logging::Error, "Cannot send terminate reply for client %X", static_cast<unsigned>(connectionId_));
    {
        std::unique_lock guard(writeLock_);
        backlogDone_.wait(guard, [this] { return backlog_.empty(); });
    }
    const bool endedBefore = SetEnded();
    if (transport_->Close() != 0)
        KIV_LOG(Logging::Error, "Cannot close client %X", static_cast<unsigned>(connectionId_));
    KIV_LOG(Logging::Info, "OnRequest terminate set event id:%lld pid:%lld", id, pid);
    if (!endedBefore)
        disconnectMonitor_.OnDisconnect(connectionId_);
}

std::int32_t IPCServerClient::Send(const std::shared_ptr<const IPCPayload>& message) {
    if (!IsServing())
        return kIpcFailure;
    const std::int32_t result = WriteOrQueue(message);
    if (result != kIpcSuccess)
        End();
    return result;
}

std::int32_t IPCServerClient::WriteOrQueue(const std::shared_ptr<const IPCPayload>& message) {
    const std::scoped_lock guard(writeLock_);
    if (!backlog_.empty()) {
        if (backlogBytes_ + message->size() > kMaximumBacklogBytes) {
            KIV_LOG(Logging::Error, "Too much waits for the client, connection ended id:%lld pid:%lld server:%s",
                    static_cast<long long>(connectionId_), static_cast<long long>(processId_), serverName_.c_str());
            return kIpcFailure;
        }
        Queue(message);
        return kIpcSuccess;
    }
    const auto size = static_cast<std::int32_t>(message->size());
    const std::int32_t written = transport_->BeginWrite(message->data(), size, kDirectWriteMs);
    if (written == size)
        return kIpcSuccess;
    if (written != ClientTransport::kWritePending)
        return kIpcFailure;
    drainThread_ = kivsync::Thread::Start([this] { DrainBacklog(); });  // its predecessor has done its work
    if (!drainThread_) {
        KIV_LOG(Logging::Error, "Cannot start writing thread for client %X", static_cast<unsigned>(connectionId_));
        transport_->Close();  // ends the write before its bytes go
        return kIpcFailure;
    }
    Queue(message);
    return kIpcSuccess;
}

void IPCServerClient::Queue(const std::shared_ptr<const IPCPayload>& message) {
    const auto timeout = std::chrono::milliseconds(GlobalSettings::Get().ipcTimeout);
    backlog_.push_back({message, Clock::now() + timeout});
    backlogBytes_ += message->size();
}

void IPCServerClient::DrainBacklog() {
    bool underWay = true;
    for (;;) {
        QueuedMessage message;
        {
            const std::scoped_lock guard(writeLock_);
            message = backlog_.front();
        }
        const bool written = FinishBacklogWrite(message, std::exchange(underWay, false));
        if (!written)
            End();  // before the backlog opens again: nothing may follow a message that was cut short
        const std::scoped_lock guard(writeLock_);
        if (written)
            backlog_.pop_front();
        else
            backlog_.clear();
        backlogBytes_ = backlog_.empty() ? 0 : backlogBytes_ - message.bytes->size();
        if (backlog_.empty()) {
            backlogDone_.notify_all();
            return;
        }
    }
}

bool IPCServerClient::FinishBacklogWrite(const QueuedMessage& message, bool underWay) {
    using std::chrono::milliseconds;
    const auto left = std::chrono::ceil<milliseconds>(message.deadline - Clock::now());
    const auto timeoutMs = static_cast<std::uint32_t>(std::max(left, milliseconds(0)).count());
    const auto size = static_cast<std::int32_t>(message.bytes->size());
    const std::int32_t written =
        underWay ? transport_->FinishWrite(timeoutMs) : transport_->Write(message.bytes->data(), size, timeoutMs);
    if (written == size)
        return true;
    // A client that is gone is no news. A wait may end a tick of the system's clock before its time.
    if (!ended_ && Clock::now() + milliseconds(kTickMs) >= message.deadline)
        KIV_LOG(Logging::Error, "Client does not take its messages, connection ended id:%lld pid:%lld server:%s",
                static_cast<long long>(connectionId_), static_cast<long long>(processId_), serverName_.c_str());
    return false;
}
