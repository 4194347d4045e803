// The manager's starts and stops, its faults, and what survives them.

#include "unit/manager/ManagerFixture.h"

namespace {

TEST_F(ManagerTest, AStopEndsTheProfinetDelayAndLeavesNoChild) {
    const auto tuning = VexaUtils::RegistryKey::OpenOrCreate("SOFTWARE\\Quenlar\\Torvik\\runtime\\settings\\vexa");
    tuning->SetNumber("fpgadelayedstart", 3'600'000);
    Add("net", "1", 1);
    Db()->SetUint32(kSession, "net", "hardware", 1);
    Run();
    ASSERT_TRUE(log->WaitFor("ProfinetProtocol delay: 3600000 ms", kPatienceMs));
    const auto net = manager->GetProtocol("net");
    Stop();
    EXPECT_EQ(net->GetStatus(), kStopped);
    EXPECT_FALSE(net->IsRunning());
}

TEST_F(ManagerTest, AStopDuringAHandshakeWaitsForItAndEndsTheChild) {
    host.serviceMode = true;
    Set("starttimeout", 300);
    Add("late", "1");
    Hold(hooks["late"].onStart);
    Run();
    AwaitHeld();
    auto stopped = std::async(std::launch::async, [this] { manager->InternalMainStop(); });
    EXPECT_TRUE(log->WaitFor("Cannot start instance late did not connect 1", kPatienceMs));
    Release();
    stopped.get();
    EXPECT_EQ(host.states, "4r1c") << "running and ready, then stopped and no longer ready";
    manager->InternalMainStop();  // a second stop, after the end, returns at once
}

TEST_F(ManagerTest, AStrangerOnTheReadyPipeIsTurnedAway) {
    const auto stranger = ClientTransport::Make("one-ready");
    hooks["one"].onStart = [&] {
        transport_host::ConnectNextAs(4711);
        EXPECT_EQ(stranger->Connect(kPatienceMs), 0);
        static_cast<void>(stranger->Write("\1", 1, kPatienceMs));  // claims that the start failed
    };
    RunWith({"one"});
    EXPECT_TRUE(log->Contains("Process 4711 is not the child of instance one, its ready connection is refused"));
    EXPECT_EQ(manager->GetProtocol("one")->GetStatus(), kRunning);

    children["absent"] = [] { return std::make_shared<FakeChild>(); };
    GlobalSettings::Set({.startTimeout = 300});
    EXPECT_EQ(manager->AddProtocol("absent", VexaDB::kSampleProtocol), 0);
    auto start = std::async(std::launch::async, [this] { return manager->StartProtocol("absent"); });
    EXPECT_TRUE(Eventually([&start] {
        transport_host::ConnectNextAs(4711);
        static_cast<void>(ClientTransport::Make("absent-ready")->Connect(0));
        return start.wait_for(std::chrono::milliseconds(0)) == std::future_status::ready;
    }));
    transport_host::ConnectNextAs(0);
    EXPECT_EQ(start.get(), -1) << "however many come";
}

TEST_F(ManagerTest, TheManagerOwnsTheMutexWhoeverHasAHandleToIt) {
    const auto outlived = kivsync::Mutex::MakeNamed("KivProtocolManager", false);
    std::int32_t exitCode = 0;
    EXPECT_TRUE(manager->Init(exitCode));
    EXPECT_EQ(exitCode, -1);
    const auto next = std::make_shared<CProtocolManager>(host);
    auto claim = std::async(std::launch::async, [&next, exitCode]() mutable { return next->Init(exitCode); });
    manager->Release();
    EXPECT_TRUE(claim.get());
    EXPECT_EQ(outlived->Lock(0), -1) << "the next one has it now";
}

TEST_F(ManagerTest, ServesAgainAfterEveryFault) {
    using transport_host::Operation;
    constexpr int kMostFaults = 40;
    Set("monitorwaittime", 3'600'000);
    Set("stoptimeout", 100);
    Set("ipctimeout", 400);
    RunWith({"one"});
    const auto serves = [&] {
        return manager->RestartProtocol("one") == 0 && manager->GetProtocol("one")->GetStatus() == kRunning &&
               Connect()->CheckAlive() == 0;
    };
    ASSERT_TRUE(serves());
    std::vector<std::function<int(int)>> faults{sync_host::FailThread,
                                                [](int nth) { return RegistryHost::Inject({.call = nth}).call; }};
    for (const auto operation : {Operation::Open, Operation::Accept, Operation::Connect, Operation::Read,
                                 Operation::Write, Operation::SlowRead, Operation::SlowWrite})
        faults.emplace_back([operation](int nth) { return transport_host::FailOperation(operation, nth); });
    for (const auto& fail : faults) {
        bool failed = true;
        for (int nth = 1; failed && nth <= kMostFaults; ++nth) {
            fail(nth);
            IPCClient client(true);
            static_cast<void>(client.Connect(kManagerServerName));
            static_cast<void>(client.CheckAlive());
            client.Terminate();
            static_cast<void>(manager->RestartProtocol("one"));
            failed = fail(0) == 0;
            EXPECT_TRUE(serves()) << "fault " << (&fail - faults.data()) << " at " << nth;
        }
    }
    EXPECT_TRUE(log->Contains("Cannot start PipeReader listener thread"));
    EXPECT_TRUE(log->Contains("Cannot connect to client protocolmanager"));

    SetChildFactory(nullptr);
    EXPECT_EQ(manager->RestartProtocol("one"), -1);
    EXPECT_TRUE(log->Contains("Cannot start protocol one"));
    EXPECT_EQ(Connect()->CheckAlive(), 0);
}

TEST_F(ManagerTest, ARestartIsPlannedLaterEachTimeUntilTheChildRanForAMinute) {
    constexpr std::uint32_t kHour = 3'600'000;  // ms: so long that the test's own duration does not matter
    constexpr std::uint32_t kPassInMs = 7;
    struct Dead : FakeChild {
        Dead() { End(1); }
    };
    std::atomic<std::int64_t> now{0}, runs{0};
    std::atomic<int> plans{0};
    children["dies"] = [&] {
        now += runs;
        return std::make_shared<Dead>();
    };
    Add("dies", "1");
    CProtocol dies("dies", {}, {kHour, 5 * kHour, [&] { return now.load(); }, [&] { ++plans; }});
    const auto hoursAfterStart = [&] {
        const int before = plans;
        EXPECT_EQ(dies.Start(CProtocol::kDefaultStartTimeout), -1);
        EXPECT_TRUE(Eventually([&] { return plans > before; }));
        return (dies.CheckInMs(kPassInMs) + kHour / 2) / kHour;
    };
    EXPECT_EQ(dies.CheckInMs(kPassInMs), kPassInMs);
    for (const auto hours : {1u, 2u, 4u, 5u, 5u})
        EXPECT_EQ(hoursAfterStart(), hours);
    for (const auto hours : {1u, 2u}) {
        runs = 60'000'000'000 - (hours - 1);
        EXPECT_EQ(hoursAfterStart(), hours);
    }
    EXPECT_EQ(dies.Stop(), 0);
    EXPECT_EQ(dies.CheckInMs(kPassInMs), kPassInMs);
    EXPECT_EQ(hoursAfterStart(), 4u);
    const auto before = dies.SetName("renamed");
    EXPECT_EQ(dies.CheckInMs(kPassInMs), kPassInMs);
}

TEST_F(ManagerTest, WhatEndsByItselfNeedNotWaitForThePass) {
    Set("monitorwaittime", 3'600'000);
    Set("restartdelay", 10);
    RunWith({"off", "one", "stopped"});
    RawClient c(kManagerServerName);
    EXPECT_EQ(Result(c, kManagerStop, Names("stopped")), 0);
    Db()->SetUint32(kSession, "off", "enabled", 0);
    for (const auto& [name, status] : {std::pair("off", kStoppedWorking), {"one", kRunning}, {"one", kRunning}}) {
        log->Clear();
        EXPECT_EQ(IPCClient::GetClient(name, true)->Stop(), 0);
        EXPECT_TRUE(log->WaitFor("Protocol " + std::string(name) + " has stopped working", kPatienceMs));
        EXPECT_TRUE(Eventually([&, name = name, status = status] { return StatusOf(c, name) == status; }));
    }
    EXPECT_EQ(StatusOf(c, "stopped"), kStopped);
    EXPECT_EQ(TakeTableEvents(c), Lines{"154:stopped"});
}

TEST_F(ManagerTest, SwappedNamesRunAgainAndChangesArriveInTheirOrder) {
    RunWith({"A", "B", "slow"});
    EXPECT_EQ(Db()->Batch(kSession), 0);
    for (const auto& [from, to] : {std::pair("A", "tmp"), {"B", "A"}, {"tmp", "B"}})
        EXPECT_EQ(Db()->RenameInstance(kSession, from, to), 0);
    EXPECT_EQ(Db()->Commit(kSession), 0);
    for (const char* name : {"A", "B"})
        EXPECT_EQ(manager->GetProtocol(name)->GetStatus(), kRunning) << name;

    Hold(hooks["slow"].onStart);  // its restart then has the turn, for which the changes wait
    auto restart = std::async(std::launch::async, [this] { static_cast<void>(manager->RestartProtocol("slow")); });
    AwaitHeld();
    auto rename = std::async(std::launch::async, [] { return Db()->RenameInstance(kSession, "A", "C"); });
    ASSERT_TRUE(log->WaitFor("VexaDB Rename instance A to C", kPatienceMs));
    EXPECT_TRUE(Eventually([] { return Db()->IsInstanceExist(kSession, "C"); }));
    auto remove = std::async(std::launch::async, [] { return Db()->RemoveInstance(kSession, "C"); });
    EXPECT_TRUE(Eventually([] { return !Db()->IsInstanceExist(kSession, "C"); }));
    Release();
    EXPECT_EQ(rename.get() + remove.get(), 0);
    EXPECT_FALSE(manager->GetProtocol("A") || manager->GetProtocol("C"));
}

TEST_F(ManagerTest, AReadThatFailsDuringTheStartCostsNoSetting) {
    VexaDB::VexaDBSession db(Db());
    db.SetUint32("", "fpgadelayedstart", 0);
    Add("net", "1", 1);
    db.SetUint32("net", "hardware", 1);
    db.SetString("net", "protocol", "no delay before it");
    Add("eip", "2", 3);
    db.SetString("eip", "consumersize", "128");
    Add("owner", "3");
    Add("other", "3");
    Add("emulated", "3");
    db.SetString("emulated", "emultype", "full");
    Add("owner without a port", "");
    for (const char* name : {"net", "eip", "owner", "other", "owner without a port"})
        db.SetUint32(name, "enabled", 0);
    for (const char* name : {"owner", "owner without a port"})
        db.SetUint32(name, "owner", 1);
    std::size_t undecided = 0, notRemoved = 0;
    bool failed = true;
    for (int nth = 1; failed; ++nth) {
        SCOPED_TRACE("call " + std::to_string(nth) + " fails");
        End();
        Add("software", "5", 1);
        Add("free", "6");
        db.SetUint32("free", "owner", 0);
        RegistryHost::Inject({.call = nth});
        RunAgain();
        failed = RegistryHost::Inject({}).call == 0;
        EXPECT_EQ(db.Text("eip", "consumersize"), "128");
        EXPECT_TRUE(db.IsInstanceExist("net"));
        EXPECT_EQ(db.IsInstanceExist("software"), manager->GetProtocol("software") != nullptr);
        EXPECT_EQ(db.Number("owner", "owner"), 1u);
        EXPECT_EQ(db.Number("other", "owner"), 0u);
        EXPECT_EQ(db.Number("free", "enabled") + db.Number("emulated", "enabled"), 2u);
        undecided += log->Count("Cannot tell whether");
        notRemoved += log->Count("Cannot remove instance software");
    }
    EXPECT_EQ(db.Number("free", "owner"), 1u);
    EXPECT_GT(undecided, 0u);
    EXPECT_GT(notRemoved, 0u);
}

TEST_F(ManagerTest, KilledAtAnyRegistryWriteItServesWhatWasAcknowledged) {
    const struct {
        std::function<std::int32_t()> change;
        Lines names;        // after it
        std::string value;  // of the last instance's setting "s" after it
    } changes[] = {
        {[&] { return manager->AddProtocol("B", 7); }, {"A", "Z", "B"}, ""},
        {[] {
             RawClient client(kManagerServerName);
             return Result(client, kManagerRemove, Names("A"));
         },
         {"Z"},
         "kept"},
        {[] { return Db()->AddInstance(kSession, "B", 7); }, {"A", "Z", "B"}, ""},
        {[] { return Db()->RenameInstance(kSession, "Z", "B"); }, {"A", "B"}, "kept"},
        {[] { return Db()->RemoveInstance(kSession, "A"); }, {"Z"}, "kept"},
        {[] { return Db()->SetString(kSession, "Z", "s", "new"); }, {"A", "Z"}, "new"},
    };
    for (const auto& [change, namesAfter, valueAfter] : changes) {
        bool acknowledged = false;
        for (unsigned writes = 0; !acknowledged; ++writes) {
            SCOPED_TRACE(namesAfter.back() + valueAfter + ", killed after writes: " + std::to_string(writes));
            End();
            RegistryHost::Reset();
            for (const char* name : {"A", "Z"}) {
                Add(name, "1");
                Db()->SetUint32(kSession, name, "enabled", 0);
                Db()->SetString(kSession, name, "s", "kept");
            }
            RunAgain();
            RegistryHost::Inject({.writes = writes});
            acknowledged = change() == 0;
            End();
            RegistryHost::Inject({});
            RunAgain();
            VexaDB::VexaDBSession db(Db());
            if (!acknowledged) {
                // Nothing has changed, except that an addition may have begun; and the change can be made now.
                auto names = NamesInDatabase();
                if (names.size() > 2) {
                    EXPECT_EQ(Db()->RemoveInstance(kSession, names.back()), 0);
                    names.pop_back();
                }
                EXPECT_EQ(names, (Lines{"A", "Z"}));
                EXPECT_EQ(db.Text("A", "s") + db.Text("Z", "s"), "keptkept");
                EXPECT_EQ(change(), 0);
            }
            EXPECT_EQ(NamesInDatabase(), namesAfter);
            EXPECT_EQ(db.Text(namesAfter.back(), "s"), valueAfter);
            EXPECT_EQ(db.Text(namesAfter.back(), "protocol"), "sampleprotocol");
            ASSERT_LT(writes, 20u);
        }
    }
}

TEST_F(ManagerTest, AStopBeforeTheStartOrTwiceWhileAllAreBusyEndsEverything) {
    const auto stop = [this] { return std::async(std::launch::async, [this] { manager->InternalMainStop(); }); };
    Add("one", "1");
    auto early = stop();
    ASSERT_TRUE(log->WaitFor("Received stop request", kPatienceMs));
    Run();
    early.get();
    Stop();

    RunAgain();
    Hold(hooks["one"].onStart);
    RawClient busy(kManagerServerName);
    busy.Send(kRequest, 1, kManagerRestart, Names("one"));
    AwaitHeld();
    std::atomic<bool> stopped{false};
    auto connecting = std::async(std::launch::async, [this, &stopped] {
        while (!stopped)
            static_cast<void>(IPCClient(true).Connect(kManagerServerName)),
                static_cast<void>(manager->StartProtocol("one"));
    });
    auto first = stop(), second = stop();
    ASSERT_TRUE(log->WaitFor("Received stop request", kPatienceMs));
    Release();
    first.get();
    second.get();
    Stop();
    stopped = true;
    connecting.get();
}

TEST_F(ManagerTest, LongCommandsAreLoggedAndNoMonitorPeriodIsTooShort) {
    static std::atomic<std::int64_t> now{0};  // static, since the manager's threads read it until they end
    static std::atomic<std::int64_t> step{49'999'999'999};
    manager->SetClock([] { return now.fetch_add(step); });
    Set("monitorwaittime", 0);
    RunAndWait();
    EXPECT_EQ(manager->MonitorWaitTime(), 100u) << "a shorter period would keep every child busy";
    const auto client = Connect();
    ASSERT_EQ(client->CheckAlive(), 0);
    step = 50'000'000'000;
    ASSERT_EQ(client->CheckAlive(), 0);
    ASSERT_EQ(client->CheckAlive(), 0);
    EXPECT_TRUE(log->WaitFor("Manager IPC command 1 process took long time - 50000ms!", kPatienceMs));
    EXPECT_FALSE(log->Contains("49999"));
}

TEST_F(ManagerTest, Arguments) {
    const auto parse = [this](const wchar_t* first, const wchar_t* second) {
        const wchar_t* const arguments[] = {L"program", first, second};
        std::int32_t bad = 0;
        return manager->ParseArguments(arguments, 3, bad) ? static_cast<int>(manager->MonitorWaitTime()) : -bad;
    };
    EXPECT_EQ(parse(L"--monitorwait:5", L"--MONITORXYZ12377"), 377) << "the first six characters decide";
    EXPECT_EQ(parse(L"--monitorwait:5", L"--monitorwait:abc"), 0);
    EXPECT_EQ(parse(L"--monitorwait:5", L"--mon"), -2);
    EXPECT_THROW(parse(L"--moni", L""), std::out_of_range);
}

}  // namespace
