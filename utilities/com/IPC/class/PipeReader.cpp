#include "IPC/class/PipeReader.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "IPC/transport/WholeTransfer.h"
#include "utils/logging/Logger.h"
#include "utils/platform/Deadline.h"

namespace {

constexpr std::uint32_t kListenerGraceMs = 100;  // for the listener to end by itself

constexpr const char* kRead = "PipeReader::Read";  // the function that the log lines of its helpers name

}  // namespace

PipeReader::PipeReader(std::shared_ptr<ClientTransport> transport, RequestMonitor& requests,
                       DisconnectMonitor& disconnects)
    : transport_(std::move(transport)), requestMonitor_(requests), disconnectMonitor_(disconnects) {}

PipeReader::~PipeReader() {
    StopListener();
    KIV_LOG(Logging::Info, "InternalListenerThread clean");
}

void PipeReader::SetIds(std::uint64_t id, std::uint64_t pid) {
    id_ = id;
    pid_ = pid;
}

std::int32_t PipeReader::StartListener(std::function<bool()> greeting) {
    if (listenerThread_)
        return kIpcFailure;
    state_.Lock()->stopped = false;
    listenerThread_ = kivsync::Thread::Start([this, first = std::move(greeting)] { InternalListenerThread(first); });
    if (!listenerThread_) {
        KIV_LOG(Logging::Error, "Cannot start PipeReader listener thread");
        return kIpcFailure;
    }
    return kIpcSuccess;
}

void PipeReader::StopListener() {
    SignalStop();
    if (!listenerThread_)
        return;
    if (!listenerThread_->Join(kListenerGraceMs)) {
        transport_->Close();
        listenerThread_->Join();
    }
    listenerThread_.reset();
}

void PipeReader::SignalStop() {
    state_.Lock()->stopped = true;
    state_.NotifyAll();
}

void PipeReader::InternalListenerThread(const std::function<bool()>& greeting) {
    if (!IsStopped()) {
        try {
            for (bool more = !greeting || greeting(); more && !IsStopped();)
                more = Read();
        } catch (const std::exception& error) {
            KIV_LOG(Logging::Error, "Connection ended, its messages cannot be read: %s id:%lld pid:%lld", error.what(),
                    static_cast<long long>(id_), static_cast<long long>(pid_));
            transport_->Close();
        }
        disconnectMonitor_.OnDisconnect(0);
        auto state = state_.Lock();
        state.Wait([&] { return state->stopped; });  // the owner decides when the thread ends
    }
    KIV_LOG(Logging::Info, "InternalListenerThread end");
    SignalStop();
}

bool PipeReader::Read() {
    const auto record = ReadMessage();
    if (!record)
        return false;
    record->SetOrigin(id_, pid_);
    if (record->IsRequest())
        requestMonitor_.OnRequest(record);
    else
        AddReply(record);
    return !record->IsTerminate();
}

std::shared_ptr<IPC> PipeReader::ReadMessage() {
    ipc_header header{};
    if (!ReadBytes(&header, sizeof header))
        return {};
    const std::uint32_t size = header.size;
    std::shared_ptr<IPC> record;
    if (size <= kIpcMaximumSize) {
        IPCPayload body;
        if (!ReadBody(body, size)) {
            KIV_LOG_AS(kRead, Logging::Error, "Disconnect in middle size:%d id:%lld pid:%lld", static_cast<int>(size),
                       static_cast<long long>(id_), static_cast<long long>(pid_));
            return {};
        }
        record = IPC::Deserialize(header, body);
    }
    if (!record) {
        KIV_LOG_AS(kRead, Logging::Error, "Invalid message size:%u flags:%X id:%lld pid:%lld", size,
                   static_cast<unsigned>(header.flags), static_cast<long long>(id_), static_cast<long long>(pid_));
        transport_->Close();  // the beginning of the next message cannot be found any more
    }
    return record;
}

// The body grows as its bytes arrive: a header that declares 16 MiB must not make us allocate them.
bool PipeReader::ReadBody(IPCPayload& body, std::size_t size) {
    while (body.size() < size) {
        const auto have = body.size();
        body.resize(std::min(size, have + kBodyPiece));
        if (!ReadBytes(body.data() + have, body.size() - have))
            return false;
    }
    return true;
}

