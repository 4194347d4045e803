// Peers that do the manager no good, while a well-behaved client goes on asking.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <iostream>
#include <thread>

#include "IPC/class/IPCClient.h"
#include "IPC/transport/WholeTransfer.h"
#include "e2e/ManagerRun.h"

namespace e2e {
namespace {

constexpr std::uint32_t kIpcTimeoutMs = 2000;

/// A client that writes what it likes.
class Peer {
  public:
    explicit Peer(const std::string& server = kManagerServerName) : pipe_(ClientTransport::Make(server)) {
        EXPECT_EQ(pipe_->Connect(kPatienceMs), 0);
    }
    void Greet() {
        std::array<std::uint64_t, 2> hello{};
        EXPECT_TRUE(ReadWhole(*pipe_, hello.data(), sizeof hello, kPatienceMs));
        Write(IPCPayload(sizeof(std::uint64_t)));
    }
    void Write(const IPCPayload& bytes) {
        const auto size = static_cast<std::int32_t>(bytes.size());
        EXPECT_EQ(pipe_->Write(bytes.data(), size, kPatienceMs), size);
    }
    bool IsAnswered() {
        ipc_header header;
        return ReadWhole(*pipe_, &header, sizeof header, kPatienceMs) && header.command == kIpcAliveCheck;
    }
    bool HasEnded() {
        std::uint8_t byte = 0;
        return pipe_->Read(&byte, sizeof byte, kPatienceMs) < 0;
    }

  private:
    std::shared_ptr<ClientTransport> pipe_;
};

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
        Peer silent;
        Peer deaf;
        deaf.Greet();
        const ipc_mngctrl_set_str_property_request change{std::string("line"), std::string("mode"), std::string("tcp")};
        for (int i = 0; i < 50; ++i) {  // each is an event to every client, together more than a pipe holds
            std::shared_ptr<IPC> reply;
            EXPECT_EQ(client->Call(IPC::Request(kManagerSetString, wire::Encode(change)), kPatienceMs, reply), 0);
        }
        Peer huge;
        huge.Greet();
        huge.Write(wire::Encode(ipc_header{IPC::kFlagRequest, 1, 0, kIpcAliveCheck, 0xFFFFFFFF}));
        EXPECT_TRUE(huge.HasEnded());
        Peer drop;
        drop.Greet();
        for (const auto byte : alive)
            drop.Write({byte});
        EXPECT_TRUE(drop.IsAnswered());
        for (std::uint32_t i = 0; i < 100; ++i)  // nobody asked for these
            drop.Write(wire::Encode(ipc_header{0, i, 0, kManagerStatus, 0}));
        drop.Write(alive);
        EXPECT_TRUE(drop.IsAnswered());
        std::vector<std::unique_ptr<Peer>> flood;
        for (int i = 0; i < 500; ++i)
            flood.emplace_back(std::make_unique<Peer>())->Greet();
        flood.back()->Write(alive);
        EXPECT_TRUE(flood.back()->IsAnswered());
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
