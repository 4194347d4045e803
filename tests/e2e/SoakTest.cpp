// Long use of a manager and of a client of the C library: no more handles, threads or memory than after a warm-up.
#include <gtest/gtest.h>
#include <windows.h>
// These need <windows.h> before them.
#include <psapi.h>
#include <tlhelp32.h>

#include <algorithm>
#include <array>
#include <functional>

#include "IPC/class/IPCClient.h"
#include "e2e/ManagerRun.h"
#include "protocols/control/ControlMessages.h"
#include "support/RawClient.h"
#include "unit/kivapi/EveryFunction.h"
#include "utils/VexaDB/class/VexaDBMessages.h"

namespace e2e {
namespace {

// Differences without a leak: a few handles that are in use at the moment, and the varying use of the heap. One handle,
// or 4 KiB, lost in every round would be far more.
constexpr std::uint64_t kHandleValueTolerance = 16 * 4;
constexpr std::uint64_t kMemoryTolerance = 2 * 1024 * 1024;

/// The use of resources by a process, as another process can measure it.
struct Figures {
    std::uint64_t freshHandle = 0;  // highest value of newly made handles: grows with the handles that are held
    std::uint64_t threads = 0;
    std::uint64_t privateBytes = 0;
};

Figures Measure(std::uint64_t pid) {
    Figures figures;
    const UniqueHandle process(OpenProcess(PROCESS_ALL_ACCESS, FALSE, static_cast<DWORD>(pid)));
    const HANDLE self = GetCurrentProcess();
    std::array<HANDLE, 100> inside{};  // so many that they fill the gaps which closed handles left
    for (auto& handle : inside)
        EXPECT_TRUE(DuplicateHandle(self, process.Get(), process.Get(), &handle, 0, FALSE, DUPLICATE_SAME_ACCESS));
    for (auto* const handle : inside) {
        figures.freshHandle = std::max<std::uint64_t>(figures.freshHandle, reinterpret_cast<std::uintptr_t>(handle));
        HANDLE back = nullptr;
        EXPECT_TRUE(DuplicateHandle(process.Get(), handle, self, &back, 0, FALSE,
                                    DUPLICATE_SAME_ACCESS | DUPLICATE_CLOSE_SOURCE));
        CloseHandle(back);
    }

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

void ExpectNoGrowth(std::uint64_t pid, const std::function<void()>& warmUp, const std::function<void()>& use) {
    const auto idleThreads = Measure(pid).threads;
    const auto after = [&](const std::function<void()>& work) {
        work();
        EXPECT_TRUE(Eventually([&] { return Measure(pid).threads <= idleThreads; }));
        return Measure(pid);
    };
    const auto before = after(warmUp), now = after(use);
    EXPECT_LE(now.freshHandle, before.freshHandle + kHandleValueTolerance);
    EXPECT_LE(now.privateBytes, before.privateBytes + kMemoryTolerance);
}

/// Repeats what the clients of a manager do in production.
void Use(int connections, int startsAndStops, int requests) {
    for (int i = 0; i < connections; ++i) {
        RawClient control(kManagerServerName), database(VexaDB::kDatabaseServerName);
        ASSERT_EQ(control.Ask(kManagerStatus, Bytes(50)).size(), 40u);
        ASSERT_EQ(database.Ask(VexaDB::kDatabaseGetInstances, Bytes(8)).size(), 8u + 50u);
        control.Send(kTerminate, 9, kIpcTerminate, {});
        ASSERT_EQ(control.Receive().id, 9u);
        ASSERT_TRUE(control.HasEnded());
        RawPeer killed(kManagerServerName);
        killed.Write(Bytes(sizeof(std::uint64_t) + sizeof(ipc_header) / 2));  // the greeting and half a header
    }
    for (int i = 0; i < startsAndStops; ++i) {
        ASSERT_EQ(Control(kManagerStart, "worn"), 0);
        ASSERT_EQ(Control(kManagerStop, "worn"), 0);
    }
    const auto client = IPCClient::GetClient(kManagerServerName, true);
    for (int i = 0; i < requests; ++i)
        ASSERT_EQ(client->CheckAlive(), 0);
}

TEST(Soak, LeavesHandlesThreadsAndMemoryAsTheyWere) {
    PrepareMachine();
    WriteTable("0", "worn", Sample("1"));
    ManagerRun manager;
    ASSERT_TRUE(WaitForStatus("worn", kRunning));
    ASSERT_EQ(Control(kManagerStop, "worn"), 0);
    ExpectNoGrowth(
        IPCClient::GetClient(kManagerServerName, true)->ServerPid(), [] { Use(100, 10, 1000); },
        [] { Use(500, 200, 10000); });
    EXPECT_EQ(manager.Stop(), 0);
}

/// Opens and closes all kinds of handles of the C library, `rounds` times.
void Connect(int rounds) {
    for (int i = 0; i < rounds; ++i) {
        kiv_client* client = nullptr;
        kiv_database* database = nullptr;
        ASSERT_EQ(kiv_connect(kPatienceMs, &client), KIV_OK);
        ASSERT_EQ(kiv_on_event(
                      client, [](const kiv_event*, void*) {}, nullptr),
                  KIV_OK);
        ASSERT_EQ(kiv_close(client), KIV_OK);
        ASSERT_EQ(kiv_db_open(kPatienceMs, &database), KIV_OK);
        ASSERT_EQ(kiv_db_batch(database), KIV_OK);
        ASSERT_EQ(kiv_db_close(database), KIV_OK);
    }
}

TEST(Soak, AClientOfTheCLibraryGetsBackWhatItTook) {
    PrepareMachine();
    ManagerRun manager;
    ExpectNoGrowth(
        GetCurrentProcessId(), [] { Connect(50); }, [] { Connect(1000); });
    EXPECT_STREQ(MisuseEveryFunction(nullptr, nullptr), nullptr);
    EXPECT_STREQ(UseEveryFunction(), nullptr) << "which stops the manager";
    EXPECT_EQ(manager.WaitForExit(), 0);
}

}  // namespace
}  // namespace e2e
