// The C library in this process, with a manager whose pipes and children are in memory.
#include <future>

#include "protocols/control/ControlMessages.h"
#include "unit/ipc/Peers.h"
#include "unit/kivapi/EveryFunction.h"
#include "unit/manager/ManagerFixture.h"

namespace {

/// A child that runs the protocol in C on a thread.
class ChildInC final : public FakeChild {
  public:
    explicit ChildInC(const std::string& name)
        : thread_([this, line = "child --key:" + name] {
              End(static_cast<std::uint32_t>(RunProtocol(line.c_str(), &protocol_)));
          }) {}
    ~ChildInC() override { thread_.join(); }

  private:
    kiv_protocol* protocol_ = nullptr;
    std::thread thread_;
};

class ApiTest : public ManagerTest {};

TEST_F(ApiTest, EveryFunctionDoesWhatItSays) {
    RunAndWait();
    EXPECT_STREQ(UseEveryFunction(), nullptr);
}

TEST_F(ApiTest, WhatIsGivenWronglyHasAResult) {
    EXPECT_STREQ(MisuseEveryFunction(nullptr, nullptr), nullptr);
    kiv_client* client = nullptr;
    kiv_database* database = nullptr;
    EXPECT_EQ(kiv_connect(10, &client), KIV_NOT_CONNECTED) << "there is no service";
    EXPECT_EQ(kiv_db_open(10, &database), KIV_NOT_CONNECTED);
    RunAndWait();
    ASSERT_EQ(kiv_connect(kPatienceMs, &client), KIV_OK);
    ASSERT_EQ(kiv_db_open(kPatienceMs, &database), KIV_OK);
    EXPECT_STREQ(MisuseEveryFunction(client, database), nullptr);
    EXPECT_EQ(kiv_close(client), KIV_OK);
    EXPECT_EQ(kiv_db_close(database), KIV_OK);
}

TEST_F(ApiTest, AProtocolInCIsAnInstanceLikeAnyOther) {
    const std::string name = "in C";
    children[name] = [&] { return std::make_shared<ChildInC>(name); };
    RunWith({name.c_str()});
    RawClient control(kManagerServerName);
    EXPECT_EQ(Status(control, name).state, 42u);
    std::uint32_t error = 0;
    EXPECT_EQ(Db()->GetUint32(kSession, name, "lasterror", error), 0);
    EXPECT_EQ(error, 6u);
    {
        RawClient client(name);
        EXPECT_EQ(client.Ask(300, {1, 2, 3}), (Bytes{1, 2, 3}));
        EXPECT_EQ(client.Ask(301, {1, 2, 3}), Bytes());
        client.Send(kTerminate, 9, kIpcTerminate, {});
        client.Receive();
    }
    EXPECT_TRUE(Eventually([&] { return Result(control, kManagerStop, Names(name)) == 0; }));
    EXPECT_EQ(Db()->GetUint32(kSession, name, "lasterror", error), 0);
    EXPECT_EQ(error, 0u) << "it was taken down";
}

/// Records the events that a callback gets.
struct Events {
    static void KIV_CALL Note(const kiv_event* event, void* context) {
        auto& self = *static_cast<Events*>(context);
        if (event->kind == KIV_EVENT_CONNECTED)
            EXPECT_EQ(kiv_close(self.watcher), KIV_OK) << "by the callback itself";
        self.kinds.Lock()->push_back(event->kind);
        self.kinds.NotifyAll();
    }
    bool Await(const std::vector<std::uint32_t>& wanted) {
        auto held = kinds.Lock();
        return held.Wait(kPatienceMs, [&] { return *held == wanted; });
    }
    kiv_client* watcher = nullptr;
    kivsync::Guarded<std::vector<std::uint32_t>> kinds;
};

TEST(ApiFaultTest, AServiceThatGoesAwayIsToldAndFoundAgain) {
    const auto reply = [](const IPC& request) -> std::shared_ptr<IPC> {
        return request.Command() == kManagerAdd ? IPC::Reply(request, {1}) : IPC::Reply(request, IPCPayload(4));
    };
    auto server = std::make_unique<RunningServer>(kManagerServerName, reply);
    kiv_client* client = nullptr;
    ASSERT_EQ(kiv_connect(kPatienceMs, &client), KIV_OK);
    Events events;
    ASSERT_EQ(kiv_connect(kPatienceMs, &events.watcher), KIV_OK);
    ASSERT_EQ(kiv_on_event(events.watcher, Events::Note, &events), KIV_OK);
    EXPECT_EQ(kiv_stop(client, "x"), KIV_OK);
    EXPECT_EQ(kiv_add(client, "x", 7), KIV_BAD_ANSWER);
    server.reset();
    EXPECT_TRUE(events.Await({KIV_EVENT_DISCONNECTED}));
    kiv_event event{};
    event.size = sizeof event;
    EXPECT_EQ(kiv_next_event(client, kPatienceMs, &event), KIV_CONNECTION_LOST);
    EXPECT_EQ(kiv_next_event(client, 0, &event), KIV_NOT_CONNECTED);
    EXPECT_EQ(kiv_stop(client, "x"), KIV_NOT_CONNECTED);
    {
        std::promise<void> late, asked, closed;
        RunningServer next(kManagerServerName, [&](const IPC& request) {
            if (request.Command() == kManagerStart)
                late.get_future().wait();
            if (request.Command() == kManagerRestart) {
                asked.set_value();
                closed.get_future().wait();
            }
            return reply(request);
        });
        EXPECT_EQ(kiv_stop(client, "x"), KIV_OK) << "connects again";
        EXPECT_TRUE(events.Await({KIV_EVENT_DISCONNECTED, KIV_EVENT_CONNECTED}));
        EXPECT_EQ(kiv_next_event(client, 0, &event), KIV_NO_EVENT);
        EXPECT_EQ(kiv_set_timeout(client, 20), KIV_OK);
        EXPECT_EQ(kiv_start(client, "x"), KIV_NO_ANSWER);
        late.set_value();
        EXPECT_EQ(kiv_set_timeout(client, 0), KIV_OK);
        auto call = std::async(std::launch::async, [&] { return kiv_restart(client, "x"); });
        asked.get_future().wait();
        EXPECT_EQ(kiv_close(client), KIV_OK);
        EXPECT_EQ(call.get(), KIV_CONNECTION_LOST) << "a call under way ends with its handle";
        closed.set_value();
    }
    EXPECT_EQ(kiv_close(events.watcher), KIV_BAD_HANDLE);
}

TEST(ApiFaultTest, ABatchEndsWithItsSession) {
    bool known = true;
    const RunningServer server(VexaDB::kDatabaseServerName, [&](const IPC& request) {
        switch (request.Command()) {
            case VexaDB::kDatabaseOpenSession:
                return IPC::Reply(request, wire::Encode(VexaDB::ipc_vexadb_open_session_reply{{0}, 5}));
            case VexaDB::kDatabaseIsSessionValid:
                return IPC::Reply(request, wire::Encode(VexaDB::ipc_vexadb_is_session_valid_reply{{0}, known ? 1 : 0}));
            default:
                return IPC::Reply(request, wire::Encode(wire::i32(known ? 0 : -1)));
        }
    });
    kiv_database* database = nullptr;
    ASSERT_EQ(kiv_db_open(kPatienceMs, &database), KIV_OK);
    ASSERT_EQ(kiv_db_batch(database), KIV_OK);
    EXPECT_EQ(kiv_db_remove_instance(database, "x"), KIV_OK);
    known = false;
    EXPECT_EQ(kiv_db_commit(database), KIV_SESSION_LOST);
    EXPECT_EQ(kiv_db_commit(database), KIV_WRONG_STATE);
    EXPECT_EQ(kiv_db_close(database), KIV_OK);
}

}  // namespace
