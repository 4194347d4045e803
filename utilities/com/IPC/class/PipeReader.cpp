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
constexpr std::size_t kMaximumIdleEntries = 8;

// The order of the events in the wait for a reply.
constexpr std::uint32_t kStopIndex = 0;
constexpr std::uint32_t kReplyIndex = 1;

}  // namespace

PipeReader::PipeReader(std::shared_ptr<ClientTransport> transport, bool useListener)
    : transport_(std::move(transport)),
      useListener_(useListener),
      stopEvent_(kivsync::Event::Make(kivsync::Reset::Manual, kivsync::Initially::Clear)) {}

PipeReader::~PipeReader() {
    StopListener();
    KIV_LOG(Logging::Info, "InternalListenerThread clean");
}

void PipeReader::SetMonitors(RequestMonitor* requests, DisconnectMonitor* disconnects) {
    requestMonitor_ = requests;
    disconnectMonitor_ = disconnects;
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
        if (!useListener_)
            return kIpcSuccess;
        listenerThread_ =
            kivsync::Thread::Start([this, first = std::move(greeting)] { InternalListenerThread(first); });
    }
    if (!listenerThread_) {
        KIV_LOG(Logging::Error, "Cannot start PipeReader listener thread");
        return kIpcFailure;
    }
    return kIpcSuccess;
}

std::int32_t PipeReader::StopListener() {
    SignalStop();
    if (!listenerThread_)
        return kIpcSuccess;
    if (!listenerThread_->Join(kListenerGraceMs)) {
        transport_->Close();
        listenerThread_->Join();
    }
    listenerThread_.reset();
    return kIpcSuccess;
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
            TellDisconnect();
        try {
            while (more && !stopped_) {
                const auto record = Read();
                more = record && !record->IsTerminate();
            }
        } catch (const std::exception& error) {
            KIV_LOG(Logging::Error, "Connection ended, its messages cannot be read: %s id:%lld pid:%lld", error.what(),
                    static_cast<long long>(id_), static_cast<long long>(pid_));
            transport_->Close();
            TellDisconnect();
        }
        stopEvent_->Wait();  // the owner decides when the reader ends
    }
    KIV_LOG(Logging::Info, "InternalListenerThread end");
    SignalStop();
}

std::shared_ptr<IPC> PipeReader::Read() {
    auto record = ReadMessage();
    if (!record) {
        TellDisconnect();
        return {};
    }
    record->SetOrigin(id_, pid_);
    Dispatch(record);
    if (record->IsTerminate())
        TellDisconnect();  // nothing follows it on the connection
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
            KIV_LOG(Logging::Error, "Disconnect in middle size:%d id:%lld pid:%lld", static_cast<int>(size),
                    static_cast<long long>(id_), static_cast<long long>(pid_));
            return {};
        }
        record = IPC::Deserialize(header, body);
    }
    if (!record) {
        KIV_LOG(Logging::Error, "Invalid message size:%u flags:%X id:%lld pid:%lld", size,
                static_cast<unsigned>(header.flags), static_cast<long long>(id_), static_cast<long long>(pid_));
        transport_->Close();  // what follows cannot be told apart any more
    }
    return record;
}

/// What a peer says comes is believed piece by piece, as it comes: a header alone costs no memory.
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

void PipeReader::Dispatch(const std::shared_ptr<IPC>& record) {
    constexpr std::int32_t kNotTaken = 1;
    if (!record->IsRequest())
        AddReply(record);
    else if (!requestMonitor_ || requestMonitor_->OnRequest(record) == kNotTaken)
        incoming_.Push(record);
}

void PipeReader::TellDisconnect() {
    if (disconnectMonitor_)
        disconnectMonitor_->OnDisconnect(0);
}

std::shared_ptr<IPC> PipeReader::TakeIncoming() {
    return incoming_.Pop();
}

std::int32_t PipeReader::BeginRequest(std::uint64_t requestId) {
    const std::scoped_lock guard(lock_);
    if (pending_.contains(requestId)) {
        KIV_LOG(Logging::Error, "Already wainting reply for this request");
        return kIpcAlreadyWaiting;
    }
    const auto entry = TakeIdleEntry();
    if (!entry) {
        KIV_LOG(Logging::Error, "Cannot create reply event ReqId:%lld", static_cast<long long>(requestId));
        return kIpcFailure;
    }
    pending_.emplace(requestId, entry);
    return kIpcSuccess;
}

std::int32_t PipeReader::EndRequest(std::uint64_t requestId) {
    const std::scoped_lock guard(lock_);
    const auto found = pending_.find(requestId);
    if (found == pending_.end()) {
        KIV_LOG(Logging::Error, "Not wainting reply for this request");
        return kIpcNotWaiting;
    }
    if (idle_.size() < kMaximumIdleEntries)
        idle_.push_back(std::move(found->second));
    pending_.erase(found);
    return kIpcSuccess;
}

