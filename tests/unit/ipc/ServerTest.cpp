#include <future>

#include "IPC/class/RequestQueue.h"
#include "unit/ipc/Peers.h"
#include "utils/platform/Deadline.h"
#include "utils/platform/Platform.h"

namespace {

TEST(Server, HandshakeAndOwnCommandsByteForByte) {
    RunningServer running("handshake");
    RawPeer raw("handshake");
    const auto greeting = wire::Encode(std::array<wire::u64, 2>{1, platform::CurrentProcessId()});
    EXPECT_EQ(raw.Read(16), greeting);
    EXPECT_EQ(running.server.ClientCount(), 0u);  // the client has not completed the handshake
    raw.Write(Hex("8877665544332211"));
    raw.Write(Hex("00000080 0500000000000000 06000000 05000000 00000000"));
    EXPECT_EQ(raw.Read(56), Hex("00000000 0500000000000000 06000000 05000000 20000000 00000000 00000000"
                                "0100000000000000 8877665544332211 0000000000000000"));
    raw.Write(Hex("00000080 0000000000000000 00000000 04000000 01000000 00"));
    EXPECT_EQ(raw.Read(32), Hex("00000000 0000000000000000 00000000 04000000 08000000 00000000 01000000"));
    raw.Write(Hex("00000080 0600000000000000 00000000 03000000 01000000 00"));
    EXPECT_EQ(raw.Read(32), Hex("00000000 0600000000000000 00000000 03000000 08000000 00000000 07000000"));
    raw.Write(Hex("00000080 0700000000000000 00000000 03000000 00000000"));  // without its payload byte
    EXPECT_EQ(raw.Read(32), Hex("00000000 0700000000000000 00000000 03000000 08000000 FFFFFFFF 00000000"));
}

TEST(Server, BrokenStreamsEndTheConnection) {
    const struct {
        Bytes bytes;
        bool closes;  // the peer closes after the bytes
        std::string line;
    } cases[] = {
        {Hex("00000080 0700000000000000 00000000 09000000 FFFFFFFF 01"), false,
         "Invalid message size:4294967295 flags:80000000 id:1 pid:1234605616436508552"},
        {Hex("00000080 0700000000000000 00000000 09000000 01000001 01"), false, "Invalid message size:16777217 "},
        {Hex("01000080 0700000000000000 00000000 09000000 1F000000" + std::string(62, '0')), false,
         "Invalid message size:31 flags:80000001 "},
        {Hex("00000080 0700000000000000 00000000 09000000 0A000000 0102"), true, "Disconnect in middle size:10 id:"},
        {{1, 2, 3}, true, ""},  // part of a header: like an end between messages, without a log line
    };
    LogCapture log;
    RunningServer running("broken");
    for (const auto& broken : cases) {
        RawClient client("broken");
        log->Clear();
        client.Write(broken.bytes);
        if (broken.closes)
            client.Close();
        EXPECT_TRUE(Eventually([&] { return running.server.ClientCount() == 0; }));
        EXPECT_EQ(log->Count(" size:"), broken.line.empty() ? 0u : 1u);
        if (!broken.line.empty()) {
            EXPECT_EQ(FunctionOf(log, broken.line), "PipeReader::Read") << broken.line;
        }
    }
}

TEST(Server, IdsAreGivenOutAgainAndALateReplyFindsNoLaterConnectionOfTheSameProcess) {
    LogCapture log;
    std::promise<std::shared_ptr<IPC>> asked;
    RunningServer running("ids", [&asked](const IPC& request) {
        if (request.Command() == RunningServer::kUnanswered)
            asked.set_value(IPC::Reply(request));
        return nullptr;
    });
    std::vector<std::unique_ptr<RawClient>> clients;
    const auto connect = [&] { return clients.emplace_back(std::make_unique<RawClient>("ids"))->connectionId; };
    const auto drop = [&](std::size_t index) {  // and have it released before the next client connects
        const auto released = log->Count("~IPCServerClient") + 1;
        clients[index]->Close();
        return Eventually([&] { return log->Count("~IPCServerClient") == released; });
    };
    for (std::uint64_t id = 1; id <= 5; ++id)
        EXPECT_EQ(connect(), id);
    clients[1]->Send(kRequest, 1, RunningServer::kUnanswered, {});
    const auto late = asked.get_future().get();
    EXPECT_TRUE(drop(1));
    EXPECT_EQ(connect(), 6u);
    EXPECT_TRUE(drop(0));
    EXPECT_EQ(connect(), 2u);  // from the one that went last
    EXPECT_NE(running.server.SendReply(late), 0);
    EXPECT_TRUE(log->Contains("Did not Send IPC id:2 pid:1234605616436508552 cmd:999"));
    EXPECT_EQ(clients.back()->Ask(1, {}), Bytes());
    EXPECT_TRUE(clients.back()->events.empty());
    EXPECT_EQ(running.server.RemoveClient(99), -1);
    EXPECT_EQ(running.server.RemoveClient(4), 0);
    EXPECT_TRUE(clients[3]->HasEnded());
    EXPECT_EQ(running.server.ClientCount(), 4u);
    EXPECT_EQ(connect(), 4u);
}

TEST(Server, SilentPeerHarmsOnlyItself) {
    RunningServer running("silent");
    RawPeer silent("silent"), half("silent");
    EXPECT_EQ(silent.Read(16).size(), 16u);
    half.Write({1, 2, 3});
    RawClient talking("silent");
    EXPECT_EQ(talking.connectionId, 3u);
    EXPECT_EQ(running.server.ClientCount(), 1u);
    EXPECT_EQ(running.server.Broadcast(IPC::Notice(150)), 0);
    EXPECT_EQ(talking.Receive().command, 150u);
    running.server.Stop();
    EXPECT_TRUE(silent.HasEnded());  // it has not got the broadcast
    EXPECT_EQ(running.server.Start("silent"), 0);
    EXPECT_EQ(running.server.Start("silent"), -1);
}

TEST(Server, PeerThatDoesNotReadHarmsOnlyItself) {
    constexpr std::uint32_t kFirst = 150;
    constexpr std::uint32_t kCount = 20;
    LogCapture log;
    RunningServer running("stuck");
    {
        const IpcTimeout longer(kPatienceMs);
        RawClient slow("stuck"), reading("stuck");
        for (std::uint32_t i = 0; i < kCount; ++i)
            EXPECT_EQ(running.server.Broadcast(IPC::Notice(kFirst + i, Bytes(3000))), 0);
        slow.Send(kTerminate, 7, 0, {});
        for (auto* peer : {&reading, &slow}) {  // queued messages arrive once each, in order
            for (std::uint32_t i = 0; i < kCount; ++i)
                ASSERT_EQ(peer->Receive().command, kFirst + i);
        }
        EXPECT_EQ(slow.Receive().id, 7u);  // the reply to the terminate request
        EXPECT_TRUE(slow.HasEnded());
        EXPECT_TRUE(log->Contains("OnRequest terminate handling id:1 pid:1234605616436508552"));
        EXPECT_TRUE(log->WaitFor("OnRequest terminate set event id:1 pid:1234605616436508552", kPatienceMs));
    }
    EXPECT_TRUE(Eventually([&] { return running.server.ClientCount() == 0; }));
    {
        const RawClient stuck("stuck");
        const IpcTimeout shorter(100);
        EXPECT_EQ(running.server.Broadcast(IPC::Notice(kFirst, Bytes(1024 * 1024))), 0);
        EXPECT_TRUE(log->WaitFor("Client does not take its messages, connection ended id:", kPatienceMs));
        EXPECT_TRUE(Eventually([&] { return running.server.ClientCount() == 0; }));
    }
    const IpcTimeout longer(kPatienceMs);
    const RawClient full("stuck");  // the backlog of one client is limited
    EXPECT_EQ(running.server.Broadcast(IPC::Notice(kFirst, Bytes(9 * 1024 * 1024))), 0);
    const RawClient empty("stuck");
    EXPECT_EQ(running.server.Broadcast(IPC::Notice(kFirst, Bytes(9 * 1024 * 1024))), -1) << "one of them failed";
    EXPECT_EQ(running.server.ClientCount(), 1u);
    EXPECT_EQ(log->Count("Too much waits for the client, connection ended id:"), 1u);
}

/// A peer that has written more requests than the server reads before it takes some.
struct Flood {
    static constexpr std::uint32_t kCount = 2000;

