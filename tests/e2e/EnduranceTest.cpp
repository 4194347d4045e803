// A manager in long use, which holds afterwards what it held when it had warmed up; and among peers that do it no good,
// while a well-behaved client goes on asking.
#include <gtest/gtest.h>
#include <windows.h>
// After <windows.h>, which they need.
#include <psapi.h>
#include <tlhelp32.h>

#include <atomic>
#include <chrono>
#include <future>
#include <iostream>
#include <thread>

#include "IPC/class/IPCClient.h"
#include "e2e/ManagerRun.h"
#include "protocols/control/ControlMessages.h"
#include "support/RawClient.h"
#include "utils/VexaDB/class/VexaDBMessages.h"

namespace e2e {
namespace {

// What a run may differ by without a leak: a few handles and a thread of what is under way just then, and the heap's
// own unevenness. One handle, or 4 KiB, lost in every cycle would be far beyond.
constexpr std::uint64_t kHandleValueTolerance = 16 * 4;
constexpr std::uint64_t kMemoryTolerance = 2 * 1024 * 1024;

constexpr std::uint32_t kIpcTimeoutMs = 2000;

/// What can be seen of a process from outside.
struct Figures {
    std::uint64_t freshHandle = 0;  // value of a newly made handle: grows with the handles that are held
    std::uint64_t threads = 0;
    std::uint64_t privateBytes = 0;
};

std::ostream& operator<<(std::ostream& out, const Figures& figures) {
    return out << "fresh handle " << figures.freshHandle << ", threads " << figures.threads << ", private bytes "
               << figures.privateBytes;
}

Figures Measure(std::uint64_t pid) {
    Figures figures;
    const UniqueHandle process(OpenProcess(PROCESS_ALL_ACCESS, FALSE, static_cast<DWORD>(pid)));
    const HANDLE self = GetCurrentProcess();
    HANDLE inside = nullptr;
    HANDLE back = nullptr;
    EXPECT_TRUE(DuplicateHandle(self, process.Get(), process.Get(), &inside, 0, FALSE, DUPLICATE_SAME_ACCESS));
    EXPECT_TRUE(
        DuplicateHandle(process.Get(), inside, self, &back, 0, FALSE, DUPLICATE_SAME_ACCESS | DUPLICATE_CLOSE_SOURCE));
    CloseHandle(back);
    figures.freshHandle = reinterpret_cast<std::uintptr_t>(inside);

    PROCESS_MEMORY_COUNTERS memory{};
    EXPECT_TRUE(GetProcessMemoryInfo(process.Get(), &memory, sizeof memory));
    figures.privateBytes = memory.PagefileUsage;  // the same as PrivateUsage, which not every system fills in

    const UniqueHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32First(snapshot.Get(), &entry); more; more = Process32Next(snapshot.Get(), &entry)) {
        if (entry.th32ProcessID == pid)
            figures.threads = entry.cntThreads;
    }
    return figures;
}

/// So many rounds of everything a plant does to its manager.
void Use(int connections, int startsAndStops, int requests, int terminates, int kills) {
    for (int i = 0; i < connections / 2; ++i) {
        RawClient control(kManagerServerName), database(VexaDB::kDatabaseServerName);
        ASSERT_EQ(control.Ask(kManagerStatus, Bytes(50)).size(), 40u);
        ASSERT_EQ(database.Ask(VexaDB::kDatabaseGetInstances, Bytes(8)).size(), 8u + 50u);
    }
    for (int i = 0; i < startsAndStops; ++i) {
        ASSERT_EQ(Control(kManagerStart, "worn"), 0);
        ASSERT_EQ(Control(kManagerStop, "worn"), 0);
    }
    const auto client = IPCClient::GetClient(kManagerServerName, true);
    for (int i = 0; i < requests; ++i)
        ASSERT_EQ(client->CheckAlive(), 0);
    for (int i = 0; i < terminates; ++i) {
        RawClient ending(kManagerServerName);
        ending.Send(kTerminate, 9, kIpcTerminate, {});
        ASSERT_EQ(ending.Receive().id, 9u);
        ASSERT_TRUE(ending.HasEnded());
    }
    for (int i = 0; i < kills; ++i) {
        RawPeer killed(kManagerServerName);
        killed.Write(Bytes(sizeof(std::uint64_t) + sizeof(ipc_header) / 2));  // the greeting and half a header
    }
}

TEST(Soak, LeavesHandlesThreadsAndMemoryAsTheyWere) {
    PrepareMachine();
    WriteTable("0", "worn", Sample("1"));
    ManagerRun manager;
    ASSERT_TRUE(WaitForStatus("worn", kRunning));
    ASSERT_EQ(Control(kManagerStop, "worn"), 0);
    const auto pid = IPCClient::GetClient(kManagerServerName, true)->ServerPid();
    const auto idleThreads = Measure(pid).threads;
    const auto settled = [&] {
        EXPECT_TRUE(Eventually([&] { return Measure(pid).threads <= idleThreads; }))
            << "connections go within a second";
        return Measure(pid);
    };
    Use(100, 10, 1000, 100, 100);
    const auto before = settled();
    Use(1000, 200, 10000, 500, 100);
    const auto after = settled();
    std::cout << "before: " << before << "\nafter:  " << after << "\n";
    EXPECT_LE(after.freshHandle, before.freshHandle + kHandleValueTolerance);
    EXPECT_LE(after.privateBytes, before.privateBytes + kMemoryTolerance);
    EXPECT_EQ(manager.Stop(), 0);
}

/// Asks all the time, and says how long an answer took at most.
class WellBehavedClient {
  public:
    ~WellBehavedClient() {
        done_ = true;
        thread_.join();
    }

  private:
    void Run() {
        using Clock = std::chrono::steady_clock;
        std::chrono::milliseconds longest{};
        IPCClient client(true);
        EXPECT_EQ(client.Connect(kManagerServerName), 0);
        int asked = 0;
        for (; !done_; ++asked) {
            const auto begin = Clock::now();
            EXPECT_EQ(client.CheckAlive(), 0);
            longest = std::max(longest, std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin));
        }
        std::cout << asked << " requests answered, the slowest after " << longest.count() << " ms\n";
        EXPECT_GT(asked, 0);
        EXPECT_LT(longest.count(), kIpcTimeoutMs / 2);
    }

    std::atomic<bool> done_{false};
    std::thread thread_{[this] { Run(); }};
};

TEST(HostilePeers, HarmOnlyThemselves) {
    PrepareMachine({{"ipctimeout", kIpcTimeoutMs}});
    WriteTable("0", "line", Sample("1"));
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
    auto start = std::async(std::launch::async, [] { return Control(kManagerStart, "dies"); });
    const std::uint8_t created = 0;
    while (start.wait_for(std::chrono::milliseconds(0)) != std::future_status::ready) {
        const auto squatter = ClientTransport::Make("dies-ready");
        if (squatter->Connect(0) == 0)
            squatter->Write(&created, sizeof created, kPatienceMs);
    }
    EXPECT_EQ(start.get(), -1);
    EXPECT_TRUE(LogHas("is not the child of instance dies, its ready connection is refused"));
    EXPECT_TRUE(LogHas("Cannot start instance dies did not connect 0"));
    EXPECT_FALSE(LogHas("Protocol dies started"));
    EXPECT_EQ(manager.Stop(), 0);
}

}  // namespace
}  // namespace e2e
