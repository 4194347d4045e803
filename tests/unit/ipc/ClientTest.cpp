#include <future>

#include "IPC/class/PipeReader.h"
#include "IPC/transport/ServerTransport.h"
#include "unit/ipc/Peers.h"
#include "utils/platform/Platform.h"

namespace {

TEST(Client, OwnRequestsAndNotices) {
    LogCapture log;
    const IpcTimeout longer(kPatienceMs);  // 16 MiB take long on a busy machine
    RunningServer running("own");
    IPCClient client;
    EXPECT_EQ(client.CheckAlive(), -1);
    EXPECT_EQ(client.Stop(), -4);
    EXPECT_EQ(IPCClient().Connect("nobody"), -1);
    EXPECT_EQ(FunctionOf(log, "Cannot connect IPC client for nobody"), "IPCClient::Connect");
    ASSERT_EQ(client.Connect("own"), 0);
    EXPECT_EQ(client.CheckAlive(), 0);
    std::shared_ptr<IPC> reply;
    EXPECT_EQ(client.Call(IPC::Request(100, Bytes(200'000, 7)), kPatienceMs, reply), 0);
    EXPECT_EQ(reply->Payload(), Bytes(200'000, 7));
    constexpr std::uint32_t kLost = 2;
    constexpr std::uint32_t kSent = IPCClient::kMaximumNotices + kLost;
    for (std::uint32_t i = 0; i < kSent; ++i)
        ASSERT_EQ(running.server.Broadcast(IPC::Notice(i)), 0);
    std::vector<ipc_client_info> clients;
    EXPECT_EQ(client.GetClientsInfo(clients), 0);
    ASSERT_EQ(clients.size(), 1u);
    EXPECT_EQ(clients[0].processId, platform::CurrentProcessId());
    EXPECT_EQ(client.Terminate(), 0);
    EXPECT_TRUE(Eventually([&] { return !client.IsConnected() && running.server.ClientCount() == 0; }));
    for (std::uint32_t i = kLost; i < kSent; ++i)
        ASSERT_EQ(client.TakeNotice(0)->Command(), i);
    EXPECT_EQ(client.TakeNotice(platform::kInfinite), nullptr);  // does not wait: the connection has ended
    EXPECT_EQ(log->Count("Cannot send stop request"), 1u);
    EXPECT_EQ(log->Count("Notices are not taken, the oldest are dropped"), 1u);

    ASSERT_EQ(client.Connect("own"), 0);  // notices of at most 16 MiB are kept
    for (std::uint32_t i = 0; i < 2; ++i) {
        EXPECT_EQ(running.server.Broadcast(IPC::Notice(i, Bytes(9 * 1024 * 1024))), 0);
        EXPECT_EQ(client.CheckAlive(), 0);
    }
    const auto left = client.TakeNotice(0);
    ASSERT_NE(left, nullptr);
    EXPECT_EQ(left->Command(), 1u);
}

TEST(Client, RepliesFindTheirRequestsHoweverTheyCome) {
    LogCapture log;
    const auto server = ServerTransport::Make("bytes");
    IPCClient client;
    std::shared_ptr<ClientTransport> peer;
    std::thread greeting([&] {
        peer = server->Accept(kPatienceMs);
        const auto ids = Hex("0300000000000000 0400000000000000");
        EXPECT_EQ(peer->Write(ids.data(), 16, kPatienceMs), 16);
    });
    ASSERT_EQ(client.Connect("bytes"), 0);
    greeting.join();
    const auto send = [&peer](const std::shared_ptr<IPC>& message) {
        for (const auto byte : message->Serialize())
            EXPECT_EQ(peer->Write(&byte, 1, kPatienceMs), 1);
    };
    const std::array requests = {IPC::Request(9), IPC::Request(9), IPC::Request(9)};
    for (const auto& request : requests)
        EXPECT_EQ(client.Send(request), 0);
    EXPECT_NE(client.Send(requests[0]), 0);
    EXPECT_TRUE(log->Contains("Already wainting reply for this request"));
    EXPECT_EQ(client.WaitReply(requests[0]->RequestId(), 20), nullptr);
    for (int copies = 0; copies < 2; ++copies)
        send(IPC::Reply(*requests[0]));  // no request waits for it any more
    send(IPC::Reply(*requests[2], {2, 2}));
    send(IPC::Notice(150));
    send(IPC::Reply(*requests[1], {1}));
    EXPECT_EQ(client.WaitReply(requests[1]->RequestId(), kPatienceMs)->Payload(), Bytes{1});
    EXPECT_EQ(client.WaitReply(requests[2]->RequestId(), kPatienceMs)->Payload(), (Bytes{2, 2}));
    EXPECT_EQ(client.TakeNotice(kPatienceMs)->Command(), 150u);
    const auto id = "ReqId:" + std::to_string(requests[0]->RequestId());
    EXPECT_EQ(FunctionOf(log, "Timeout in IPC reply " + id + " timeout:20"), "PipeReader::GetReply");
    EXPECT_EQ(log->Count("Received reply for an unknow request! " + id + " cmd:9 id:3 pid:"), 2u);
}

TEST(PipeReader, EachRequestIsBegunAndEndedOnce) {
    IPCServer nobody;
    PipeReader reader(ClientTransport::Make("nobody"), nobody, nobody);
    EXPECT_EQ(reader.BeginRequest(7), 0);
    EXPECT_EQ(reader.BeginRequest(7), -5);
    EXPECT_EQ(reader.EndRequest(7), 0);
    EXPECT_EQ(reader.EndRequest(7), -9);
    EXPECT_EQ(reader.GetReply(7, kPatienceMs), nullptr);
}

TEST(Client, AGreetingThatDripsIsGivenUp) {
    const IpcTimeout shorter(200);
    const auto server = ServerTransport::Make("drips");
    IPCClient client;
    auto connecting = std::async(std::launch::async, [&client] { return client.Connect("drips"); });
    const auto peer = server->Accept(kPatienceMs);
    const std::uint8_t drop = 1;
    while (connecting.wait_for(std::chrono::milliseconds(50)) != std::future_status::ready)
        peer->Write(&drop, 1, kPatienceMs);
    EXPECT_EQ(connecting.get(), -1);
}

TEST(Client, SurvivesOddReplies) {
    RunningServer running("odd", [](const IPC& request) {
        const bool counts = request.Command() == kIpcGetClientCount;  // the count is higher than any list could be
        return IPC::Reply(request, counts ? Hex("00000000 00000080") : Bytes(8 + 24 * 2 + 23));
    });
    const IpcTimeout longer(kPatienceMs);  // the request for so many clients has 16 MiB
    IPCClient client;
    ASSERT_EQ(client.Connect("odd"), 0);
    std::vector<ipc_client_info> clients;
    EXPECT_EQ(client.GetClientsInfo(clients), 0);
    EXPECT_EQ(clients.size(), 2u);
}

TEST(Client, WaitsEndWithTheTimeOutOrTheConnection) {
    LogCapture log;
    auto running = std::make_unique<RunningServer>("waits");
    IPCClient client;
    std::shared_ptr<IPC> reply;
    ASSERT_EQ(client.Connect("waits"), 0);
    EXPECT_EQ(client.Call(IPC::Request(RunningServer::kUnanswered), 30, reply), -36);
    const auto endedBy = [&](const std::function<void()>& end) {
        log->Clear();
        const auto request = IPC::Request(RunningServer::kUnanswered);
        EXPECT_EQ(client.Send(request), 0);
        std::thread notices([&] { EXPECT_EQ(client.TakeNotice(platform::kInfinite), nullptr); });
        std::thread waiter([&] { EXPECT_EQ(client.WaitReply(request->RequestId(), platform::kInfinite), nullptr); });
        end();
        waiter.join();
        notices.join();
        EXPECT_FALSE(client.IsConnected());
    };
    endedBy([&] { running.reset(); });
    EXPECT_TRUE(log->Contains("Received stop event ReqId:"));
    running = std::make_unique<RunningServer>("waits");
    ASSERT_EQ(client.Connect("waits"), 0);
    endedBy([&] { EXPECT_EQ(client.Disconnect(), 0); });

    const auto shared = IPCClient::GetClient("waits", true);
    running.reset();
    EXPECT_TRUE(Eventually([&] { return !shared->IsConnected(); }));
    running = std::make_unique<RunningServer>("waits");
    EXPECT_EQ(IPCClient::GetClient("waits", true), shared);
    EXPECT_EQ(log->Count("Reconnect IPCClient"), 1u);
    EXPECT_EQ(shared->CheckAlive(), 0);
}

}  // namespace
