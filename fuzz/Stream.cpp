// Any bytes from a client to a server that answers. After whole messages the connection must still be served, and the
// server must serve another client after any bytes.
#include <thread>

#include "Fuzz.h"
#include "IPC/class/IPCClient.h"
#include "IPC/class/IPCServer.h"
#include "IPC/transport/WholeTransfer.h"
#include "utils/class/GlobalSettings.h"

namespace {

constexpr const char* kServerName = "stream";
constexpr std::uint32_t kLargestCompleted = 1u << 16;  // bytes: the longest body that the target completes

struct Served {
    Served() {
        DroppingSink::Install();
        Require(server.Start(kServerName) == 0);
        std::thread([this] {
            while (const auto request = server.GetRequest()) {
                const auto reply = server.AnswerBuiltIn(*request, 7);
                if (request->ExpectsReply())
                    server.SendReply(reply ? reply : IPC::Reply(*request, request->Payload()));
            }
        }).detach();
        Require(other->Connect(kServerName) == 0);
    }
    IPCServer server;
    const std::shared_ptr<IPCClient> other = std::make_shared<IPCClient>();
};

/// Completes the last message with zero bytes. False when a message ends the connection or is too long to complete.
bool CompleteMessages(IPCPayload& stream) {
    for (std::size_t at = 0; at < stream.size();) {
        stream.resize(std::max(stream.size(), at + sizeof(ipc_header)));
        const auto header = *wire::Decode<ipc_header>(stream, at);
        const bool cutTiming =
            (header.flags & IPC::kFlagTiming) != 0 && header.size != 0 && header.size < sizeof(ipc_timing);
        if (header.size > kLargestCompleted || (header.flags & IPC::kFlagTerminate) != 0 || cutTiming)
            return false;
        at += sizeof(ipc_header) + header.size;
        stream.resize(std::max(stream.size(), at));
    }
    return true;
}

/// Reads replies until the one to `question` comes; false when it does not come.
bool IsAnswered(ClientTransport& pipe, const IPC& question) {
    ipc_header header;
    while (ReadWhole(pipe, &header, sizeof header, kPatienceMs)) {
        IPCPayload body(header.size);
        if (!ReadWhole(pipe, body.data(), static_cast<std::int32_t>(body.size()), kPatienceMs))
            return false;
        if (header.requestId == question.RequestId() && header.command == question.Command() &&
            body == question.Payload())
            return true;
    }
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static auto& served = *new Served;  // its thread runs until the process ends
    const auto pipe = ClientTransport::Make(kServerName);
    std::array<wire::u64, 3> ids{};  // two from the server, then the client's own
    constexpr auto kGreetingSize = static_cast<std::int32_t>(2 * sizeof(wire::u64));
    constexpr auto kIdSize = static_cast<std::int32_t>(sizeof(wire::u64));
    Require(pipe->Connect(kPatienceMs) == 0 && ReadWhole(*pipe, ids.data(), kGreetingSize, kPatienceMs) &&
            pipe->Write(&ids.back(), kIdSize, kPatienceMs) == kIdSize);

    IPCPayload stream(data, data + size);
    const bool complete = CompleteMessages(stream);
    const auto question = IPC::Request(kIpcAliveCheck, {'s', 't', 'i', 'l', 'l', '?'});
    if (complete) {
        const auto message = question->Serialize();
        stream.insert(stream.end(), message.begin(), message.end());
    }
    pipe->Write(stream.data(), static_cast<std::int32_t>(stream.size()), kPatienceMs);
    Require(!complete || IsAnswered(*pipe, *question));
    pipe->Close();
    Require(served.other->CheckAlive() == 0);
    return 0;
}
