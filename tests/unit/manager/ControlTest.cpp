// The control commands to a running manager in raw bytes, and which of them wait for others.

#include <chrono>

#include "protocols/control/ControlMessages.h"
#include "unit/manager/ManagerFixture.h"
#include "utils/platform/Platform.h"

namespace {

using ControlTest = ManagerTest;

Bytes Number(std::uint32_t value) {
    return wire::Encode(wire::u32{value});
}

Bytes operator+(Bytes first, const Bytes& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/// A reply with only its result; the other bytes are zero.
Bytes Only(std::int32_t result, std::size_t size = 4) {
    auto reply = Number(static_cast<std::uint32_t>(result));
    reply.resize(size);
    return reply;
}

TEST_F(ControlTest, EveryCommandInItsGoodCaseAndItsRefusals) {
    const struct {
        std::uint32_t command;
        Bytes request, reply;
        Lines events = {};
    } exchanges[] = {
        {1, {}, {}},
        // Adding: the events of the new instance's settings precede that of the instance.
        {100, Number(7) + Names("b"), Only(0), {"155:b:emultype::none", "155:b:protocol::sampleprotocol", "150:b"}},
        {100, Number(7) + Names("b"), Only(-1)},
        {100, Number(8) + Names("typeless"), Only(-1)},
        {100, Number(7) + Names(""), Only(-1)},
        // Properties: a change by command has two events, the database's and the command's.
        {106, Names("b", "port", "2"), Only(0, 54), {"155:b:port::2", "155:b:port::2"}},
        {105, Names("b", "port"), Number(0) + Names("2")},
        {105, Names("b", "absent"), Only(-1, 54)},
        {105, Names("nobody", "port"), Only(-1, 54)},
        {106, Names("nobody", "port", "2"), Only(-1, 54)},
        {106, Names("b", "type", "text on a number"), Only(-1, 54)},
        {108, Names("b", "lasterror") + Number(5), Only(0, 8)},
        {107, Names("b", "lasterror"), Number(0) + Number(5)},
        {107, Names("nobody", "n"), Only(-1, 8)},
        {108, Names("nobody", "n") + Number(1), Only(-1, 8)},
        // Lists and conditions.
        {109, Number(7), Number(0) + Number(2) + Names("a", "b")},
        {109, Number(5), Only(-1, 58)},
        {118, Names("nobody"), Only(-9, 40)},
        {118, Names("b"), Number(0) + Number(2) + Number(7) + Bytes(8) + Number(0xFFFFFFFB) + Bytes(16)},
        {120, Names("b"), Bytes(8)},
        {120, Names("nobody"), Only(-9, 32)},
        // Starting and stopping.
        {102, Names("b"), Only(0), {"153:b"}},
        {102, Names("b"), Only(0)},
        {104, Names("b"), Only(0), {"154:b", "153:b"}},
        {103, Names("b"), Only(0), {"154:b"}},
        {103, Names("b"), Only(0)},
        {102, Names("nobody"), Only(-1)},
        {103, Names("nobody"), Only(-1)},
        {104, Names("nobody"), Only(-1)},
        // Renaming, in the running table and not in the database, and removing.
        {119, Names("b", "c"), Only(0), {"152:b:c"}},
        {119, Names("b", "d"), Only(-1)},
        {105, Names("c", "port"), Only(-1, 54)},
        {119, Names("c", "b"), Only(0), {"152:c:b"}},
        {101, Names("b"), Only(0), {"151:b"}},
        {101, Names("b"), Only(-9)},
        {105, Names("b", "port"), Only(-1, 54)},
    };
    RunWith({"a"});
    RawClient c(kManagerServerName);
    for (const auto& exchange : exchanges) {
        EXPECT_EQ(c.Ask(exchange.command, exchange.request), exchange.reply) << &exchange - exchanges;
        EXPECT_EQ(TakeEvents(c), exchange.events) << &exchange - exchanges;
    }
    const auto self = platform::CurrentProcessId();
    auto running = c.Ask(118, Names("a"));
    std::fill_n(running.begin() + 12, 8, std::uint8_t{0});  // clears the up time
    EXPECT_EQ(running, wire::Encode(ipc_mngctrl_status_reply{0, 1, 7, 0, 0, 0, self, 1}));
    const RawClient user("a");
    EXPECT_EQ(c.Ask(120, Names("a")), Number(0) + Number(2) + wire::Encode(ipc_client_info{1, self, 0}) +
                                          wire::Encode(ipc_client_info{2, 0x1122334455667788, 0}));
    // A reply has room for every listed client and for those that the child counted, but for at most 64 vacant entries.
    const ipc_client_info client{3, 0x1234, 0};
    EXPECT_EQ(EncodeClientsReply(0, {client}), Number(0) + Number(1) + wire::Encode(client));
    EXPECT_EQ(EncodeClientsReply(0xFFFFFFFF, {client}).size(), 8 + 65 * 24u);
}

TEST_F(ControlTest, ShortPayloadsAndUnendedTextsAreRefusedAndUnknownCommandsPassedOver) {
    RunWith({"aaaa"});
    RawClient c(kManagerServerName);
    c.Send(kOneWay, 1, 100, Number(4) + Names("quiet"));
    for (const std::uint32_t command : {3u, 42u, 99u, 110u, 117u, 121u, 500u, 0xFFFFFFFFu})
        c.Send(kRequest, 2, command, Bytes(7));
    EXPECT_EQ(c.Ask(109, Number(4)), Number(0) + Number(1) + Names("quiet"));
    EXPECT_EQ(TakeEvents(c).size(), 3u) << "events, and not one reply that was not asked for";

    const struct {
        std::uint32_t command;
        std::size_t request, reply;
    } sizes[] = {{100, 54, 4},   {101, 50, 4},   {102, 50, 4},  {103, 50, 4},  {104, 50, 4},
                 {105, 100, 54}, {106, 150, 54}, {107, 100, 8}, {108, 104, 8}, {109, 4, 58},
                 {118, 50, 40},  {119, 100, 4},  {120, 50, 32}};
    for (const auto& size : sizes) {
        for (const auto length : {size.request - 1, std::size_t{0}})
            EXPECT_EQ(c.Ask(size.command, Bytes(length, 'a')), Only(-1, size.reply)) << size.command;
        const std::size_t texts = size.request / 50, firstText = size.command == 100 ? 4u : 0u;
        for (std::size_t unended = 0; unended < texts; ++unended) {
            Bytes request(size.request);
            for (std::size_t text = 0; text < texts; ++text)
                std::fill_n(request.begin() + static_cast<std::ptrdiff_t>(firstText + text * 50),
                            text == unended ? 50 : 4, 'a');
            EXPECT_EQ(c.Ask(size.command, request), Only(-1, size.reply)) << size.command << " " << unended;
        }
    }
    EXPECT_EQ(TakeEvents(c), Lines{});
    EXPECT_EQ(StatusOf(c, "aaaa"), kRunning);
}

TEST_F(ControlTest, NobodyWaitsForASlowInstance) {
    Set("stoptimeout", kPatienceMs);
    Add("other", "1");
    Add("slow", "2");
    auto& slow = hooks["slow"];
    Hold(slow.onStart);
    Run();
    AwaitHeld();
    Connect();
    RawClient asking(kManagerServerName);
    const auto askAll = [&](std::uint32_t settled) {
        EXPECT_EQ(StatusOf(asking, "slow"), settled);
        const std::pair<std::uint32_t, Bytes> questions[] = {{kIpcAliveCheck, {}},
                                                             {kManagerGetString, Names("other", "port")},
                                                             {kManagerSetString, Names("other", "note", "a")},
                                                             {kManagerGetNumber, Names("other", "type")},
                                                             {kManagerSetNumber, Names("other", "n") + Number(1)},
                                                             {kManagerList, Number(7)},
                                                             {kManagerGetClients, Names("other")},
                                                             {kManagerStatus, Names("other")}};
        for (const auto& [command, payload] : questions)
            EXPECT_EQ(Result(asking, command, payload), 0) << command;
        EXPECT_EQ(StatusOf(asking, "other"), kRunning);
        EXPECT_EQ(Db()->SetString(kSession, "other", "note", "b"), 0);
    };
    askAll(kStopped);
    Release();
    ASSERT_TRUE(log->WaitFor("Monitor Protocols services", kPatienceMs));

    const auto command = [](std::uint32_t number) {
        return [number] {
            RawClient client(kManagerServerName);
            client.Send(kRequest, 1, number, Names("slow"));
            EXPECT_EQ(Take<std::int32_t>(client.Ask(kManagerStatus, Names("slow")), 0), 0) << "in its turn";
            return std::any_of(client.events.begin(), client.events.end(), [number](const auto& reply) {
                return reply.command == number && reply.body == Only(0);
            });
        };
    };
    const auto monitored = [this] {
        IPCClient::GetClient("slow", true)->Stop();
        RawClient client(kManagerServerName);
        return log->WaitFor("Protocol slow has stopped working", kPatienceMs) &&
               Eventually([&] { return StatusOf(client, "slow") == kRunning; });
    };
    const struct {
        std::function<void()>* slowPart;
        std::uint32_t settled;  // the status that questions get meanwhile
        std::function<bool()> carriedOut;
    } changes[] = {{&slow.onEnd, kRunning, command(kManagerRestart)},
                   {&slow.onStart, kStopped, command(kManagerRestart)},
                   {&slow.onStart, kStoppedWorking, monitored},
                   {&slow.onEnd, kRunning, command(kManagerStop)},
                   {&slow.onStart, kStopped, command(kManagerStart)},
                   {&slow.onEnd, kRunning, [] { return Db()->RemoveInstance(kSession, "slow") == 0; }}};
    for (const auto& change : changes) {
        slow = {};
        Hold(*change.slowPart);
        auto done = std::async(std::launch::async, change.carriedOut);
        AwaitHeld();
        askAll(change.settled);
        Release();
        EXPECT_TRUE(done.get()) << &change - changes;
    }
}

TEST_F(ControlTest, AHungChildIsAskedOnceForAllWhoWaitAndEndedInTime) {
    constexpr std::uint32_t kIpcTimeoutMs = 1000;
    constexpr std::size_t kClients = 25;  // all wait for the same exchange, not for one each
    Set("ipctimeout", kIpcTimeoutMs);
    Set("monitorwaittime", 3'600'000);
    RunWith({"hung", "other"});
    EXPECT_EQ(IPCClient::GetClient("hung", true)->Send(IPC::Notice(ServingChild::kHang)), 0);
    RawClient other(kManagerServerName);
    EXPECT_TRUE(Eventually([&] { return StatusOf(other, "hung") == kStoppedWorking; }));
    std::vector<std::unique_ptr<RawClient>> clients(kClients);
    for (auto& client : clients)
        client = std::make_unique<RawClient>(kManagerServerName);
    const auto begin = std::chrono::steady_clock::now();
    for (auto& client : clients)
        client->Send(kRequest, 1, kManagerStatus, Names("hung"));
    EXPECT_EQ(StatusOf(other, "other"), kRunning);
    for (auto& client : clients)
        EXPECT_EQ(Take<std::uint64_t>(client->Receive().body, 0), std::uint64_t{kStoppedWorking} << 32);
    const auto elapsed = std::chrono::steady_clock::now() - begin;
    EXPECT_LT(elapsed / std::chrono::milliseconds(1), kClients * kIpcTimeoutMs / 2);

    EXPECT_EQ(Result(other, kManagerStop, Names("hung")), 0);
    EXPECT_TRUE(log->Contains("-hung in time"));
    EXPECT_EQ(Status(other, "hung").processId, 0u);
    EXPECT_EQ(ServingChild::leftRunning, 0);
}

TEST_F(ControlTest, ADeathIsKnownAtOnceAndLeavesNothing) {
    struct Dead : FakeChild {
        Dead() { End(0xBEEF); }
    };
    children["dies"] = [] { return std::make_shared<Dead>(); };
    children["absent"] = [] { return std::make_shared<FakeChild>(); };
    std::weak_ptr<FakeChild> one;
    children["one"] = [&] {
        const auto child = std::make_shared<ServingChild>("one", hooks["one"]);
        one = child;
        return child;
    };
    Set("starttimeout", 500);
    Set("monitorwaittime", 200);
    Add(kBroken, "", VexaDB::kRobot);
    RunWith({"one", "dies", "absent"});
    RawClient c(kManagerServerName);
    EXPECT_TRUE(log->Contains("Cannot start instance absent did not connect 1"));
    EXPECT_TRUE(log->Contains("Cannot start instance dies did not connect 0"));
    EXPECT_TRUE(log->Contains("of instance dies ended with exit code BEEF"));
    for (const char* name : {"dies", "absent"}) {
        EXPECT_EQ(Result(c, kManagerStop, Names(name)), 0);
        EXPECT_EQ(StatusOf(c, name), kStopped) << "and the monitor leaves it alone";
        EXPECT_EQ(Result(c, kManagerStart, Names(name)), -1);
        EXPECT_EQ(Status(c, name).processId, 0u);
        EXPECT_EQ(Result(c, kManagerStop, Names(name)), 0);
    }
    log->Clear();
    one.lock()->Kill();  // its process is gone before its server is: the monitor finds no child that hangs
    EXPECT_TRUE(log->WaitFor("of instance one ended with exit code 0", kPatienceMs));
    EXPECT_TRUE(log->WaitFor("Started protocol one", 0) || log->WaitFor("Instance one started", kPatienceMs));
    AwaitPass();
    EXPECT_FALSE(log->Contains("Protocol dies has stopped") || log->Contains("Protocol absent has stopped"));
}

TEST_F(ControlTest, TheStartSetsOwnersAndOldSettingsRight) {
    const struct {
        const char* name;
        std::uint32_t type;
        std::vector<std::pair<const char*, const char*>> settings;
        const char* ownerAndEnabled;  // after the start
    } instances[] = {
        {"first", 7, {{"port", "10"}}, "11"},
        {"second", 7, {{"port", "10"}}, "00"},
        {"emulated", 7, {{"port", "10"}, {"emultype", "full"}}, "01"},  // listens on no port
        {"tcp", 2, {{"port", "502"}, {"mode", "tcp"}}, "11"},
        {"rtu", 2, {{"port", "502"}, {"mode", "rtu"}}, "11"},      // competes only within its mode
        {"tcp any", 2, {{"port", "any"}, {"mode", "tcp"}}, "00"},  // "any" includes the owned port
        {"portless", 4, {}, "11"},
        {"eip", 3, {{"consumersize", "128"}, {"producersize", ""}}, "11"},
        {"off", 6, {}, "11"},
    };
    Db()->SetString(kSession, "disabledprotocols", "9;6");
    for (const auto& instance : instances) {
        Db()->AddInstance(kSession, instance.name, instance.type);
        for (const auto& [setting, value] : instance.settings)
            Db()->SetString(kSession, instance.name, setting, value);
    }
    Db()->AddInstance(kSession, "software", VexaDB::kProfinet);
    RunAndWait();
    VexaDB::VexaDBSession db(Db());
    for (const auto& instance : instances)
        EXPECT_EQ(
            std::to_string(db.Number(instance.name, "owner")) + std::to_string(db.Number(instance.name, "enabled")),
            instance.ownerAndEnabled)
            << instance.name;
    EXPECT_EQ(db.Text("eip", "producersize") + db.Text("eip", "consumersize") + db.Text("eip", "configsize"),
              "6412864");
    for (const char* line :
         {"There is already an owner first", "There is already an owner tcp", "Become owner portless",
          "Cleaning Ethernet/IP instance eip.producersize", "Cleaning Ethernet/IP instance eip.configsize",
          "Profinet software not supported anymore! Removing software"})
        EXPECT_TRUE(log->Contains(line)) << line;
    EXPECT_FALSE(log->Contains("instance eip.consumersize") || log->Contains("Started protocol second"));
    RawClient c(kManagerServerName);
    EXPECT_EQ(StatusOf(c, "emulated"), kRunning);
    EXPECT_EQ(StatusOf(c, "off"), kStopped) << "its type is disabled";
}

TEST_F(ControlTest, AStopRequestIsAnsweredBehindAllThatWaitsForItsClient) {
    constexpr int kEvents = 100;  // more bytes than a connection buffers
    RunWith({"a"});
    RawClient client(kManagerServerName);
    for (int i = 0; i < kEvents; ++i)
        Db()->SetString(kSession, "a", "note", "n");
    client.Send(kRequest, 1, kIpcStop, {});
    int events = 0;
    auto message = client.Receive();
    for (; message.command == kEventStringChanged; message = client.Receive())
        ++events;
    EXPECT_EQ(events, kEvents);
    EXPECT_EQ(message.command, kIpcStop);
    EXPECT_TRUE(client.HasEnded());
}

}  // namespace
