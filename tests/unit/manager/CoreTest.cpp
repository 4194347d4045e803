// The manager's table and the settings database: a name has at most one instance, the manager follows changes in their
// order, and it follows a change that it had to refuse as soon as it can.

#include <list>

#include "protocols/control/ControlMessages.h"
#include "support/Observer.h"
#include "unit/manager/ManagerFixture.h"

namespace {

using Clock = std::chrono::steady_clock;

class CoreTest : public ManagerTest {
  protected:
    ~CoreTest() override {
        if (observer_)
            db->RemoveObserver(observer_);
    }
    /// Hears of the database's changes before the manager does.
    void Observe(std::function<void(const std::string&)> told) {
        db->AddObserver(observer_ = std::make_shared<Observer>(std::move(told)));
    }

    const std::shared_ptr<VexaDB::VexaDBServer> db = Db();  // keeps the same database for the whole test

  private:
    std::shared_ptr<Observer> observer_;
};

TEST_F(CoreTest, WhatIsInUseFollowsTheDatabaseOnceItIsFree) {
    Add(kBroken, "", VexaDB::kRobot);
    RunWith({"A", "B", "X", "Y", "again", "gone"});
    RawClient c(kManagerServerName);
    std::list<RawClient> users;
    for (const char* name : {"A", "X", "again", "gone"})
        users.emplace_back(name);
    EXPECT_EQ(db->RenameInstance(kSession, "A", "C"), 0);
    EXPECT_EQ(db->RenameInstance(kSession, "B", "A"), 0) << "waits for the one that has the name";
    EXPECT_EQ(db->RemoveInstance(kSession, "X"), 0);
    EXPECT_EQ(db->RenameInstance(kSession, "Y", "X"), 0);
    EXPECT_EQ(db->RemoveInstance(kSession, "gone"), 0);
    EXPECT_EQ(db->RemoveInstance(kSession, "again"), 0);
    EXPECT_EQ(db->AddInstance(kSession, "again", VexaDB::kSampleProtocol), 0);
    AwaitPass();
    EXPECT_EQ(Sorted(Listed(c)), Sorted({"A", "B", "X", "Y", "again", "gone"}));
    EXPECT_EQ(TakeTableEvents(c), Lines{});
    EXPECT_EQ(StatusOf(c, "X"), kRunning) << "a question is answered as for any other";
    EXPECT_FALSE(log->Contains("Protocol A has stopped working") || log->Contains("Protocol X has stopped working"));
    for (auto& user : users)
        EXPECT_EQ(user.Ask(kIpcAliveCheck, {}), Bytes()) << "goes on being served";

    users.clear();
    const Lines names{"A", "C", "X", "again"};
    EXPECT_TRUE(Eventually([&] { return Sorted(Listed(c)) == Sorted(names); }));
    for (const auto& name : names)
        EXPECT_TRUE(Eventually([&] { return StatusOf(c, name) == kRunning; })) << name;
    const auto events = TakeTableEvents(c);
    for (const char* event : {"152:A:C", "152:B:A", "151:gone"})
        EXPECT_EQ(std::count(events.begin(), events.end(), event), 1) << event;
}

TEST_F(CoreTest, CommandsOnNamesThatTableAndDatabaseDoNotShare) {
    Set("monitorwaittime", 3'600'000);
    RunWith({"A", "B", "X"});
    RawClient c(kManagerServerName);
    {
        const RawClient user("X");
        for (const bool noted : {false, true}) {
            for (const auto command : {kManagerStop, kManagerRestart, kManagerRename, kManagerRemove})
                EXPECT_EQ(Result(c, command, Names("X", "Z")), kManagerInUse) << command << noted;
            EXPECT_EQ(db->RemoveInstance(kSession, "X"), noted ? -1 : 0);
        }
        for (const char* line : {"Cannot stop X because", "Cannot restart X because", "Cannot remove X because"})
            EXPECT_TRUE(log->Contains(line + std::string(" it is still in use!"))) << line;
        EXPECT_EQ(StatusOf(c, "X"), kRunning);
    }
    auto removed = kManagerInUse;
    EXPECT_TRUE(Eventually([&] { return (removed = Result(c, kManagerRemove, Names("X"))) != kManagerInUse; }));
    EXPECT_EQ(removed, 0);
    EXPECT_EQ(TakeTableEvents(c), Lines{"151:X"});
    EXPECT_EQ(Listed(c), (Lines{"A", "B"}));

    for (const std::string refused : {"B", "", "protocolmanager", "vexadbserver"}) {
        EXPECT_EQ(Result(c, kManagerRename, Names("A", refused)), -1) << refused;
        EXPECT_TRUE(log->Contains("Cannot rename instance A to " + refused + ": "));
    }
    for (const char* name : {"A", "B"})
        EXPECT_EQ(StatusOf(c, name), kRunning) << name;
    EXPECT_EQ(Result(c, kManagerRename, Names("A", "Z")), 0);
    EXPECT_EQ(StatusOf(c, "Z"), kStopped) << "nothing is enabled under that name";
    EXPECT_EQ(Result(c, kManagerRename, Names("Z", "A")), 0);
    EXPECT_EQ(StatusOf(c, "A"), kStopped) << "whatever comes later";
    EXPECT_EQ(TakeTableEvents(c), (Lines{"152:A:Z", "152:Z:A"}));
}

TEST_F(CoreTest, WhatChangesBeforeAnInstancesTurnIsFollowedInTheListOfThoseToCome) {
    for (const char* name : {"first", "mid", "gone", "last", "added"})
        Add(name, name);
    Hold(hooks["first"].onStart);
    Run();
    AwaitHeld();
    Connect();
    RawClient c(kManagerServerName);
    std::list<std::future<std::int32_t>> changes;
    const auto begin = [&](auto change) { changes.push_back(std::async(std::launch::async, change)); };
    begin([&] { return db->RenameInstance(kSession, "mid", "mid2"); });
    EXPECT_TRUE(Eventually([&] { return db->IsInstanceExist(kSession, "mid2"); }));
    begin([&] { return db->RemoveInstance(kSession, "gone"); });
    EXPECT_TRUE(Eventually([&] { return !db->IsInstanceExist(kSession, "gone"); }));
    const ipc_mngctrl_add_request add{VexaDB::kRobot, std::string("added")};
    IPCClient adding(true);
    EXPECT_EQ(adding.Connect(kManagerServerName), 0);
    EXPECT_EQ(adding.Send(IPC::Request(kManagerAdd, wire::Encode(add))), 0);
    EXPECT_EQ(adding.Terminate(), 0) << "what was read before it is carried out";
    Release();
    for (auto& change : changes)
        EXPECT_EQ(change.get(), 0);
    ASSERT_TRUE(log->WaitFor("Monitor Protocols services", kPatienceMs));
    auto names = Listed(c);
    EXPECT_EQ(std::erase(names, "added"), 1u) << "with the type that it has in the database";
    EXPECT_EQ(names, (Lines{"first", "mid2", "last"}));
    for (const char* name : {"mid2", "added"})
        EXPECT_EQ(StatusOf(c, name), kRunning) << name;
    const auto events = TakeTableEvents(c);
    for (const char* event : {"152:mid:mid2", "150:added"})
        EXPECT_EQ(std::count(events.begin(), events.end(), event), 1) << event;
}

TEST_F(CoreTest, ARenameIsFollowedAlsoWhileTheLastInstanceIsTakenUp) {
    std::future<std::int32_t> renamed;
    Add("L", "1", VexaDB::kEthernetIp);
    Observe([&](const std::string& change) {
        if (change == "renamed L M")
            log->WaitFor("Monitor Protocols services", 500);  // delays the notice as long as possible
        if (change != "L.producersize >64" || renamed.valid())
            return;  // the repair of this setting precedes the instance's entry into the table
        renamed = std::async(std::launch::async, [this] { return db->RenameInstance(kSession, "L", "M"); });
        EXPECT_TRUE(Eventually([this] { return db->IsInstanceExist(kSession, "M"); }));
    });
    RunAndWait();
    ASSERT_TRUE(renamed.valid());
    EXPECT_EQ(renamed.get(), 0);
    RawClient c(kManagerServerName);
    EXPECT_TRUE(Eventually([&] { return StatusOf(c, "M") == kRunning; }));
}

TEST_F(CoreTest, AllClientsSeeTheChangesOfASettingInTheirOrder) {
    constexpr int kChanges = 150;
    Set("ipctimeout", kPatienceMs);  // one of the clients reads late
    RunWith({"A"});
    RawClient asking(kManagerServerName), late(kManagerServerName);
    std::thread other([this] {
        for (int i = 0; i < kChanges; ++i)
            EXPECT_EQ(db->SetString(kSession, "A", "note", "d" + std::to_string(i)), 0);
    });
    for (int i = 0; i < kChanges; ++i)
        EXPECT_EQ(Result(asking, kManagerSetString, Names("A", "note", "c" + std::to_string(i))), 0);
    other.join();
    const auto seen = TakeEvents(asking);
    EXPECT_EQ(seen, TakeEvents(late));
    EXPECT_EQ(seen.size(), 3u * kChanges);
    // Each change by a command causes two events, one directly after the other. Each event's old value is the new
    // value of the one before it.
    std::string value;
    for (std::size_t i = 0; i < seen.size(); ++i) {
        const auto begin = "155:A:note:" + value + ":";
        ASSERT_TRUE(seen[i].starts_with(begin)) << i << " " << seen[i];
        value = seen[i].substr(begin.size());
        if (value[0] == 'c' && ++i) {
            ASSERT_TRUE(i < seen.size() && seen[i] == seen[i - 1]) << i;
        }
    }
}

TEST_F(CoreTest, AnObserverFollowsAChangeWithChangesOfItsOwn) {
    Lines heard;
    RunWith({"gone", "A", "B"});
    Observe([&, thread = std::this_thread::get_id()](const std::string& change) {
        if (change.starts_with("B.note"))
            return;
        heard.push_back(change);
        EXPECT_EQ(std::this_thread::get_id(), thread);
        if (change != "follow" || heard.size() > 3)
            return;
        const auto set = [this] { return db->SetString(kSession, "B", "note", "x"); };
        EXPECT_EQ(std::async(std::launch::async, set).get(), 0) << "the order is free";
        EXPECT_EQ(db->RenameInstance(kSession, "B", "C"), 0);
    });
    EXPECT_EQ(db->Batch(kSession), 0);
    EXPECT_EQ(db->RemoveInstance(kSession, "gone"), 0);
    EXPECT_EQ(db->RenameInstance(kSession, "A", "D"), 0);
    EXPECT_EQ(db->Commit(kSession), 0);
    EXPECT_EQ(heard, (Lines{"removed gone", "renamed A D", "follow", "renamed B C", "follow"}));
    RawClient c(kManagerServerName);
    EXPECT_EQ(Listed(c), (Lines{"D", "C"}));
}

TEST_F(CoreTest, AfterAStormTableAndDatabaseTellTheSame) {
    const auto inSession = [this](const std::function<void(VexaDB::SessionId)>& changes) {
        VexaDB::SessionId session = 0;
        EXPECT_EQ(db->OpenSession(session) + db->Batch(session), 0);
        changes(session);
        EXPECT_EQ(db->Commit(session) + db->CloseSession(session), 0);
    };
    for (const char* name : {"A", "B", "r", "u", "tmp", "s", "new", "newer"})
        hooks[name].onStart = [name, inSession] {
            inSession([&](auto session) { Db()->SetString(session, name, "note", "in a batch"); });
        };
    Add(kBroken, "", VexaDB::kRobot);
    RunWith({"A", "B", "r", "u"});
    Observe([this](const std::string& change) {
        if (change == "follow")
            db->SetString(kSession, "u", "note", "followed");
    });
    const auto add = [](const char* name) {
        return wire::Encode(ipc_mngctrl_add_request{VexaDB::kSampleProtocol, std::string(name)});
    };
    std::vector<std::thread> storm;
    const auto repeat = [&storm, end = Clock::now() + std::chrono::seconds(4)](auto body) {
        storm.emplace_back([=] {
            for (std::uint32_t round = 0; Clock::now() < end; ++round)
                body(round);
        });
    };
    for (const char* own : {"new", "newer"}) {
        repeat([=](std::uint32_t round) {
            RawClient c(kManagerServerName);
            c.Ask(kManagerAdd, add(own));
            const ipc_mngctrl_set_num_property_request number{std::string(own), std::string("n"), round};
            EXPECT_EQ(Result(c, kManagerSetNumber, wire::Encode(number)), 0);
            for (const auto command : {kManagerStart, kManagerStatus, kManagerGetClients, kManagerRestart})
                c.Ask(command, Names(round % 2 == 0 ? own : "A"));
            EXPECT_EQ(Take<std::uint32_t>(c.Ask(kManagerGetNumber, Names(own, "n")), 4), round);
            c.Send(kRequest, 1, kManagerStop, Names("B"));
            if (round % 3 != 0)  // in every third round the client disconnects at once
                c.Ask(kManagerRemove, Names(own));
        });
    }
    repeat([](std::uint32_t round) {
        const char* const names[] = {"A", "r", "u"};
        const auto user = ClientTransport::Make(names[round % 3]);
        if (user->Connect(kPatienceMs) == 0)
            user->Write(Bytes(8).data(), 8, kPatienceMs);
        RawClient c(kManagerServerName);
        for (const auto command : {kManagerStatus, kManagerStop, kManagerStart})
            c.Ask(command, Names(names[round % 3]));
    });
    repeat([this](std::uint32_t round) {
        EXPECT_EQ(db->RenameInstance(kSession, round % 2 == 0 ? "r" : "s", round % 2 == 0 ? "s" : "r"), 0);
    });
    repeat([=, this](std::uint32_t) {
        inSession([this](auto session) {
            for (const auto& [from, to] : {std::pair("A", "tmp"), {"B", "A"}, {"tmp", "B"}})
                EXPECT_EQ(db->RenameInstance(session, from, to), 0);
        });
    });
    repeat([=, this](std::uint32_t) {
        RawClient c(kManagerServerName);
        EXPECT_EQ(db->RemoveInstance(kSession, "u"), 0);
        EXPECT_EQ(db->AddInstance(kSession, "u", VexaDB::kSampleProtocol), 0);
        c.Ask(kManagerAdd, add("u"));
    });
    for (auto& thread : storm)
        thread.join();
    AwaitPass();
    RawClient c(kManagerServerName);
    const auto agree = [&] {
        auto table = Listed(c);
        table.push_back(kBroken);
        return Sorted(table) == Sorted(NamesInDatabase());
    };
    EXPECT_TRUE(Eventually(agree)) << testing::PrintToString(Listed(c));
    EXPECT_EQ(Connect()->Stop(), 0) << "the request that ends the manager is answered, too";
}

}  // namespace
