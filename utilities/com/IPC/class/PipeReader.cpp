#include "IPC/class/PipeReader.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "IPC/transport/WholeTransfer.h"
#include "utils/logging/Logger.h"
#include "utils/sync/WaitAny.h"

namespace {

constexpr std::uint32_t kListenerGraceMs = 100;  // for the listener to end by itself
constexpr int kMaximumSpuriousWakes = 10;
constexpr std::size_t kMaximumIdleEvents = 8;

// The order of the events in the wait for a reply.
constexpr std::uint32_t kStopIndex = 0;
constexpr std::uint32_t kReplyIndex = 1;

// The operations whose name the lines of their parts bear.
constexpr const char* kRead = "PipeReader::Read";
constexpr const char* kGetReply = "PipeReader::GetReply";

}  // namespace

PipeReader::PipeReader(std::shared_ptr<ClientTransport> transport, RequestMonitor& requests,
                       DisconnectMonitor& disconnects)
    : transport_(std::move(transport)),
      requestMonitor_(requests),
      disconnectMonitor_(disconnects),
      stopEvent_(kivsync::Event::Make(kivsync::Reset::Manual, kivsync::Initially::Clear)) {}

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
    if (stopEvent_) {
        stopEvent_->Reset();
        stopped_ = false;
        listenerThread_ =
            kivsync::Thread::Start([this, first = std::move(greeting)] { InternalListenerThread(first); });
    }
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
    stopped_ = true;
    if (stopEvent_)
        stopEvent_->Set();
}

void PipeReader::InternalListenerThread(const std::function<bool()>& greeting) {
    if (!stopped_) {
        bool more = !greeting || greeting();
        if (!more)
            disconnectMonitor_.OnDisconnect(0);
        try {
            while (more && !stopped_) {
                const auto record = Read();
                more = record && !record->IsTerminate();
            }
        } catch (const std::exception& error) {
            KIV_LOG(Logging::Error, "Connection ended, its messages cannot be read: %s id:%lld pid:%lld", error.what(),
                    static_cast<long long>(id_), static_cast<long long>(pid_));
            transport_->Close();
            disconnectMonitor_.OnDisconnect(0);
        }
        stopEvent_->Wait();  // the owner decides when the reader ends
    }
    KIV_LOG(Logging::Info, "InternalListenerThread end");
    SignalStop();
}

std::shared_ptr<IPC> PipeReader::Read() {
    auto record = ReadMessage();
    if (!record) {
        disconnectMonitor_.OnDisconnect(0);
        return {};
    }
    record->SetOrigin(id_, pid_);
    if (record->IsRequest())
        requestMonitor_.OnRequest(record);
    else
        AddReply(record);
    if (record->IsTerminate())
        disconnectMonitor_.OnDisconnect(0);  // nothing follows it on the connection
    return record;
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
        transport_->Close();  // what follows cannot be told apart any more
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
            return ReadWhole(*transport_, next, wanted, kivsync::kInfinite);
        // Zero bytes are no end of the stream: a peer may write nothing at all.
        const auto bytes = transport_->ReadAhead(ahead_.data(), wanted, kReadAheadSize, kivsync::kInfinite);
        if (bytes < 0)
            return false;
        aheadBegin_ = 0;
        aheadEnd_ = static_cast<std::size_t>(bytes);
    }
}

std::int32_t PipeReader::BeginRequest(std::uint64_t requestId) {
    auto state = state_.Lock();
    if (state->pending.contains(requestId)) {
        KIV_LOG(Logging::Error, "Already wainting reply for this request");
        return kIpcAlreadyWaiting;
    }
    const auto request = std::make_shared<IPCRequestInfo>();
    if (state->idleEvents.empty()) {
        request->replyEvent = kivsync::Event::Make(kivsync::Reset::Auto, kivsync::Initially::Clear);
    } else {
        // It may still be set by its last request, which costs one wait that ends without a reply.
        request->replyEvent = std::move(state->idleEvents.back());
        state->idleEvents.pop_back();
    }
    if (!request->replyEvent) {
        KIV_LOG(Logging::Error, "Cannot create reply event ReqId:%lld", static_cast<long long>(requestId));
        return kIpcFailure;
    }
    state->pending.emplace(requestId, request);
    return kIpcSuccess;
}

