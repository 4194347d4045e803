// With the built programs: while one instance is slow, requests about the others are answered soon.

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
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

Bytes AskSoon(RawClient& client, std::uint32_t command, const Bytes& payload,
              std::chrono::milliseconds within = kSoon) {
    const auto begin = std::chrono::steady_clock::now();
    auto answer = client.Ask(command, payload);
    EXPECT_LT((std::chrono::steady_clock::now() - begin) / 1ms, within / 1ms) << "command " << command;
    EXPECT_EQ(Take<std::int32_t>(answer, 0), 0) << "command " << command;
    client.events.clear();
    return answer;
}

std::uint32_t StatusOf(RawClient& client, const std::string& name) {
    return Take<std::uint32_t>(AskSoon(client, kManagerStatus, Names(name)), 4);
}

/// Asks all that can be asked about "other" and changes its settings, again and again for as long as `change` of
/// another instance, `slow`, takes.
void AskDuring(const std::string& slow, const std::function<void()>& change) {
    RawClient control(kManagerServerName);
    RawClient database(VexaDB::kDatabaseServerName);
    const std::string name = "other";
    auto number = InSession0(name, "n");
    number.resize(number.size() + sizeof(wire::u32));
    auto done = std::async(std::launch::async, change);
    do {
        AskSoon(control, kManagerGetString, Names(name, "port"));
        AskSoon(control, kManagerGetNumber, Names(name, "type"));
        AskSoon(control, kManagerSetNumber,
                wire::Encode(ipc_mngctrl_set_num_property_request{name, std::string("n"), 1}));
        AskSoon(control, kManagerList, wire::Encode(ipc_mngctrl_list_request{7}));
        AskSoon(control, kManagerGetClients, Names(name));
        EXPECT_EQ(StatusOf(control, name), kRunning);
        EXPECT_NE(StatusOf(control, slow), kStoppedWorking) << "however long it takes";
        // Numbers: each text that is written is an event to the clients, and some of these do not read just now.
        AskSoon(database, VexaDB::kDatabaseGetString, InSession0(name, "port"));
        AskSoon(database, VexaDB::kDatabaseSetUint32, number);
    } while (done.wait_for(20ms) != std::future_status::ready);
}

TEST(Core, NobodyWaitsForASlowInstance) {
    PrepareMachine({{"monitorwaittime", 300u}});
    WriteTable("0", "slow", Sample("1"));
    WriteTable("1", "other", Sample("2"));
    WriteTable("2", "absent", Sample("3", {{"enabled", 0u}}));
    ManagerRun manager("faulty\\");
    RawClient watching(kManagerServerName);
    ASSERT_TRUE(WaitForLog("Starting Instance slow"));
    AskSoon(watching, kManagerList, wire::Encode(ipc_mngctrl_list_request{7}));
    EXPECT_EQ(StatusOf(watching, "slow"), kStopped) << "while the service starts it";
    ASSERT_TRUE(WaitForLog("Monitor Protocols services"));
    ASSERT_TRUE(WaitForStatus("slow", kRunning));
    watching.events.clear();
    while (watching.Receive().body != Names("other")) {
    }  // the last event of the start

    AskDuring("slow", [&] {
        RawClient leaving(kManagerServerName);
        leaving.Send(kRequest, 1, kManagerStop, Names("slow"));
        leaving.Send(kTerminate, 2, 0, {});
        EXPECT_EQ(leaving.Receive().id, 2u) << "a terminate overtakes what is carried out";
        EXPECT_TRUE(leaving.HasEnded());
        EXPECT_EQ(watching.Receive().command, kEventStopped) << "the stop was carried out";
    });
    AskDuring("slow", [&] {
        RawClient asking(kManagerServerName);
        asking.Send(kRequest, 1, kManagerStart, Names("slow"));
        asking.Send(kRequest, 2, kManagerRestart, Names("slow"));
        asking.Send(kRequest, 3, kManagerStatus, Names("slow"));
        EXPECT_EQ(watching.Receive().command, kEventStarted);
        EXPECT_EQ(watching.Receive().command, kEventStopped);
        EXPECT_EQ(StatusOf(watching, "slow"), kStopped) << "until it is started again";
        for (const auto command : {kEventStarted, kManagerStart, kEventStopped, kEventStarted, kManagerRestart})
            EXPECT_EQ(asking.Receive().command, command);
        EXPECT_EQ(Take<std::uint32_t>(asking.Receive().body, 4), kRunning) << "asked after the restart";
        EXPECT_EQ(watching.Receive().command, kEventStarted);
    });
    AskDuring("other", [&] {
        RawClient database(VexaDB::kDatabaseServerName);
        EXPECT_EQ(database.Ask(VexaDB::kDatabaseRemoveInstance, InSession0("slow")), Bytes(4));
        EXPECT_EQ(watching.Receive().command, kEventRemoved);
        // The monitor tries this one in every pass, for as long as a start may take.
        EXPECT_EQ(watching.Ask(kManagerSetNumber, wire::Encode(ipc_mngctrl_set_num_property_request{
                                                      std::string("absent"), std::string("enabled"), 1})),
                  Bytes(8));
        watching.Send(kRequest, 1, kManagerStart, Names("absent"));
        EXPECT_TRUE(WaitForLog("Protocol absent has stopped working"));
        EXPECT_EQ(watching.Receive().body, Bytes(4, 0xFF));
    });
    EXPECT_EQ(manager.Stop(), 0);
}

TEST(Core, WhoeverHoldsTheLogStopsNobody) {
    PrepareMachine();
    WriteTable("0", "slow", Sample("1"));
    WriteTable("1", "other", Sample("2"));
    ManagerRun manager("faulty\\");
    ASSERT_TRUE(WaitForStatus("other", kRunning));
    auto mutex = kivsync::Mutex::OpenNamed("vexa-logger-file-mutex");
    ASSERT_TRUE(mutex && mutex->Lock(kPatienceMs) == 0);
    RawClient control(kManagerServerName);
    AskSoon(control, kManagerSetString, Names("other", "note", "written while the log is held"), 5s);
    AskSoon(control, kManagerRestart, Names("other"), 30s);
    EXPECT_EQ(StatusOf(control, "other"), kRunning);
    const auto kivctl = RunProgram(ProgramFolder() + "kivctl.exe status other");
    EXPECT_EQ(kivctl.exitCode, 0) << kivctl.output;
    EXPECT_TRUE(LogHas("Restarted protocol other")) << "a line is written all the same";
    EXPECT_EQ(mutex->Unlock(), 0);
    EXPECT_EQ(manager.Stop(), 0);
}

}  // namespace
}  // namespace e2e
