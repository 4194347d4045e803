// What another process may ask of the running manager, asked in raw bytes.

#include <gtest/gtest.h>

#include <future>
#include <set>
#include <string>
#include <vector>

#include "IPC/class/IPCClient.h"
#include "e2e/ManagerRun.h"
#include "support/RawClient.h"
#include "utils/VexaDB/class/VexaDBIPCClient.h"
#include "utils/VexaDB/class/VexaDBMessages.h"

namespace e2e {
namespace {

const char* const kManager = kManagerServerName;
const char* const kDatabase = VexaDB::kDatabaseServerName;

/// Text fields of 50 bytes, zero-filled; a longer text is left unterminated on purpose.
Bytes Names(std::initializer_list<std::string> names) {
    Bytes bytes;
    for (auto name : names) {
        name.resize(50);
        bytes.insert(bytes.end(), name.begin(), name.end());
    }
    return bytes;
}

template <class Integer>
Bytes With(Integer value, Bytes before = {}, const Bytes& after = {}) {
    Put(before, value);
    before.insert(before.end(), after.begin(), after.end());
    return before;
}

Bytes Result(std::int32_t result) {
    return With<std::uint32_t>(static_cast<std::uint32_t>(result));
}

Bytes Padded(Bytes bytes, std::size_t size) {
    bytes.resize(size);
    return bytes;
}

/// The events since the last call, as "code:payload texts", in the order in which they came.
std::vector<std::string> TakeEvents(RawClient& client) {
    std::vector<std::string> seen;
    for (const auto& event : client.events) {
        EXPECT_EQ(event.flags & kOneWay, kOneWay) << "an event is a request without a reply";
        auto line = std::to_string(event.command);
        for (std::size_t offset = 0; offset < event.body.size(); offset += 50)
            line += ":" + std::string(reinterpret_cast<const char*>(event.body.data()) + offset);
        EXPECT_EQ(event.body.size() % 50, 0u);
        seen.push_back(line);
    }
    client.events.clear();
    return seen;
}

using Events = std::vector<std::string>;

class ControlTest : public testing::Test {
  protected:
    void SetUp() override {
        PrepareMachine({{"ipctimeout", 2000u}});
        WriteTable("0", "a", Sample("1"));
        manager_ = std::make_unique<ManagerRun>();
        ASSERT_TRUE(WaitForStatus("a", kRunning));
        client_ = std::make_unique<RawClient>(kManager);
    }
    void TearDown() override {
        client_.reset();
        EXPECT_EQ(manager_->Stop(), 0);
    }

