// What a server survives that only the doubles can bring about.

#include <future>

#include "support/Doubles.h"
#include "unit/ipc/Peers.h"

namespace {

TEST(ServerFault, AClientThatABroadcastLosesIsNoFailureOfIt) {
    RunningServer running("lost");
    RawClient one("lost"), other("lost");
    transport_host::FailOperation(transport_host::Operation::Write, 1);
    EXPECT_EQ(running.server.Broadcast(IPC::Notice(150)), 0);
    EXPECT_TRUE(Eventually([&] { return running.server.ClientCount() == 1; }));
    EXPECT_EQ((one.Receive().command == 150u) + (other.Receive().command == 150u), 1) << "the other one gets it";
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
    IPCClient client(true);
    EXPECT_EQ(client.Connect("twice"), 0);
    EXPECT_EQ(client.Send(IPC::Notice(100)), 0);
    EXPECT_EQ(taken.wait_for(patience), std::future_status::ready) << "it takes the new request, or nothing";
    server.Stop();
    sync_host::OnWait({});
}

TEST(ServerFault, AMessageOutlivesTheThreadThatSentIt) {
    constexpr std::size_t kSize = 20000;  // more than a connection holds
    transport_host::CancelWritesOfEndedThreads(true);
    RunningServer running("outlives");
    RawClient client("outlives");
    std::thread([&running] { EXPECT_EQ(running.server.Broadcast(IPC::Notice(150, Bytes(kSize, 7))), 0); }).join();
    EXPECT_TRUE(client.Receive().body == Bytes(kSize, 7));
    transport_host::CancelWritesOfEndedThreads(false);
}

}  // namespace
