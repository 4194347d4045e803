// Who waits for whom: whatever takes an instance long, the others are served meanwhile. And what the manager knows at
// once: a child's death, a name that is taken.

#include <gtest/gtest.h>

#include <future>
#include <string>
#include <vector>

#include "IPC/class/IPCClient.h"
#include "e2e/ManagerRun.h"
#include "support/RawClient.h"
#include "utils/VexaDB/class/VexaDBIPCClient.h"
#include "utils/VexaDB/class/VexaDBMessages.h"

namespace e2e {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

const char* const kManager = kManagerServerName;
const char* const kDatabase = VexaDB::kDatabaseServerName;
constexpr auto kSoon = 1s;  // far more than an answer takes, far less than a slow child does
const Bytes kDone(4);       // a reply that says 0
const Bytes kRefused(4, 0xFF);

/// The names of a request to the database, in the session of the service.
template <class... Text>
Bytes InSession0(const Text&... text) {
    auto payload = Names(text...);
    payload.insert(payload.begin(), 8, 0);
    return payload;
}

template <class Question>
auto Soon(Question question, const std::string& what) {
    const auto begin = Clock::now();
    auto answer = question();
    EXPECT_LT((Clock::now() - begin) / 1ms, kSoon / 1ms) << what;
    return answer;
}

std::uint32_t StatusOf(RawClient& client, const std::string& name) {
    const auto reply = Soon([&] { return client.Ask(kManagerStatus, Names(name)); }, "status of " + name);
    return Take<std::uint32_t>(reply, 4);
}

/// The next message but for the notices of changed settings.
RawMessage Next(RawClient& client) {
    RawMessage message;
    do {
        message = client.Receive();
    } while (message.command == kEventStringChanged);
    return message;
}

std::size_t LogCount(const std::string& text) {
    const auto log = Log();
    std::size_t count = 0;
    for (auto at = log.find(text); at != std::string::npos; at = log.find(text, at + 1))
        ++count;
    return count;
}

/// Whoever is interested in an instance that works.
class Bystander {
  public:
    explicit Bystander(std::string name) : name_(std::move(name)) { EXPECT_TRUE(database_.Connect()); }

    /// Asks all that can be asked and changes settings, again and again for as long as `change` of another instance
    /// takes. Each answer comes soon, and the other one never seems to be out of order.
    void AskDuring(const std::string& other, const std::function<void()>& change) {
        auto done = std::async(std::launch::async, change);
        do {
            AskAll();
            EXPECT_NE(StatusOf(control_, other), kStoppedWorking);
            control_.events.clear();
        } while (done.wait_for(20ms) != std::future_status::ready);
    }
    void AskAll() {
        const std::pair<ManagerCommand, Bytes> questions[] = {
            {ManagerCommand{kIpcAliveCheck}, {}},
            {kManagerGetString, Names(name_, "port")},
            {kManagerSetString, Names(name_, "note", "a")},
            {kManagerGetNumber, Names(name_, "type")},
            {kManagerSetNumber, wire::Encode(ipc_mngctrl_set_num_property_request{name_, std::string("n"), 1})},
            {kManagerList, wire::Encode(ipc_mngctrl_list_request{7})},
            {kManagerStatus, Names(name_)},
            {kManagerGetClients, Names(name_)}};
        for (const auto& [command, payload] : questions) {
            const auto what = "command " + std::to_string(command);
            EXPECT_EQ(Take<std::int32_t>(Soon([&] { return control_.Ask(command, payload); }, what), 0), 0) << what;
        }
        EXPECT_EQ(Soon([&] { return database_.SetUint32(0, name_, "n", 2); }, "506"), 0);
        EXPECT_EQ(Soon([&] { return database_.SetString(0, name_, "note", "b"); }, "507"), 0);
    }