    std::unique_ptr<ManagerRun> manager_;
    std::unique_ptr<RawClient> client_;
};

TEST_F(ControlTest, EveryCommandInItsGoodCaseAndItsRefusals) {
    auto& c = *client_;
    EXPECT_GE(c.connectionId, 1u);
    EXPECT_NE(c.serverPid, 0u);
    EXPECT_EQ(c.Ask(1, {}), Bytes{});

    // Adding: the settings of a new instance are announced, then the instance itself.
    EXPECT_EQ(c.Ask(100, With<std::uint32_t>(7, {}, Names({"b"}))), Result(0));
    EXPECT_EQ(TakeEvents(c), (Events{"155:b:emultype::none", "155:b:protocol::sampleprotocol", "150:b"}));
    EXPECT_EQ(c.Ask(100, With<std::uint32_t>(7, {}, Names({"b"}))), Result(-1));
    EXPECT_EQ(c.Ask(100, With<std::uint32_t>(8, {}, Names({"typeless"}))), Result(-1));
    EXPECT_EQ(c.Ask(100, With<std::uint32_t>(7, {}, Names({""}))), Result(-1));
    EXPECT_EQ(TakeEvents(c), Events{});
    EXPECT_EQ(ReadValue("1", "_kiv_name") + ReadValue("1", "type") + ReadValue("1", "enabled"), "b71");

    // Properties.
    EXPECT_EQ(c.Ask(106, Names({"b", "port", "2"})), Padded(Result(0), 54));
    EXPECT_EQ(TakeEvents(c), (Events{"155:b:port::2", "155:b:port::2"})) << "the database's and the command's own";
    EXPECT_EQ(c.Ask(105, Names({"b", "port"})), Padded(With<std::uint32_t>(0, {}, Names({"2"})), 54));
    EXPECT_EQ(c.Ask(105, Names({"b", "absent"})), Padded(Result(-1), 54));
    EXPECT_EQ(c.Ask(105, Names({"nobody", "port"})), Padded(Result(-1), 54));
    EXPECT_EQ(c.Ask(106, Names({"nobody", "port", "2"})), Padded(Result(-1), 54));
    EXPECT_EQ(c.Ask(106, Names({"b", "type", "text on a number"})), Padded(Result(-1), 54));
    EXPECT_EQ(c.Ask(108, With<std::uint32_t>(0xFFFFFFFF, Names({"b", "n"}))), Padded(Result(0), 8));
    EXPECT_EQ(c.Ask(107, Names({"b", "n"})), With<std::uint32_t>(0xFFFFFFFF, Result(0)));
    EXPECT_EQ(c.Ask(107, Names({"nobody", "n"})), Padded(Result(-1), 8));
    EXPECT_EQ(c.Ask(108, With<std::uint32_t>(1, Names({"nobody", "n"}))), Padded(Result(-1), 8));
    EXPECT_EQ(TakeEvents(c), Events{});

    // Lists and states.
    EXPECT_EQ(c.Ask(109, With<std::uint32_t>(7)), With<std::uint32_t>(2, Result(0), Names({"a", "b"})));
    EXPECT_EQ(c.Ask(109, With<std::uint32_t>(5)), Padded(Result(-1), 58));
    EXPECT_EQ(c.Ask(118, Names({"nobody"})), Padded(Result(-9), 40));
    const auto status = c.Ask(118, Names({"a"}));
    ASSERT_EQ(status.size(), 40u);
    EXPECT_EQ(Take<std::uint32_t>(status, 0), 0u);
    EXPECT_EQ(Take<std::uint32_t>(status, 4), 1u);
    EXPECT_EQ(Take<std::uint32_t>(status, 8), 7u);
    EXPECT_TRUE(IsAlive(Take<std::uint64_t>(status, 28)));
    EXPECT_EQ(Take<std::uint32_t>(status, 36), 1u);
    const auto clients = c.Ask(120, Names({"a"}));
    ASSERT_EQ(clients.size(), 8u + 24u);
    EXPECT_EQ(Take<std::uint32_t>(clients, 4), 1u);
    EXPECT_EQ(Take<std::uint64_t>(clients, 8 + 8), c.serverPid);
    EXPECT_EQ(c.Ask(120, Names({"b"})), Bytes(8)) << "not running: no entry";
    EXPECT_EQ(c.Ask(120, Names({"nobody"})), Padded(Result(-9), 32));

    // Starting and stopping.
    EXPECT_EQ(c.Ask(102, Names({"b"})), Result(0));
    EXPECT_EQ(c.Ask(104, Names({"b"})), Result(0));
    EXPECT_EQ(c.Ask(103, Names({"b"})), Result(0));
    EXPECT_EQ(c.Ask(103, Names({"b"})), Result(0)) << "already stopped: nothing to do, nothing to tell";
    EXPECT_EQ(TakeEvents(c), (Events{"153:b", "154:b", "153:b", "154:b"}));
    for (const std::uint32_t command : {102u, 103u, 104u})
        EXPECT_EQ(c.Ask(command, Names({"nobody"})), Result(-1));

    // Renaming and removing.
    EXPECT_EQ(c.Ask(119, Names({"b", "c"})), Result(0));
    EXPECT_EQ(TakeEvents(c), Events{"152:b:c"});
    EXPECT_EQ(c.Ask(119, Names({"b", "d"})), Result(-1));
    EXPECT_EQ(ReadValue("1", "_kiv_name"), "b") << "the running table's name changes, not the database's";
    EXPECT_EQ(c.Ask(119, Names({"c", "b"})), Result(0));
    EXPECT_EQ(c.Ask(101, Names({"b"})), Result(0));
    EXPECT_EQ(TakeEvents(c), (Events{"152:c:b", "151:b"}));
    EXPECT_EQ(c.Ask(101, Names({"b"})), Result(-9));
    EXPECT_EQ(ReadValue("1", "_kiv_name"), "");
}

TEST_F(ControlTest, AnInstanceThatOthersUseIsLeftAlone) {
    auto& c = *client_;
    const auto child = Take<std::uint64_t>(c.Ask(118, Names({"a"})), 28);
    {
        const RawClient user("a");
        EXPECT_EQ(c.Ask(120, Names({"a"})).size(), 8u + 2 * 24u);
        for (const std::uint32_t command : {103u, 104u, 101u, 119u})
            EXPECT_EQ(c.Ask(command, Names({"a", "z"})), Result(-33)) << command;
        EXPECT_TRUE(LogHas("Cannot remove a because it is still in use!"));
        EXPECT_TRUE(LogHas("Removed instance a"));
        EXPECT_TRUE(LogHas("Cannot stop a because it is still in use!"));
        EXPECT_TRUE(LogHas("Cannot restart a because it is still in use!"));
        // Removed from the database behind the manager's back, it goes on running.
        VexaDB::VexaDBIPCClient db;
        ASSERT_TRUE(db.Connect());
        EXPECT_EQ(db.RemoveInstance(VexaDB::kServiceSession, "a"), 0);
        EXPECT_TRUE(IsAlive(child));
    }
    EXPECT_TRUE(Eventually([&c] { return c.Ask(103, Names({"a"})) == Result(0); }));
    EXPECT_FALSE(IsAlive(child));
    EXPECT_EQ(TakeEvents(c), Events{"151:a"}) << "the stop makes up for the removal";
}

TEST_F(ControlTest, NamesAreCutAndShortPayloadsRefused) {
    auto& c = *client_;
    const std::string whole(49, 'w');
    const std::string tooLong(50, 'x');
    EXPECT_EQ(c.Ask(100, With<std::uint32_t>(4, {}, Names({whole}))), Result(0));
    EXPECT_EQ(c.Ask(100, With<std::uint32_t>(4, {}, Names({tooLong}))), Result(0));
    EXPECT_EQ(c.Ask(109, With<std::uint32_t>(4)),
              With<std::uint32_t>(2, Result(0), Names({whole, tooLong.substr(0, 49)})));
    TakeEvents(c);

    const struct {
        std::uint32_t command;
        std::size_t request, reply;
    } sizes[] = {{100, 54, 4},   {101, 50, 4},   {102, 50, 4},  {103, 50, 4},  {104, 50, 4},
                 {105, 100, 54}, {106, 150, 54}, {107, 100, 8}, {108, 104, 8}, {109, 4, 58},
                 {118, 50, 40},  {119, 100, 4},  {120, 50, 32}};
    for (const auto& size : sizes) {
        Bytes payload(size.request, 'a');
        payload.resize(size.request - 1);
        EXPECT_EQ(c.Ask(size.command, payload), Padded(Result(-1), size.reply)) << size.command;
        EXPECT_EQ(c.Ask(size.command, {}), Padded(Result(-1), size.reply)) << size.command;
    }
    EXPECT_EQ(TakeEvents(c), Events{});
    EXPECT_EQ(c.Ask(118, Names({"a"})).at(4), 1) << "still running";
}

TEST_F(ControlTest, OneWayRequestsAreDoneAndUnknownOnesPassedOver) {
    auto& c = *client_;
    c.Send(kOneWay, 1, 100, With<std::uint32_t>(4, {}, Names({"quiet"})));
    for (const std::uint32_t command : {3u, 42u, 99u, 110u, 117u, 121u, 500u, 0xFFFFFFFFu})
        c.Send(kRequest, 2, command, Bytes(7));
    EXPECT_EQ(c.Ask(109, With<std::uint32_t>(4)), With<std::uint32_t>(1, Result(0), Names({"quiet"})));
    EXPECT_EQ(TakeEvents(c).size(), 3u) << "events, and not one reply that was not asked for";

    RawClient second(kManager);
    c.Send(kTerminate, 33, 0, {});
    second.Send(kRequest, 22, 118, Names({"nobody"}));
    EXPECT_EQ(second.Receive().id, 22u);
    const auto farewell = c.Receive();
    EXPECT_EQ(farewell.id, 33u);
    EXPECT_EQ(farewell.flags, 0x40000000u);
    EXPECT_TRUE(c.HasEnded());
}

TEST(PortOwnership, TheFirstOwnsThePortAndTheOthersAreDisabled) {
    PrepareMachine();
    const auto modbus = [](const std::string& port, const std::string& mode) {
        return Sample(port, {{"type", 2u}, {"mode", mode}});
    };
    WriteTable("0", "first", Sample("10"));
    WriteTable("1", "second", Sample("10"));
    WriteTable("2", "emulated", Sample("10", {{"emultype", std::string("full")}}));
    WriteTable("3", "tcp", modbus("502", "tcp"));
    WriteTable("4", "rtu", modbus("502", "rtu"));
    WriteTable("5", "tcp any", modbus("any", "tcp"));
    WriteTable("6", "portless", {{"type", 4u}, {"enabled", 1u}});
    ManagerRun manager;
    ASSERT_TRUE(WaitForStatus("portless", kRunning));
    EXPECT_EQ(Status("first").status, kRunning);
    EXPECT_EQ(ReadValue("0", "owner") + ReadValue("0", "enabled"), "11");
    EXPECT_EQ(ReadValue("1", "owner") + ReadValue("1", "enabled"), "00");
    EXPECT_TRUE(LogHas("There is already an owner first"));
    EXPECT_EQ(Status("emulated").status, kRunning) << "an emulated instance listens nowhere";
    EXPECT_EQ(ReadValue("2", "owner") + ReadValue("2", "enabled"), "01");
    EXPECT_EQ(ReadValue("3", "owner"), "1");
    EXPECT_EQ(ReadValue("4", "owner"), "1") << "another mode is no rival";
    EXPECT_EQ(ReadValue("5", "owner") + ReadValue("5", "enabled"), "00") << "any port is also the owned one";
    EXPECT_TRUE(LogHas("There is already an owner tcp"));
    EXPECT_EQ(ReadValue("6", "owner"), "1");
    EXPECT_EQ(manager.Stop(), 0);
}

TEST(CleanupRules, RepairEthernetIpAndDropSoftwareProfinet) {
    PrepareMachine({{"fpgadelayedstart", 1u}});
    WriteTable("0", "eip", {{"type", 3u}, {"consumersize", std::string("128")}, {"producersize", std::string()}});
    WriteTable("1", "soft", {{"type", 1u}, {"protocol", std::string("ProfinetProtocol")}});
    WriteTable("2", "hard", {{"type", 1u}, {"protocol", std::string("ProfinetProtocol")}, {"hardware", 1u}});
    WriteTable("old layout", "old layout", Sample("1", {{"enabled", 0u}}));
    ManagerRun manager;
    EXPECT_TRUE(WaitForLog("Monitor Protocols services"));
    EXPECT_EQ(
        ReadValue("0", "producersize") + "/" + ReadValue("0", "consumersize") + "/" + ReadValue("0", "configsize"),
        "64/128/64");
    EXPECT_TRUE(LogHas("Cleaning Ethernet/IP instance eip.producersize"));
    EXPECT_FALSE(LogHas("Cleaning Ethernet/IP instance eip.consumersize"));
    EXPECT_TRUE(LogHas("Profinet software not supported anymore! Removing soft"));
    EXPECT_EQ(ReadValue("1", "type") + ReadValue("2", "type"), "1")
        << "the software one is gone, the hardware one stays";
    EXPECT_TRUE(LogHas("ProfinetProtocol delay: 1 ms"));
    EXPECT_TRUE(LogHas("Fixing old table old layout using name as id"));
    EXPECT_EQ(Status("old layout").result, 0);
    EXPECT_EQ(manager.Stop(), 0);
}

TEST(Database, IsServedToOtherProcessesAndReachesTheManager) {
    PrepareMachine();
    {
        ManagerRun manager;
        RawClient raw(kDatabase);
        VexaDB::VexaDBIPCClient db;
        ASSERT_TRUE(db.Connect());
        VexaDB::SessionId session = 0;
        ASSERT_EQ(db.OpenSession(session), 0);

        // An open batch is its session's own; the commit stops at the first failure and reports 0 all the same.
        ASSERT_EQ(db.Batch(session), 0);
        EXPECT_EQ(db.AddInstance(session, "one", 4), 0);
        EXPECT_EQ(db.SetString(session, "one", "port", "7"), 0);
        EXPECT_TRUE(db.IsInstanceExist(session, "one"));
        const auto list = With<std::uint64_t>(0);
        EXPECT_EQ(raw.Ask(508, list), Bytes(8));
        EXPECT_EQ(raw.Ask(501, With<std::uint32_t>(4, With<std::uint64_t>(0), Names({"two"}))), Result(0));
        EXPECT_EQ(db.Commit(session), 0);
        EXPECT_EQ(raw.Ask(508, list), With<std::uint32_t>(2, Result(0), Names({"two", "one"})));
        EXPECT_EQ(raw.Ask(505, With<std::uint64_t>(0, {}, Names({"one", "port"}))),
                  With<std::uint32_t>(0, {}, Names({"7"})));

        EXPECT_EQ(db.CloseSession(session), 0);
        EXPECT_EQ(db.SetUint32(session, "one", "n", 1), -1);
        EXPECT_EQ(raw.Ask(999, Bytes{1, 2, 3}), (Bytes{1, 2, 3})) << "what the database does not know comes back";
        EXPECT_EQ(manager.Stop(), 0);
    }
    ManagerRun again;
    ASSERT_TRUE(Eventually([] { return Log().rfind("Monitor Protocols") > Log().rfind("End of Kiv"); }));
    VexaDB::VexaDBIPCClient db;
    ASSERT_TRUE(db.Connect());
    std::string port;
    EXPECT_EQ(db.GetString(0, "one", "port", port), 0);
    EXPECT_EQ(port, "7");

    // Committed changes reach the instances: one added by a control command follows a database rename and removal.
    RawClient control(kManager);
    EXPECT_EQ(control.Ask(100, With<std::uint32_t>(7, {}, Names({"live"}))), Result(0));
    EXPECT_EQ(control.Ask(102, Names({"live"})), Result(0));
    TakeEvents(control);
    EXPECT_EQ(db.RenameInstance(0, "live", "alive"), 0);
    EXPECT_EQ(control.Ask(118, Names({"alive"})).at(4), 1) << "stopped, renamed, started again";
    EXPECT_EQ(db.RemoveInstance(0, "alive"), 0);
    EXPECT_EQ(control.Ask(118, Names({"alive"})), Padded(Result(-9), 40));
    EXPECT_EQ(TakeEvents(control), (Events{"152:live:alive", "151:alive"}));
    EXPECT_EQ(again.Stop(), 0);
}

TEST(Together, EightClientsGetRightAnswersAndTheRegistryHoldsThem) {
    constexpr int kClients = 8;
    constexpr std::uint32_t kRounds = 6;
    PrepareMachine();
    ManagerRun manager;
    std::vector<std::future<void>> clients;
    for (int n = 0; n < kClients; ++n) {
        clients.push_back(
            std::async(std::launch::async, [db = "db " + std::to_string(n), other = "c " + std::to_string(n)] {
                RawClient control(kManager), database(kDatabase);
                const auto both = [](Bytes first, const Bytes& second) {
                    first.insert(first.end(), second.begin(), second.end());
                    return first;
                };
                for (std::uint32_t round = 0; round < kRounds; ++round) {
                    const auto session = With(Take<std::uint64_t>(database.Ask(511, {}), 4));
                    EXPECT_EQ(database.Ask(501, With(7u, session, Names({db}))), Result(0));
                    EXPECT_EQ(control.Ask(100, With(7u, {}, Names({other}))), Result(0));
                    EXPECT_EQ(database.Ask(506, With(round, both(session, Names({db, "n"})))), With(round, Result(0)));
                    EXPECT_EQ(control.Ask(108, With(round, Names({other, "n"}))), Padded(Result(0), 8));
                    EXPECT_EQ(database.Ask(503, both(session, Names({db, db + "r"}))), Result(0));
                    EXPECT_EQ(database.Ask(504, both(session, Names({db + "r", "n"}))), With(round, Result(0)));
                    EXPECT_EQ(control.Ask(107, Names({other, "n"})), With(round, Result(0)));
                    if (round + 1 < kRounds) {
                        EXPECT_EQ(database.Ask(502, both(session, Names({db + "r"}))), Result(0));
                        EXPECT_EQ(control.Ask(101, Names({other})), Result(0));
                    }
                    EXPECT_EQ(database.Ask(512, session), Result(0));
                }
            }));
    }
    clients.clear();  // waits
    EXPECT_EQ(manager.Stop(), 0);
    std::set<std::string> stored, expected;
    for (int n = 0; n < kClients; ++n)
        expected.insert({"c " + std::to_string(n) + "=5", "db " + std::to_string(n) + "r=5"});
    for (int id = 0; id < 2 * kClients; ++id)
        stored.insert(ReadValue(std::to_string(id), "_kiv_name") + "=" + ReadValue(std::to_string(id), "n"));
    EXPECT_EQ(stored, expected);
}

}  // namespace
}  // namespace e2e