bool PipeReader::ReadBytes(void* target, std::size_t size) {
    auto* next = static_cast<std::uint8_t*>(target);
    for (;;) {
        const auto taken = std::min(size, aheadEnd_ - aheadBegin_);
        next = std::copy_n(ahead_.begin() + static_cast<std::ptrdiff_t>(aheadBegin_), taken, next);
        aheadBegin_ += taken;
        size -= taken;
        if (size == 0)
            return true;
        const auto wanted = static_cast<std::int32_t>(size);
        if (wanted >= kReadAheadSize)
            return ReadWhole(*transport_, next, wanted, platform::kInfinite);
        // Zero bytes do not mean the end of the stream: a peer may write an empty buffer.
        const auto bytes = transport_->ReadAhead(ahead_.data(), wanted, kReadAheadSize, platform::kInfinite);
        if (bytes < 0)
            return false;
        aheadBegin_ = 0;
        aheadEnd_ = static_cast<std::size_t>(bytes);
    }
}

std::int32_t PipeReader::BeginRequest(std::uint64_t requestId) {
    if (state_.Lock()->pending.emplace(requestId, std::make_shared<IPCRequestInfo>()).second)
        return kIpcSuccess;
    KIV_LOG(Logging::Error, "Already wainting reply for this request");
    return kIpcAlreadyWaiting;
}

std::int32_t PipeReader::EndRequest(std::uint64_t requestId) {
    if (state_.Lock()->pending.erase(requestId) != 0)
        return kIpcSuccess;
    KIV_LOG(Logging::Error, "Not wainting reply for this request");
    return kIpcNotWaiting;
}

void PipeReader::AddReply(const std::shared_ptr<IPC>& reply) {
    bool aborted = false;
    {
        auto state = state_.Lock();
        const auto found = state->pending.find(reply->RequestId());
        const bool known = found != state->pending.end();
        aborted = known && found->second->aborted;
        if (known && !aborted) {
            found->second->replies.push_back(reply);
            state.Unlock();  // before the notification, since the woken thread takes the lock at once
            state_.NotifyAll();
            return;
        }
        if (aborted)
            state->pending.erase(found);
    }
    const auto requestId = static_cast<long long>(reply->RequestId());
    const auto command = static_cast<int>(reply->Command());
    if (aborted)
        KIV_LOG(Logging::Error, "Received reply for an aborted request! ReqId:%lld cmd:%d", requestId, command);
    else
        KIV_LOG(Logging::Error, "Received reply for an unknow request! ReqId:%lld cmd:%d id:%lld pid:%lld ", requestId,
                command, static_cast<long long>(reply->ClientId()), static_cast<long long>(reply->Pid()));
    IPC::PrintStats(true);
}

std::shared_ptr<IPC> PipeReader::GetReply(std::uint64_t requestId, std::uint32_t timeoutMs) {
    auto state = state_.Lock();
    const auto found = state->pending.find(requestId);
    if (found == state->pending.end()) {
        state.Unlock();
        KIV_LOG(Logging::Error, "Invalid request id. Please call BeginRequest before waiting for one!");
        return {};
    }
    const auto request = found->second;
    state.Wait(timeoutMs, [&] { return !request->replies.empty() || state->stopped; });
    std::shared_ptr<IPC> reply;
    // A reply that has arrived is returned whatever ended the wait, also when the peer closed right after it.
    if (!request->replies.empty()) {
        reply = std::move(request->replies.front());
        request->replies.pop_front();
    }
    request->aborted = !reply;  // it stays in the table until EndRequest, for the log line of a late reply
    const bool stopped = state->stopped;
    state.Unlock();
    if (!reply && stopped)
        KIV_LOG(Logging::Error, "Received stop event ReqId:%lld timeout:%d", static_cast<long long>(requestId),
                static_cast<int>(timeoutMs));
    else if (!reply)
        KIV_LOG(Logging::Error, "Timeout in IPC reply ReqId:%lld timeout:%d", static_cast<long long>(requestId),
                static_cast<int>(timeoutMs));
    IPC::PrintStats(!reply);
    return reply;
}
