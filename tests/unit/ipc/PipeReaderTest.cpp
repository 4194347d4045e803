#include "IPC/class/PipeReader.h"

#include "IPC/transport/ServerTransport.h"
#include "unit/ipc/Peers.h"

namespace {

constexpr std::uint64_t kId = 7;

Bytes Message(std::uint32_t flags, std::uint32_t size, const Bytes& body, std::uint64_t id = kId) {
    auto message = wire::Encode(ipc_header{flags, id, 0, 9, size});
    std::copy(body.begin(), body.end(), std::back_inserter(message));
    return message;
}

std::shared_ptr<IPC> ReplyTo(std::uint64_t id, std::uint8_t content) {
    const Bytes body{content};
    return IPC::Deserialize(ipc_header{0, id, 0, 9, 1}, body);
}

/// A reader over one end of a connection, whose other end is the test's.
struct PipeReaderTest : testing::Test, DisconnectMonitor {
    PipeReaderTest() {
        const auto server = ServerTransport::Make("reader");
        peer = std::make_unique<RawPeer>("reader");
        reader = std::make_unique<PipeReader>(server->Accept(kPatienceMs), true);
        reader->SetMonitors(nullptr, this);
        reader->SetIds(3, 4);
    }
    void OnDisconnect(std::uint64_t) override { disconnected->Set(); }

    LogCapture log;
    std::shared_ptr<kivsync::Event> disconnected =
        kivsync::Event::Make(kivsync::Reset::Manual, kivsync::Initially::Clear);
    std::unique_ptr<RawPeer> peer;
    std::unique_ptr<PipeReader> reader;
};

TEST_F(PipeReaderTest, PendingTableAndLateReplies) {
    EXPECT_EQ(reader->BeginRequest(kId), 0);
    EXPECT_EQ(reader->BeginRequest(kId), -5);
    reader->AddReply(ReplyTo(kId, 1));
    reader->AddReply(ReplyTo(kId, 2));
    EXPECT_EQ(reader->GetReply(kId, 0)->Payload(), Bytes{1});
    EXPECT_EQ(reader->GetReply(kId, 0)->Payload(), Bytes{2});
    EXPECT_EQ(reader->GetReply(kId, 20), nullptr);
    reader->AddReply(ReplyTo(kId, 3));  // meets the waiter that gave up
    reader->AddReply(ReplyTo(kId, 4));  // meets nobody
    EXPECT_EQ(reader->EndRequest(kId), -9);
    EXPECT_EQ(reader->GetReply(kId, 0), nullptr);
    std::string errors;
    for (const auto& entry : log->All())
        errors += entry->Level() == Logging::Error ? entry->Message() + "|" : "";
    EXPECT_EQ(errors,
              "Already wainting reply for this request|Timeout in IPC reply ReqId:7 timeout:20|"
              "Received reply for an aborted request! ReqId:7 cmd:9|"
              "Received reply for an unknow request! ReqId:7 cmd:9 id:0 pid:0 |"
              "Not wainting reply for this request|"
              "Invalid request id. Please call BeginRequest before waiting for one!|");

    // An entry used again knows nothing of its former request.
    EXPECT_EQ(reader->BeginRequest(8), 0);
    reader->AddReply(ReplyTo(8, 5));
    EXPECT_EQ(reader->EndRequest(8), 0);
    EXPECT_EQ(reader->BeginRequest(9), 0);
    EXPECT_EQ(reader->GetReply(9, 0), nullptr);
}

TEST_F(PipeReaderTest, AnswersOutOfOrderAndByteByByteUntilItStops) {
    ASSERT_EQ(reader->StartListener(), 0);
    EXPECT_EQ(reader->StartListener(), -1);
    reader->BeginRequest(1);
    reader->BeginRequest(2);
    for (const auto& message : {Message(0, 2, {2, 2}, 2), Message(IPC::kFlagRequest, 0, {}), Message(0, 1, {1}, 1)}) {
        for (const auto byte : message)
            peer->Write({byte});
    }
    const auto reply = reader->GetReply(1, kPatienceMs);
    EXPECT_EQ(reply->Payload(), Bytes{1});
    EXPECT_EQ(reply->ClientId(), 3u);
    EXPECT_EQ(reply->Pid(), 4u);
    EXPECT_EQ(reader->GetReply(2, kPatienceMs)->Payload(), (Bytes{2, 2}));
    EXPECT_EQ(reader->TakeIncoming()->Command(), 9u);  // no monitor took it

    reader->BeginRequest(kId);
    std::thread waiter([this] { EXPECT_EQ(reader->GetReply(kId, kivsync::kInfinite), nullptr); });
    EXPECT_EQ(reader->StopListener(), 0);
    waiter.join();
    EXPECT_TRUE(log->Contains("Received stop event ReqId:7 timeout:-1"));
    EXPECT_TRUE(log->Contains("InternalListenerThread end"));
}

TEST_F(PipeReaderTest, BrokenStreamsEndTheConnection) {
    struct Case {
        Bytes bytes;
        bool closes;  // the peer, after the bytes
        std::string line;
    };
    const Case cases[] = {
        {Message(IPC::kFlagRequest, 0xFFFFFFFF, {1}), false,
         "Invalid message size:4294967295 flags:80000000 id:3 pid:4"},
        {Message(IPC::kFlagRequest, kIpcMaximumSize + 1, {1}), false, "Invalid message size:16777217 "},
        {Message(IPC::kFlagTiming, 31, Bytes(31)), false, "Invalid message size:31 flags:1 "},
        {Message(0, 10, {1, 2}), true, "Disconnect in middle size:10 id:3 pid:4"},
        {{1, 2, 3}, true, ""},  // as good as gone between messages: silently
    };
    const auto server = ServerTransport::Make("broken");
    for (const auto& broken : cases) {
        RawPeer client("broken");
        PipeReader broke(server->Accept(kPatienceMs), true);
        broke.SetMonitors(nullptr, this);
        broke.SetIds(3, 4);
        log->Clear();
        disconnected->Reset();
        ASSERT_EQ(broke.StartListener(), 0);
        client.Write(broken.bytes);
        if (broken.closes)
            client.Close();
        EXPECT_EQ(disconnected->Wait(kPatienceMs), 0);
        EXPECT_EQ(log->Messages().size(), broken.line.empty() ? 0u : 1u);
        EXPECT_TRUE(broken.line.empty() || log->Contains(broken.line)) << broken.line;
        EXPECT_EQ(broke.TakeIncoming(), nullptr);
    }
}

}  // namespace