std::int32_t PipeReader::EndRequest(std::uint64_t requestId) {
    auto state = state_.Lock();
    const auto found = state->pending.find(requestId);
    if (found == state->pending.end()) {
        KIV_LOG(Logging::Error, "Not wainting reply for this request");
        return kIpcNotWaiting;
    }
    if (state->idleEvents.size() < kMaximumIdleEvents)
        state->idleEvents.push_back(found->second->replyEvent);
    state->pending.erase(found);
    return kIpcSuccess;
}

void PipeReader::AddReply(const std::shared_ptr<IPC>& reply) {
    bool aborted = false;
    {
        auto state = state_.Lock();
        const auto found = state->pending.find(reply->RequestId());
        const bool known = found != state->pending.end();
        aborted = known && found->second->aborted;
        if (known && !aborted) {
            const auto request = found->second;
            request->replies.push_back(reply);
            const bool wake = std::exchange(request->awaited, false);
            state.Guard().unlock();  // the woken thread takes it at once
            if (wake)
                request->replyEvent->Set();
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
    std::shared_ptr<IPCRequestInfo> request;
    {
        auto state = state_.Lock();
        if (const auto found = state->pending.find(requestId); found != state->pending.end())
            request = found->second;
    }
    if (!request) {
        KIV_LOG(Logging::Error, "Invalid request id. Please call BeginRequest before waiting for one!");
        return {};
    }
    auto reply = WaitForReply(*request, requestId, timeoutMs);
    if (!reply) {
        auto state = state_.Lock();
        request->aborted = true;
        // A request without a reply stays, so that the late reply finds whom it was meant for.
        if (!request->replies.empty())
            state->pending.erase(requestId);
    }
    IPC::PrintStats(reply == nullptr);
    return reply;
}

std::shared_ptr<IPC> PipeReader::TakeReply(IPCRequestInfo& request) {
    auto state = state_.Lock();
    request.awaited = request.replies.empty();
    if (request.awaited)
        return {};
    auto reply = std::move(request.replies.front());
    request.replies.pop_front();
    return reply;
}

std::shared_ptr<IPC> PipeReader::WaitForReply(IPCRequestInfo& request, std::uint64_t requestId,
                                              std::uint32_t timeoutMs) {
    const auto id = static_cast<long long>(requestId);
    const auto timeout = static_cast<int>(timeoutMs);
    auto reply = TakeReply(request);
    for (int wakes = 0; !reply && wakes < kMaximumSpuriousWakes; ++wakes) {
        const auto index = kivsync::WaitAny({stopEvent_.get(), request.replyEvent.get()}, timeoutMs);
        // Whatever ended the wait: a reply that made it is given out, also when the peer closed right behind it.
        reply = TakeReply(request);
        if (reply || index == kReplyIndex)
            continue;
        if (index == kStopIndex)
            KIV_LOG_AS(kGetReply, Logging::Error, "Received stop event ReqId:%lld timeout:%d", id, timeout);
        else if (index == kivsync::kWaitTimeout)
            KIV_LOG_AS(kGetReply, Logging::Error, "Timeout in IPC reply ReqId:%lld timeout:%d", id, timeout);
        else
            KIV_LOG_AS(kGetReply, Logging::Error, "Wait other in reply ReqId:%lld timeout:%d idx:%X", id, timeout,
                       index);
        return {};
    }
    if (!reply)
        KIV_LOG_AS(kGetReply, Logging::Error, "Cannot get IPC reply");
    return reply;
}
