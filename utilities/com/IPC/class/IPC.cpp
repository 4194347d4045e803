#include "IPC/class/IPC.h"

#include <atomic>
#include <utility>

#include "utils/platform/Platform.h"

namespace {

std::uint64_t NextRequestId() {
    static std::atomic<std::uint64_t> counter{0};
    return counter.fetch_add(1);
}

// The subtraction is unsigned: if a peer's clock ran backwards, the result is absurdly large, not small and plausible.
double Seconds(std::int64_t from, std::int64_t to, std::int64_t frequency) {
    const auto ticks = static_cast<std::uint64_t>(to) - static_cast<std::uint64_t>(from);
    return static_cast<double>(ticks) / static_cast<double>(frequency);
}

}  // namespace

std::shared_ptr<IPC> IPC::Make(std::uint32_t flags, std::uint32_t command, IPCPayload payload, std::uint32_t aux) {
    auto request = std::make_shared<IPC>();
    request->AddFlags(flags);
    request->header_.requestId = NextRequestId();
    request->header_.aux = aux;
    request->header_.command = command;
    request->SetPayload(std::move(payload));
    return request;
}

std::shared_ptr<IPC> IPC::Reply(const IPC& request, IPCPayload payload) {
    auto reply = std::make_shared<IPC>(request);
    reply->MarkReply();
    reply->SetPayload(std::move(payload));
    return reply;
}

void IPC::EnableMeasurement() {
    AddFlags(kFlagTiming);
    SetPayload(std::move(payload_));
}

void IPC::SetPayload(IPCPayload payload) {
    payload_ = std::move(payload);
    const std::size_t timing = (Flags() & kFlagTiming) != 0 ? sizeof(ipc_timing) : 0;
    header_.size = static_cast<std::uint32_t>(payload_.size() + timing);
}

IPCPayload IPC::Serialize() {
    IPCPayload message;
    message.reserve(sizeof(ipc_header) + Size());
    wire::Append(message, header_);
    // A record that was received without a body has no timing block, even if its flags declare one.
    if ((Flags() & kFlagTiming) != 0 && Size() >= sizeof timing_) {
        (IsRequest() ? timing_.requestSentTime : timing_.replySentTime) = platform::CounterTicks();
        wire::Append(message, timing_);
    }
    message.insert(message.end(), payload_.begin(), payload_.end());
    return message;
}

std::shared_ptr<IPC> IPC::Deserialize(const ipc_header& header, std::span<const std::uint8_t> body) {
    auto record = std::make_shared<IPC>();
    record->header_ = header;
    if (body.empty())
        return record;
    if ((record->Flags() & kFlagTiming) != 0) {
        const auto timing = wire::Decode<ipc_timing>(body);
        if (!timing)
            return {};
        record->timing_ = *timing;
        body = body.subspan(sizeof(ipc_timing));
        const std::int64_t now = platform::CounterTicks();
        if (record->IsRequest()) {
            record->timing_.requestReceivedTime = now;
        } else {
            const auto frequency = platform::CounterFrequency();
            CalculateStats(Seconds(timing->requestSentTime, timing->requestReceivedTime, frequency),
                           Seconds(timing->replySentTime, now, frequency),
                           Seconds(timing->requestSentTime, now, frequency),
                           (record->Flags() & kFlagLogMeasurement) != 0);
        }
    }
    record->payload_.assign(body.begin(), body.end());
    return record;
}
