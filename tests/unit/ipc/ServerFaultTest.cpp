// Faults that a server must survive and that only the doubles can cause.

#include <future>

#include "support/Doubles.h"
#include "unit/ipc/Peers.h"

namespace {

TEST(ServerFault, AClientThatABroadcastLosesIsNoFailureOfIt) {
    std::promise<std::int32_t> result;
    RunningServer running("lost", [&](const IPC& request) {
        if (request.Command() == RunningServer::kUnanswered) {
            transport_host::FailOperation(transport_host::Operation::Write, 1);
            result.set_value(running.server.Broadcast(IPC::Notice(150)));  // writes on this thread, client by client
        }
        return nullptr;
    });
    RawClient lost("lost"), other("lost");
    other.Send(kRequest, 1, RunningServer::kUnanswered, {});
    EXPECT_EQ(result.get_future().get(), 0);
    EXPECT_TRUE(lost.HasEnded());
    EXPECT_EQ(other.Receive().command, 150u);
}

TEST(ServerFault, AStopAndStartStrandNobodyWhoIsAboutToWait) {
    const std::chrono::milliseconds patience(kPatienceMs);
    static thread_local bool takes = false;
    std::promise<void> reached, goOn;
    sync_host::OnWait([&] {
        if (!std::exchange(takes, false))
            return;
        reached.set_value();
        goOn.get_future().wait();
    });
    IPCServer server;
    ASSERT_EQ(server.Start("twice"), 0);
    auto taken = std::async(std::launch::async, [&server] {
        takes = true;
        return server.GetRequest();
    });
    EXPECT_EQ(reached.get_future().wait_for(patience), std::future_status::ready);
    server.Stop();
    ASSERT_EQ(server.Start("twice"), 0);
    goOn.set_value();
    IPCClient client;
    EXPECT_EQ(client.Connect("twice"), 0);
    EXPECT_EQ(client.Send(IPC::Notice(100)), 0);
    EXPECT_EQ(taken.wait_for(patience), std::future_status::ready) << "it takes the new request, or nothing";
    server.Stop();
    sync_host::OnWait({});
}

TEST(ServerFault, AMessageOutlivesTheThreadThatSentIt) {
    constexpr std::size_t kSize = 20000;  // bytes; more than the buffer of a connection
    RunningServer running("outlives");
    RawClient client("outlives");
    std::thread([&running] { EXPECT_EQ(running.server.Broadcast(IPC::Notice(150, Bytes(kSize, 7))), 0); }).join();
    EXPECT_TRUE(client.Receive().body == Bytes(kSize, 7));
}

}  // namespace