std::shared_ptr<IPCRequestInfo> PipeReader::TakeIdleEntry() {
    // The thread that delivered the last reply may still be leaving an entry. References are taken under the lock and
    // from pending_ only, so a sole reference found here stays one.
    const auto isFree = [](const auto& entry) { return entry.use_count() == 1; };
    const auto found = std::find_if(idle_.begin(), idle_.end(), isFree);
    if (found == idle_.end())
        return IPCRequestInfo::Make();
    auto entry = std::move(*found);
    idle_.erase(found);
    entry->Clear();
    return entry;
}

std::shared_ptr<IPCRequestInfo> PipeReader::FindPending(std::uint64_t requestId) {
    const std::scoped_lock guard(lock_);
    const auto found = pending_.find(requestId);
    return found == pending_.end() ? nullptr : found->second;
}

std::int32_t PipeReader::AddReply(const std::shared_ptr<IPC>& reply) {
    const auto requestId = static_cast<long long>(reply->RequestId());
    const auto command = static_cast<int>(reply->Command());
    std::shared_ptr<IPCRequestInfo> entry;
    bool aborted = false;
    {
        const std::scoped_lock guard(lock_);
        const auto found = pending_.find(reply->RequestId());
        if (found != pending_.end()) {
            entry = found->second;
            aborted = entry->aborted;
            if (aborted)
                pending_.erase(found);
        }
    }
    if (entry && !aborted) {
        entry->Push(reply);
        return kIpcSuccess;
    }
    if (aborted)
        KIV_LOG(Logging::Error, "Received reply for an aborted request! ReqId:%lld cmd:%d", requestId, command);
    else
        KIV_LOG(Logging::Error, "Received reply for an unknow request! ReqId:%lld cmd:%d id:%lld pid:%lld ", requestId,
                command, static_cast<long long>(reply->ClientId()), static_cast<long long>(reply->Pid()));
    IPC::PrintStats(true);
    return kIpcSuccess;
}

std::shared_ptr<IPC> PipeReader::GetReply(std::uint64_t requestId, std::uint32_t timeoutMs) {
    const auto entry = FindPending(requestId);
    if (!entry) {
        KIV_LOG(Logging::Error, "Invalid request id. Please call BeginRequest before waiting for one!");
        return {};
    }
    auto reply = WaitForReply(*entry, requestId, timeoutMs);
    if (!reply)
        Abandon(requestId);
    IPC::PrintStats(reply == nullptr);
    return reply;
}

std::shared_ptr<IPC> PipeReader::ReadReply(std::uint64_t requestId) {
    const auto entry = FindPending(requestId);
    while (entry && entry->IsEmpty() && Read()) {
    }
    if (entry && entry->IsEmpty())
        SignalStop();  // the connection ended: nothing is left to wait for
    return GetReply(requestId, kivsync::kInfinite);
}

std::shared_ptr<IPC> PipeReader::WaitForReply(IPCRequestInfo& entry, std::uint64_t requestId, std::uint32_t timeoutMs) {
    const auto id = static_cast<long long>(requestId);
    const auto timeout = static_cast<int>(timeoutMs);
    for (int wakes = 0; wakes < kMaximumSpuriousWakes; ++wakes) {
        if (auto reply = entry.PopOrAwait())
            return reply;
        const auto index = kivsync::WaitAny({stopEvent_.get(), entry.ReplyEvent()}, timeoutMs);
        // Whatever ended the wait: a reply that made it is given out, also when the peer closed right behind it.
        if (auto reply = entry.Pop())
            return reply;
        if (index == kReplyIndex)
            continue;
        if (index == kStopIndex)
            KIV_LOG(Logging::Error, "Received stop event ReqId:%lld timeout:%d", id, timeout);
        else if (index == kivsync::kWaitTimeout)
            KIV_LOG(Logging::Error, "Timeout in IPC reply ReqId:%lld timeout:%d", id, timeout);
        else
            KIV_LOG(Logging::Error, "Wait other in reply ReqId:%lld timeout:%d idx:%X", id, timeout, index);
        return {};
    }
    KIV_LOG(Logging::Error, "Cannot get IPC reply");
    return {};
}

void PipeReader::Abandon(std::uint64_t requestId) {
    const std::scoped_lock guard(lock_);
    const auto found = pending_.find(requestId);
    if (found == pending_.end())
        return;
    found->second->aborted = true;
    // An entry without a reply stays, so that the late reply finds whom it was meant for.
    if (!found->second->IsEmpty())
        pending_.erase(found);
}
