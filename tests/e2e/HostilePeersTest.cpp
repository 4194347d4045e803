// Peers that do the manager no good, while a well-behaved client goes on asking.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <iostream>
#include <thread>

#include "IPC/class/IPCClient.h"
#include "e2e/ManagerRun.h"
#include "support/RawClient.h"

namespace e2e {
namespace {

constexpr std::uint32_t kIpcTimeoutMs = 2000;

/// Asks all the time, and keeps the longest time that an answer took.
class WellBehavedClient {
  public:
    WellBehavedClient() : thread_([this] { Run(); }) {}
    ~WellBehavedClient() {
        done_ = true;
        thread_.join();
        std::cout << asked_ << " requests answered, the slowest after " << longestMs_ << " ms\n";
        EXPECT_GT(asked_, 0);
        EXPECT_LT(longestMs_, kIpcTimeoutMs / 2);
    }

  private:
    void Run() {
        using Clock = std::chrono::steady_clock;
        IPCClient client(true);
        EXPECT_EQ(client.Connect(kManagerServerName), 0);
        for (; !done_; ++asked_) {
            const auto begin = Clock::now();
            EXPECT_EQ(client.CheckAlive(), 0);
            const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin).count();
            longestMs_ = std::max(longestMs_, took);
        }
    }

    std::atomic<bool> done_{false};
    int asked_ = 0;
    std::chrono::milliseconds::rep longestMs_ = 0;
    std::thread thread_;
};

TEST(HostilePeers, HarmOnlyThemselves) {
    PrepareMachine({{"ipctimeout", kIpcTimeoutMs}});
    WriteTable("0", "line", SampleSettings({{"port", std::string("1")}}));
    ManagerRun manager;
    ASSERT_TRUE(WaitForStatus("line", kRunning));
    const auto client = IPCClient::GetClient(kManagerServerName, true);
    const auto alive = IPC::Request(kIpcAliveCheck)->Serialize();
    {
        const WellBehavedClient other;
        const RawPeer silent(kManagerServerName);
        const RawClient deaf(kManagerServerName);
        const ipc_mngctrl_set_str_property_request change{std::string("line"), std::string("mode"), std::string("tcp")};
        for (int i = 0; i < 50; ++i) {  // each is an event to every client, together more than a pipe holds
            std::shared_ptr<IPC> reply;
            EXPECT_EQ(client->Call(IPC::Request(kManagerSetString, wire::Encode(change)), kPatienceMs, reply), 0);
        }
        RawClient huge(kManagerServerName);
        huge.Write(wire::Encode(ipc_header{kRequest, 1, 0, kIpcAliveCheck, 0xFFFFFFFF}));
        EXPECT_TRUE(huge.HasEnded());
        RawClient drop(kManagerServerName);
        for (const auto byte : alive)
            drop.Write({byte});
        EXPECT_EQ(drop.Receive().command, kIpcAliveCheck);
        for (std::uint32_t i = 0; i < 100; ++i)  // nobody asked for these
            drop.Send(0, i, kManagerStatus, {});
        EXPECT_EQ(drop.Ask(kIpcAliveCheck, {}), Bytes());
        std::vector<std::unique_ptr<RawClient>> flood;
        for (int i = 0; i < 500; ++i)
            flood.emplace_back(std::make_unique<RawClient>(kManagerServerName));
        flood.clear();
        EXPECT_TRUE(WaitForLog("Client does not take its messages, connection ended"));
        EXPECT_TRUE(LogHas("Invalid message size:4294967295"));
    }
    EXPECT_EQ(Status("line").status, kRunning);
    EXPECT_EQ(manager.Stop(), 0);
}

TEST(HostilePeers, NobodyReportsSuccessForAChildThatDied) {
    PrepareMachine({{"starttimeout", 1500u}});
    ManagerRun manager(FaultyFolder());
    std::shared_ptr<IPC> reply;
    const auto add = IPC::Request(kManagerAdd, wire::Encode(ipc_mngctrl_add_request{7u, std::string("dies")}));
    ASSERT_EQ(IPCClient::GetClient(kManagerServerName, true)->Call(add, kPatienceMs, reply), 0);
    std::thread start([] { EXPECT_EQ(Control(kManagerStart, "dies"), -1); });
    std::shared_ptr<ClientTransport> squatter;
    EXPECT_TRUE(Eventually([&] {
        squatter = ClientTransport::Make("dies-ready");
        return squatter->Connect(0) == 0;
    }));
    const std::uint8_t created = 0;
    EXPECT_EQ(squatter->Write(&created, sizeof created, kPatienceMs), 1);
    start.join();
    EXPECT_TRUE(LogHas("is not the child of instance dies, its ready connection is refused"));
    EXPECT_TRUE(LogHas("Cannot start instance dies did not connect 0"));
    EXPECT_FALSE(LogHas("Protocol dies started"));
    EXPECT_EQ(manager.Stop(), 0);
}

}  // namespace
}  // namespace e2e
