#include "IPC/class/MessageSender.h"

#include <utility>

#include "utils/class/GlobalSettings.h"
#include "utils/logging/Logger.h"

namespace {

constexpr std::uint32_t kDirectWriteMs = 5;                    // how long the sending thread itself waits for a client
constexpr std::size_t kMaximumBacklogBytes = kIpcMaximumSize;  // of the messages that wait for one client
constexpr std::uint32_t kTickMs = 20;                          // a wait may end this much before its timeout

}  // namespace

MessageSender::MessageSender(ClientTransport& transport, const IPCPeer& peer, std::function<void()> failed)
    : transport_(transport), peer_(peer), failed_(std::move(failed)) {}

MessageSender::Result MessageSender::Send(const Message& message, Begin begin) {
    {
        auto state = state_.Lock();
        if (state->closed)
            return Result::Gone;
        if (!state->backlog.empty() && state->bytes + message->size() > kMaximumBacklogBytes) {
            KIV_LOG(Logging::Error, "Too much waits for the client, connection ended id:%lld pid:%lld server:%s",
                    static_cast<long long>(peer_.connectionId), static_cast<long long>(peer_.processId),
                    peer_.server.c_str());
            return Result::Refused;
        }
        if (state->backlog.empty() && begin == Begin::Here) {
            const auto size = static_cast<std::int32_t>(message->size());
            const auto written = transport_.BeginWrite(message->data(), size, kDirectWriteMs);
            if (written == size)
                return Result::Sent;
            if (written != ClientTransport::kWritePending)
                return Result::Gone;
            state->underWay = true;
        }
        if (!state->writer)
            state->writer = kivsync::Thread::Start([this] { WriteBacklog(); });
        if (!state->writer) {
            KIV_LOG(Logging::Error, "Cannot start writing thread for client %X",
                    static_cast<unsigned>(peer_.connectionId));
            transport_.Close();  // ends a write in progress before its buffer is freed
            return Result::Refused;
        }
        state->backlog.push_back({message, platform::Deadline(GlobalSettings::Get().ipcTimeout)});
        state->bytes += message->size();
    }
    state_.NotifyAll();
    return Result::Sent;
}

void MessageSender::WriteBacklog() {
    for (bool written = true; written;) {
        auto state = state_.Lock();
        state.Wait([&] { return state->closed || !state->backlog.empty(); });
        if (state->closed)
            return;
        const auto message = state->backlog.front();
        const bool underWay = std::exchange(state->underWay, false);
        state.Unlock();
        written = Write(message, underWay);
        state.Relock();
        state->closed |= !written;
        if (!state->backlog.empty())
            state->backlog.pop_front();
        state->bytes -= message.bytes->size();
        state_.NotifyAll();
    }
    failed_();
}

bool MessageSender::Write(const Queued& message, bool underWay) {
    const auto size = static_cast<std::int32_t>(message.bytes->size());
    const auto timeoutMs = message.deadline.LeftMs();
    const auto written =
        underWay ? transport_.FinishWrite(timeoutMs) : transport_.Write(message.bytes->data(), size, timeoutMs);
    if (written == size)
        return true;
    // A client that has gone needs no log line.
    if (!state_.Lock()->closed && message.deadline.LeftMs() <= kTickMs)
        KIV_LOG(Logging::Error, "Client does not take its messages, connection ended id:%lld pid:%lld server:%s",
                static_cast<long long>(peer_.connectionId), static_cast<long long>(peer_.processId),
                peer_.server.c_str());
    return false;
}

void MessageSender::AwaitEmpty() {
    auto state = state_.Lock();
    state.Wait([&] { return state->closed || state->backlog.empty(); });
}

void MessageSender::Close() {
    state_.Lock()->closed = true;
    state_.NotifyAll();
}

void MessageSender::AwaitFinish() {
    const auto writer = std::move(state_.Lock()->writer);  // its destructor joins the thread, without the lock
}

bool MessageSender::HasFinished() {
    auto state = state_.Lock();
    return !state->writer || state->writer->Join(0);
}
