// With the built programs: while one instance is slow, requests about the others are answered soon.

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>

#include "e2e/ManagerRun.h"
#include "support/RawClient.h"
#include "utils/VexaDB/class/VexaDBMessages.h"
#include "utils/sync/Mutex.h"

namespace e2e {
namespace {

using namespace std::chrono_literals;

constexpr auto kSoon = 1s;  // much longer than an answer takes, much shorter than a slow child's start or stop

/// The payload of a request to the database with these names, in session 0.
template <class... Text>
Bytes InSession0(const Text&... text) {
    auto payload = Names(text...);
    payload.insert(payload.begin(), 8, 0);
    return payload;
}

void AskSoon(RawClient& client, std::uint32_t command, const Bytes& payload, std::chrono::milliseconds within = kSoon) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Take<std::int32_t>(client.Ask(command, payload), 0), 0) << "command " << command;
    EXPECT_LT((std::chrono::steady_clock::now() - begin) / 1ms, within / 1ms) << "command " << command;
}

Bytes SetNumber(const std::string& instance, const std::string& property) {
    return wire::Encode(ipc_mngctrl_set_num_property_request{instance, property, 1});
}

TEST(Core, NobodyWaitsForASlowInstance) {
    PrepareMachine({{"monitorwaittime", 300u}});
    WriteSamples({"slow", "other"});
    WriteTable("2", "absent", Sample("3", {{"enabled", 0u}}));
    ManagerRun manager("faulty\\");
    RawClient control(kManagerServerName), database(VexaDB::kDatabaseServerName);
    ASSERT_TRUE(WaitForLog("Starting Instance slow"));
    AskSoon(control, kManagerStatus, Names("slow"));
    ASSERT_TRUE(WaitForStatus("other", kRunning));
    auto changes = std::async(std::launch::async, [] {
        for (const auto command : {kManagerStop, kManagerStart, kManagerRestart})
            EXPECT_EQ(Control(command, "slow"), 0);
        RawClient own(VexaDB::kDatabaseServerName);
        EXPECT_EQ(own.Ask(VexaDB::kDatabaseRemoveInstance, InSession0("slow")), Bytes(4));
        EXPECT_EQ(Status("slow").result, kManagerUnknownInstance);
        // The monitor tries this one in every pass, for as long as a start may take.
        EXPECT_EQ(RawClient(kManagerServerName).Ask(kManagerSetNumber, SetNumber("absent", "enabled")), Bytes(8));
        EXPECT_EQ(Control(kManagerStart, "absent"), -1);
        EXPECT_TRUE(WaitForLog("Protocol absent has stopped working"));
    });
    auto number = InSession0("other", "n");
    number.resize(number.size() + sizeof(wire::u32));
    do {
        for (const auto command : {kManagerStatus, kManagerGetClients})
            AskSoon(control, command, Names("other"));
        AskSoon(control, kManagerGetString, Names("other", "port"));
        AskSoon(control, kManagerSetNumber, SetNumber("other", "n"));
        AskSoon(control, kManagerList, wire::Encode(ipc_mngctrl_list_request{7}));
        // Numbers: each text that is written is an event to the clients, and some of these do not read just now.
        AskSoon(database, VexaDB::kDatabaseGetString, InSession0("other", "port"));
        AskSoon(database, VexaDB::kDatabaseSetUint32, number);
    } while (changes.wait_for(20ms) != std::future_status::ready);
    EXPECT_EQ(manager.Stop(), 0);
}

TEST(Core, WhoeverHoldsTheLogStopsNobody) {
    PrepareMachine();
    WriteSamples({"slow", "other"});
    ManagerRun manager("faulty\\");
    ASSERT_TRUE(WaitForStatus("other", kRunning));
    auto mutex = kivsync::Mutex::OpenNamed("vexa-logger-file-mutex");
    ASSERT_TRUE(mutex && mutex->Lock(kPatienceMs) == 0);
    RawClient control(kManagerServerName);
    AskSoon(control, kManagerSetString, Names("other", "note", "written while the log is held"), 5s);
    AskSoon(control, kManagerRestart, Names("other"), 30s);
    EXPECT_EQ(Status("other").status, kRunning);
    const auto kivctl = RunProgram(ProgramFolder() + "kivctl.exe status other");
    EXPECT_EQ(kivctl.exitCode, 0) << kivctl.output;
    EXPECT_TRUE(LogHas("Restarted protocol other")) << "a line is written all the same";
    EXPECT_EQ(mutex->Unlock(), 0);
    EXPECT_EQ(manager.Stop(), 0);
}

}  // namespace
}  // namespace e2e
