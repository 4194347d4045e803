// The settings database on the wire: the bytes of every message, the refusal of broken requests, server and client
// together.
#include <array>
#include <functional>

#include "IPC/class/IPCServer.h"
#include "support/Patience.h"
#include "unit/vexadb/DatabaseTest.h"
#include "utils/VexaDB/class/VexaDBIPCClient.h"
#include "utils/VexaDB/class/VexaDBMessages.h"
#include "utils/VexaDB/class/VexaDBSession.h"
#include "utils/sync/Thread.h"

using namespace VexaDB;
using namespace std::string_literals;

namespace {

std::string Bytes(const IPCPayload& payload) {
    return {payload.begin(), payload.end()};
}

std::string Field(std::string text) {
    text.resize(50);
    return text;
}

/// The whole message without the eight bytes of its request id, which differs in every run.
std::string WithoutId(const std::shared_ptr<IPC>& record) {
    return Bytes(record->Serialize()).erase(4, 8);
}

class DatabaseIPC : public DatabaseTest {
  protected:
    ~DatabaseIPC() override { server->Stop(); }
    const std::shared_ptr<VexaDBServer> server = std::make_shared<VexaDBServer>();
    VexaDBIPCClient client;
};

struct Exchange {
    std::function<bool()> call;  // true when the client returns what the reply says
    std::uint32_t command;
    std::string request, reply;
};

TEST_F(DatabaseIPC, EveryMessageHasItsBytes) {
    const auto one = "\1\0\0\0\0\0\0\0"s;  // session
    const auto good = "\0\0\0\0"s, bad = "\xFF\xFF\xFF\xFF"s;
    const auto longest = std::string(49, 'x');
    SessionId session = 0;
    std::uint32_t number = 0;
    std::string text;
    Lines names;
    std::vector<SettingEntry> settings;
    auto& c = client;
    const Exchange exchanges[] = {
        {[&] { return c.OpenSession(session) == 0 && session == 1; }, 511, "", good + one},
        {[&] { return c.AddInstance(1, "Line 1", 7) == 0; }, 501, one + "\7\0\0\0"s + Field("Line 1"), good},
        {[&] { return c.RenameInstance(1, "Line 1", "L") == 0; }, 503, one + Field("Line 1") + Field("L"), good},
        {[&] { return c.GetUint32(1, "L", "type", number) == 0 && number == 7; }, 504, one + Field("L") + Field("type"),
         good + "\7\0\0\0"s},
        {[&] { return c.GetString(1, "L", "emultype", text) == 0 && text == "none"; }, 505,
         one + Field("L") + Field("emultype"), good + Field("none")},
        {[&] { return c.GetString(1, "missing", text) == -1 && text == "none"; }, 505,
         one + Field("") + Field("missing"), bad + Field("")},
        {[&] { return c.SetUint32(1, "n", 0x01020304) == 0; }, 506, one + Field("") + Field("n") + "\4\3\2\1",
         good + "\4\3\2\1"},
        {[&] { return c.SetString(1, "L", "s", longest + "cut") == 0; }, 507,
         one + Field("L") + Field("s") + Field(longest), good + Field(longest)},
        {[&] { return c.GetInstances(1, names) == 0 && names == Lines{"L"}; }, 508, one,
         good + "\1\0\0\0"s + Field("L")},
        {[&] { return c.GetInstanceSettings(1, "", settings) == 0 && settings.at(0).name == "n"; }, 509,
         one + Field(""), good + "\1\0\0\0"s + Field("n") + "\1\0\0\0"s},
        {[&] { return c.IsInstanceExist(1, "L"); }, 510, one + Field("L"), good + "\1"},
        {[&] { return !c.IsInstanceExist(-1, "L"); }, 510, bad + bad + Field("L"), bad + "\0"s},
        {[&] { return c.Batch(1) == 0; }, 513, one, good},
        {[&] { return c.Commit(1) == 0; }, 514, one, good},
        {[&] { return c.Reset(1) == 0; }, 515, one, good},
        {[&] { return c.IsSessionValid(1); }, 516, one, good + "\1"},
        {[&] { return c.RemoveInstance(1, "L") == 0; }, 502, one + Field("L"), good},
        {[&] { return c.CloseSession(1) == 0; }, 512, one, good},
        {[&] { return c.CloseSession(1) == -1; }, 512, one, bad},
    };
    // This server takes the place of the real one and records every request and reply.
    VexaDBIPCServer handlers(*server);
    std::vector<std::pair<std::string, std::string>> passed;
    IPCServer tap;
    ASSERT_EQ(tap.Start(kDatabaseServerName), 0);
    auto thread = kivsync::Thread::Start([&] {
        while (const auto request = tap.GetRequest()) {
            const auto reply = handlers.Handle(request);
            passed.emplace_back(WithoutId(request), WithoutId(reply));
            EXPECT_EQ(reply->RequestId(), request->RequestId());
            tap.SendReply(reply);
        }
    });
    EXPECT_EQ(client.Batch(1), -1);  // nothing is sent before Connect
    ASSERT_TRUE(client.Connect());
    EXPECT_EQ(client.AddObserver(nullptr), -1);
    EXPECT_EQ(client.RemoveObserver(nullptr), -1);
    for (const auto& exchange : exchanges)
        EXPECT_TRUE(exchange.call()) << exchange.command;
    tap.Stop();
    thread.reset();
    ASSERT_EQ(passed.size(), std::size(exchanges));
    // The last lines of both ends of the connection.
    EXPECT_TRUE(Eventually([&] { return log->Count("InternalListenerThread end") == 2; }));
    Logged();
    for (std::size_t i = 0; i < passed.size(); ++i) {
        const auto& exchange = exchanges[i];
        const auto message = [&](const std::string& flags, const std::string& payload) {
            const auto u32 = [](std::size_t value) { return ""s + char(value & 0xFF) + char(value >> 8) + "\0\0"s; };
            return flags + good + u32(exchange.command) + u32(payload.size()) + payload;
        };
        EXPECT_EQ(passed[i].first, message("\0\0\0\x80"s, exchange.request)) << exchange.command;
        EXPECT_EQ(passed[i].second, message(good, exchange.reply)) << exchange.command;
        // A request that is a byte short, empty, or has a text without a zero byte changes nothing and gets its
        // command's reply with the status -1.
        if (exchange.request.empty())
            continue;
        const auto valid = good + good + exchange.request.substr(8);
        std::vector<std::string> refused{valid.substr(0, valid.size() - 1), ""};
        for (auto offset = exchange.command == kDatabaseAddInstance ? 12u : 8u; offset + 50 <= valid.size();
             offset += 50)
            refused.push_back(std::string(valid).replace(offset, 50, 50, 'y'));
        const bool isList =
            exchange.command == kDatabaseGetInstances || exchange.command == kDatabaseGetInstanceSettings;
        const auto replySize = isList ? 2 * good.size() : exchange.reply.size();
        for (const auto& payload : refused) {
            const auto request = IPC::Request(exchange.command, {payload.begin(), payload.end()});
            EXPECT_EQ(Bytes(handlers.Handle(request)->Payload()), bad + std::string(replySize - bad.size(), '\0'))
                << exchange.command << " " << &payload - refused.data();
        }
    }
    EXPECT_EQ(Logged(), Lines{});
    EXPECT_EQ(Dump(), Lines{"n=16909060"});

    // A request whose command is not a database command is returned unchanged.
    const auto unknown = IPC::Request(517, {1, 2, 3});
    EXPECT_EQ(handlers.Handle(unknown), unknown);
}

TEST_F(DatabaseIPC, ASessionHandleNeverUsesTheSessionThatAnotherGotFromTheNextServer) {
    VexaDBIPCServer service(*server);
    ASSERT_EQ(service.Start(), 0);
    const auto connected = std::make_shared<VexaDBIPCClient>();
    ASSERT_TRUE(connected->Connect());
    auto handle = std::make_unique<VexaDBSession>(connected);  // session 1
    service.Stop();
    EXPECT_NE(handle->SetUint32("", "n", 1), 0);

    const auto next = std::make_shared<VexaDBServer>();
    VexaDBIPCServer nextService(*next);
    ASSERT_EQ(nextService.Start(), 0);
    SessionId session = 0;
    EXPECT_EQ(next->OpenSession(session) + next->Batch(session), 0);
    EXPECT_EQ(session, 1u);
    ASSERT_TRUE(connected->Connect());
    EXPECT_EQ(handle->SetUint32("", "n", 2), 0);
    EXPECT_EQ(Dump(), Lines{"n=2"}) << "and not in the other's batch";
    EXPECT_TRUE(next->IsSessionValid(2));
    handle.reset();
    EXPECT_FALSE(next->IsSessionValid(2)) << "its end closes the session";
    nextService.Stop();
}

TEST_F(DatabaseIPC, EachAnswerIsAwaitedForItsOwnTime) {
    for (const bool closes : {true, false}) {
        IPCServer silent;
        ASSERT_EQ(silent.Start(kDatabaseServerName), 0);
        ASSERT_TRUE(client.Connect());
        auto stop = kivsync::Thread::Start([&] {  // ends the wait; its log line shows the timeout
            silent.GetRequest();
            silent.Stop();
        });
        EXPECT_EQ(closes ? client.CloseSession(1) : client.Batch(1), kIpcNoReply);
        stop.reset();
        const std::string end = closes ? " timeout:500" : " timeout:5000";
        EXPECT_EQ(std::ranges::count_if(Logged(), [&](const auto& line) { return line.ends_with(end); }), 1);
    }
}

TEST_F(DatabaseIPC, ASlowRequestLeavesALine) {
    const std::array<std::int64_t, 4> times{0, 499'999'999, 500'000'000, 2'000'999'999};
    VexaDBIPCServer service(*server, [&times, next = 0u]() mutable { return times.at(next++); });
    ASSERT_EQ(service.Start(), 0);
    ASSERT_TRUE(client.Connect());
    EXPECT_TRUE(client.IsSessionValid(0));
    EXPECT_TRUE(client.IsSessionValid(0));
    service.Stop();
    EXPECT_TRUE(log->Contains("VexaDB IPC command 516 process took long time - 1500ms!"));
    EXPECT_EQ(log->Count("took long"), 1u);
}

}  // namespace