  private:
    const std::string name_;
    RawClient control_{kManager};
    VexaDB::VexaDBIPCClient database_;
};

TEST(Core, NobodyWaitsForASlowInstance) {
    PrepareMachine();
    WriteTable("0", "slow", Sample("1"));
    WriteTable("1", "other", Sample("2"));
    ManagerRun manager(FaultyFolder());
    {
        RawClient early(kManager);
        ASSERT_TRUE(WaitForLog("Starting Instance slow"));
        const auto list =
            Soon([&] { return early.Ask(kManagerList, wire::Encode(ipc_mngctrl_list_request{7})); }, "list");
        EXPECT_EQ(Take<std::int32_t>(list, 0), 0);
        EXPECT_EQ(StatusOf(early, "slow"), kStopped);
        EXPECT_FALSE(LogHas("Instance slow started"));
    }
    ASSERT_TRUE(WaitForLog("Monitor Protocols services"));
    Bystander other("other");
    other.AskDuring("slow", [] {
        RawClient watching(kManager), leaving(kManager);
        leaving.Send(kRequest, 1, kManagerStop, Names("slow"));
        leaving.Send(kTerminate, 2, 0, {});
        EXPECT_EQ(Soon([&] { return Next(leaving); }, "terminate").id, 2u);
        EXPECT_TRUE(Soon([&] { return leaving.HasEnded(); }, "end"));
        EXPECT_EQ(Next(watching).command, kEventStopped) << "was carried out";
    });
    other.AskDuring("slow", [] {
        RawClient watching(kManager), vanishing(kManager);
        vanishing.Send(kRequest, 1, kManagerStart, Names("slow"));
        vanishing.Close();
        EXPECT_EQ(Next(watching).command, kEventStarted) << "was carried out";
        EXPECT_EQ(StatusOf(watching, "slow"), kRunning);
    });
    other.AskDuring("slow", [] {
        RawClient watching(kManager), asking(kManager);
        asking.Send(kRequest, 1, kManagerRestart, Names("slow"));
        asking.Send(kRequest, 2, kManagerStatus, Names("slow"));
        EXPECT_EQ(Next(watching).command, kEventStopped);
        EXPECT_EQ(StatusOf(watching, "slow"), kStopped) << "until it is started again";
        for (const auto command : {kEventStopped, kEventStarted, kManagerRestart})
            EXPECT_EQ(Next(asking).command, command);
        EXPECT_EQ(Take<std::uint32_t>(Next(asking).body, 4), kRunning) << "asked after the restart";
    });
    other.AskDuring("slow", [] {
        RawClient watching(kManager), database(kDatabase);
        EXPECT_EQ(database.Ask(VexaDB::kDatabaseRemoveInstance, InSession0("slow")), kDone);
        EXPECT_EQ(Next(watching).command, kEventRemoved);
    });
    EXPECT_EQ(manager.Stop(), 0);
}

TEST(Core, TheMonitorHoldsNobodyUpAndLeavesAloneWhatWasStopped) {
    PrepareMachine({{"monitorwaittime", 200u}, {"starttimeout", 3000u}});
    WriteTable("0", "absent", Sample("1"));
    WriteTable("1", "dies", Sample("2"));
    WriteTable("2", "other", Sample("3"));
    ManagerRun manager(FaultyFolder());
    ASSERT_TRUE(WaitForStatus("other", kRunning));
    const auto awaitTwoPasses = [] {
        const auto passes = [] { return LogCount("Protocol absent has stopped working"); };
        EXPECT_TRUE(Eventually([&, before = passes()] { return passes() >= before + 2; }));
    };
    Bystander("other").AskDuring("other", awaitTwoPasses);

    EXPECT_EQ(Control(kManagerStop, "dies"), 0);
    EXPECT_EQ(Status("dies").status, kStopped);
    const auto before = LogCount("Protocol dies has stopped working");
    awaitTwoPasses();
    EXPECT_EQ(LogCount("Protocol dies has stopped working"), before);
    EXPECT_EQ(Control(kManagerStop, "absent"), 0);
    EXPECT_EQ(Status("absent").status, kStopped);
    EXPECT_EQ(manager.Stop(), 0);
}

TEST(Core, AHungChildIsAskedOnceForAllWhoWait) {
    constexpr auto kIpcTimeout = 2s;
    PrepareMachine({{"ipctimeout", 2000u}, {"stoptimeout", 500u}});
    WriteTable("0", "deaf", Sample("1"));
    WriteTable("1", "other", Sample("2"));
    ManagerRun manager(FaultyFolder());
    ASSERT_TRUE(WaitForStatus("deaf", kRunning));
    ASSERT_TRUE(WaitForStatus("other", kRunning));
    ASSERT_EQ(IPCClient::GetClient("deaf", true)->Send(IPC::Notice(200)), 0);
    ASSERT_TRUE(WaitForStatus("deaf", kStoppedWorking));

    std::vector<std::unique_ptr<RawClient>> clients(10);
    for (auto& client : clients)
        client = std::make_unique<RawClient>(kManager);
    RawClient stopping(kManager), other(kManager);
    const auto begin = Clock::now();
    for (auto& client : clients)
        client->Send(kRequest, 1, kManagerStatus, Names("deaf"));
    stopping.Send(kRequest, 1, kManagerStop, Names("deaf"));
    EXPECT_EQ(StatusOf(other, "other"), kRunning);
    for (auto& client : clients) {
        const auto reply = Next(*client);
        EXPECT_EQ(reply.command, kManagerStatus);
        EXPECT_EQ(Take<std::int32_t>(reply.body, 0), 0);
        EXPECT_LT((Clock::now() - begin) / 1ms, (kIpcTimeout + kSoon) / 1ms);
    }
    EXPECT_EQ(Next(stopping).command, kEventStopped);
    EXPECT_EQ(Next(stopping).body, kDone);
    // One exchange of the ten, two of its own, the wait for the end.
    EXPECT_LT((Clock::now() - begin) / 1ms, (5 * kIpcTimeout + kSoon) / 1ms);
    EXPECT_EQ(manager.Stop(), 0);
}

TEST(Core, ATakenNameIsRefusedAndADeathIsKnownAtOnce) {
    PrepareMachine({{"starttimeout", 60000u}});
    WriteTable("0", "one", Sample("1"));
    WriteTable("1", "taken", Sample("2", {{"enabled", 0u}}));
    WriteTable("2", "dies", Sample("3", {{"enabled", 0u}}));
    WriteTable("3", "writes", Sample("4"));
    ManagerRun manager(FaultyFolder());
    ASSERT_TRUE(WaitForLog("Monitor Protocols services"));
    RawClient c(kManager);
    RawClient database(kDatabase);

    const std::uint64_t child = Status("one").processId;
    for (const auto* refused : {"taken", "", "protocolmanager", "vexadbserver"}) {
        const auto errors = LogCount("|[E] ");
        EXPECT_EQ(c.Ask(kManagerRename, Names("one", refused)), kRefused) << refused;
        EXPECT_GT(LogCount("|[E] "), errors);
        const auto log = Log();
        EXPECT_NE(log.find(refused, log.rfind("|[E] ")), std::string::npos);
    }
    EXPECT_EQ(Status("one").processId, child);
    EXPECT_EQ(Status("one").status, kRunning);

    // A child that writes while it is started, whoever renames and removes meanwhile.
    c.Send(kRequest, 1, kManagerRestart, Names("writes"));
    EXPECT_EQ(database.Ask(VexaDB::kDatabaseRenameInstance, InSession0("taken", "gone")), kDone);
    EXPECT_EQ(database.Ask(VexaDB::kDatabaseRemoveInstance, InSession0("gone")), kDone);
    EXPECT_EQ(database.Ask(VexaDB::kDatabaseRenameInstance, InSession0("writes", "writes2")), kDone);
    EXPECT_EQ(Status("writes2").status, kRunning);
    EXPECT_EQ(ReadValue("3", "note") + ReadValue("3", "starts"), "in a batch1");

    // What the database has, an add takes up as it is.
    VexaDB::VexaDBIPCClient db;
    ASSERT_TRUE(db.Connect());
    EXPECT_EQ(db.AddInstance(0, "late", 4), 0);
    EXPECT_EQ(c.Ask(kManagerAdd, wire::Encode(ipc_mngctrl_add_request{7, std::string("late")})), kDone);
    EXPECT_TRUE(!c.events.empty() && c.events.back().command == kEventAdded);
    EXPECT_EQ(Take<std::uint32_t>(c.Ask(kManagerList, wire::Encode(ipc_mngctrl_list_request{4})), 4), 1u);

    TerminateProcess(OpenChild(child).Get(), 0xBEEF);
    EXPECT_TRUE(WaitForLog("[E] Process " + std::to_string(child) + " of instance one ended with exit code BEEF"));
    EXPECT_EQ(Status("one").status, kStoppedWorking);
    EXPECT_EQ(c.Ask(kManagerStop, Names("one")), kDone);
    EXPECT_EQ(Status("one").status, kStopped);

    EXPECT_EQ(db.SetUint32(0, "dies", "enabled", 1), 0);
    EXPECT_EQ(c.Ask(kManagerStart, Names("dies")), kRefused) << "long before the time-out";
    EXPECT_TRUE(LogHas("Cannot start instance dies did not connect 0"));
    EXPECT_EQ(manager.Stop(), 0);
}

}  // namespace
}  // namespace e2e