    explicit Flood(const std::string& server) : pipe(ClientTransport::Make(server)) {
        EXPECT_EQ(pipe->Connect(kPatienceMs), 0);
        for (std::uint32_t id = 0; id < kCount; ++id)
            wire::Append(bytes, ipc_header{IPC::kFlagRequest, id, 0, 100, 0});
        EXPECT_EQ(pipe->BeginWrite(bytes.data(), Size(), 200), ClientTransport::kWritePending);
    }
    std::int32_t Size() const { return static_cast<std::int32_t>(bytes.size()); }

    std::shared_ptr<ClientTransport> pipe;
    Bytes bytes = Bytes(8);  // the greeting, then the requests
};

TEST(Server, PeerThatAsksTooFastWaitsForItsTurnAndHidesNobodysEnd) {
    std::promise<void> goOn;
    RunningServer running("flood", [gone = goOn.get_future().share()](const IPC& request) {
        if (request.Command() == 100)
            gone.wait();
        return nullptr;
    });
    RawClient leaving("flood");
    const Flood staying("flood"), vanishing("flood");
    IPCClient other;
    ASSERT_EQ(other.Connect("flood"), 0);
    EXPECT_TRUE(Eventually([&] { return running.server.ClientCount() == 4; }));
    leaving.Send(kRequest, 1, 100, {});
    leaving.Send(kTerminate, 2, 0, {});
    EXPECT_EQ(leaving.Receive().id, 2u);
    EXPECT_TRUE(leaving.HasEnded());
    vanishing.pipe->Close();
    EXPECT_TRUE(Eventually([&] { return running.server.ClientCount() == 2; }));
    goOn.set_value();
    std::thread reading([&staying] {
        Bytes replies(16 + Flood::kCount * sizeof(ipc_header));
        EXPECT_TRUE(ReadWhole(*staying.pipe, replies.data(), static_cast<std::int32_t>(replies.size()), kPatienceMs));
    });
    EXPECT_EQ(staying.pipe->FinishWrite(kPatienceMs), staying.Size());
    reading.join();
    EXPECT_EQ(other.CheckAlive(), 0);

    IPCServer idle;  // its owner takes no request, but can stop it
    ASSERT_EQ(idle.Start("idle"), 0);
    const Flood unread("idle");
    idle.Stop();
    const platform::Deadline deadline(kPatienceMs);  // a timeout has the same result as the end
    unread.pipe->FinishWrite(kPatienceMs);           // cut short, unless the server had read it all
    Bytes replies(16 + Flood::kCount * sizeof(ipc_header));
    EXPECT_FALSE(ReadWhole(*unread.pipe, replies.data(), static_cast<std::int32_t>(replies.size()), kPatienceMs));
    EXPECT_GT(deadline.LeftMs(), 0u);
}

TEST(RequestQueue, AChangeWaitsForTheOneBeforeItAndWhatItsEndMakesReadyWakesAThreadEach) {
    RequestQueue queue;
    const auto push = [&queue](const std::shared_ptr<IPCServerClient>& connection, bool isChange) {
        auto request = IPC::Request(100);
        request->SetConnection(connection);
        queue.Push(request, isChange);
        return request;
    };
    // Repeated, because in some rounds the other thread comes too late to have to be woken.
    for (int round = 0; round < 20; ++round) {
        // The queue only compares connections.
        const std::shared_ptr<IPCServerClient> one(std::make_shared<int>(), nullptr);
        const std::shared_ptr<IPCServerClient> two(std::make_shared<int>(), nullptr);
        const auto change = push(one, true);
        EXPECT_EQ(queue.Take(), change);
        push(one, false);
        push(two, true);
        auto other = std::async(std::launch::async, [&queue] { return queue.Take(); });
        const auto early = other.wait_for(std::chrono::milliseconds(2));
        EXPECT_EQ(early, std::future_status::timeout) << "changes are carried out one at a time";
        queue.Done(*change);
        const auto mine = queue.Take();
        const bool isWoken = other.wait_for(std::chrono::milliseconds(kPatienceMs)) == std::future_status::ready;
        if (!isWoken)
            queue.Close();
        ASSERT_TRUE(isWoken);
        queue.Done(*mine);
        queue.Done(*other.get());
    }
}

}  // namespace
