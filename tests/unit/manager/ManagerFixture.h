// The fixture of the manager's tests: a manager whose children are threads of this process, and whose registry and
// pipes are in memory.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <map>
#include <set>
#include <string>
#include <thread>

#include "IPC/class/IPCClient.h"
#include "protocols/KivProtocol/ProtocolChild.h"
#include "protocols/KivProtocolManager/class/ProtocolManager.h"
#include "support/CaptureSink.h"
#include "support/Doubles.h"
#include "support/RawClient.h"
#include "utils/VexaDB/class/ProtocolTypes.h"
#include "utils/class/GlobalSettings.h"
#include "utils/registry/RegistryKey.h"

inline constexpr VexaDB::SessionId kSession = VexaDB::kServiceSession;
using Lines = std::vector<std::string>;

class FakeHost : public IServiceHost {
  public:
    bool InServiceMode() const override { return serviceMode; }
    void SetState(ServiceState state) override { Note(std::to_string(static_cast<std::uint32_t>(state))); }
    void SignalReady() override { Note("r"); }
    void ResetReady() override { Note("c"); }
    void PrintMessage(const std::wstring&) override {}

    bool serviceMode = false;
    std::string states;  // in the order in which they were reported

  private:
    void Note(const std::string& what) {
        const std::lock_guard hold(lock_);
        states += what;
    }

    std::mutex lock_;  // two threads may stop the manager at the same time
};

/// What a child calls on its own thread; either may be empty.
struct Hooks {
    std::function<void()> onStart;  // before its server starts
    std::function<void()> onEnd;    // after its server has stopped
};

/// A real child's base class on a thread.
class ServingChild final : public FakeChild, ProtocolChild {
  public:
    static constexpr std::uint32_t kHang = 200;  // the command after which the child answers nothing

    ServingChild(std::string name, const Hooks& hooks)
        : ProtocolChild(std::move(name)), hooks_(hooks), thread_([this] {
              Run();
              Exit();
          }) {}
    ~ServingChild() override {
        leftRunning += IsRunning() ? 1 : 0;  // the manager has dropped it without stopping it
        RequestStop();
        thread_.join();
    }
    void Kill() override {
        Exit();
        RequestStop();
    }
    static inline std::atomic<int> leftRunning{0};

  private:
    std::uint8_t CreateStack() override {
        if (hooks_.onStart)
            hooks_.onStart();
        return kCreated;
    }
    void DestroyStack() override {
        if (hooks_.onEnd)
            hooks_.onEnd();
    }
    std::shared_ptr<IPC> HandleRequest(const IPC& request) override {
        if (request.Command() == kHang)
            WaitForExit(kPatienceMs);
        return {};
    }

    const Hooks& hooks_;
    std::thread thread_;
};

class ManagerTest : public testing::Test {
  protected:
    static constexpr const char* kBroken = "broken";  // the instance whose process cannot be started

    ManagerTest() {
        RegistryHost::Reset();
        Set("monitorwaittime", 200);
        Set("starttimeout", 5000);
        Set("stoptimeout", 1000);
        children[kBroken] = [] { return nullptr; };
        SetChildFactory([this](const std::string& argument) -> std::shared_ptr<FakeChild> {
            const auto name = argument.substr(std::string("--key:").size());
            if (const auto special = children.find(name); special != children.end())
                return special->second();
            return std::make_shared<ServingChild>(name, hooks[name]);
        });
        manager = std::make_shared<CProtocolManager>(host);
    }
    ~ManagerTest() override {
        End();
        EXPECT_EQ(ServingChild::leftRunning.exchange(0), 0);
        SetChildFactory(nullptr);
        GlobalSettings::Set({});
    }

    static std::shared_ptr<VexaDB::VexaDBServer> Db() { return VexaDB::VexaDBServer::GetInstance(); }
    static Lines NamesInDatabase() {
        Lines names;
        EXPECT_EQ(Db()->GetInstances(kSession, names), 0);
        return names;
    }
    /// A database-wide setting.
    static void Set(const char* setting, std::uint32_t value) { Db()->SetUint32(kSession, setting, value); }
    static void Add(const std::string& name, const std::string& port, std::uint32_t type = VexaDB::kSampleProtocol) {
        Db()->AddInstance(kSession, name, type);
        Db()->SetString(kSession, name, "port", port);
    }
    void Run() {
        main_ = std::async(std::launch::async, [this] { manager->InternalMain(); });
    }
    /// Runs the manager and waits until it has tried to start every instance.
    void RunAndWait() {
        Run();
        ASSERT_TRUE(log->WaitFor("Monitor Protocols services", kPatienceMs));
        Connect();
    }
    /// With instances of the sample protocol, each with a port of its own.
    void RunWith(std::initializer_list<const char*> names) {
        for (const char* name : names)
            Add(name, name);
        RunAndWait();
    }
    void Stop() {
        if (!main_.valid())
            return;
        manager->InternalMainStop();
        main_.get();
    }
    /// Stops and destroys the manager.
    void End() {
        Stop();
        manager.reset();
    }
    void RunAgain() {
        End();
        manager = std::make_shared<CProtocolManager>(host);
        log->Clear();
        RunAndWait();
    }
    /// A client of the control server, after a wait for the server's start on the manager's thread.
    static std::shared_ptr<IPCClient> Connect() {
        auto client = IPCClient::GetClient(kManagerServerName, true);
        EXPECT_TRUE(Eventually([&] { return client->Connect(kManagerServerName) == 0; }));
        return client;
    }
    /// Makes the first child that calls the hook wait in it until Release. AwaitHeld waits for that call.
    void Hold(std::function<void()>& hook) {
        reached_ = {};
        goOn_ = {};
        held_ = false;
        hook = [this] {
            if (held_.exchange(true))
                return;
            reached_.set_value();
            goOn_.get_future().wait();
        };
    }
    void AwaitHeld() {
        ASSERT_EQ(reached_.get_future().wait_for(std::chrono::milliseconds(kPatienceMs)), std::future_status::ready);
    }
    void Release() { goOn_.set_value(); }
    /// Waits until the monitor has begun and ended a pass. Needs the broken instance, as the only one of its type.
    void AwaitPass() {
        const auto passes = [this] { return log->Count("Protocol broken has stopped working"); };
        EXPECT_TRUE(Eventually([&, before = passes()] { return passes() >= before + 2; }));
    }

    static std::int32_t Result(RawClient& client, std::uint32_t command, const Bytes& payload) {
        return Take<std::int32_t>(client.Ask(command, payload), 0);
    }
    static ipc_mngctrl_status_reply Status(RawClient& client, const std::string& name) {
        return wire::Decode<ipc_mngctrl_status_reply>(client.Ask(kManagerStatus, Names(name))).value();
    }
    static std::uint32_t StatusOf(RawClient& client, const std::string& name) { return Status(client, name).status; }
    /// The sample instances in the manager's table, in its order.
    static Lines Listed(RawClient& client) {
        const auto list = client.Ask(kManagerList, wire::Encode(ipc_mngctrl_list_request{VexaDB::kSampleProtocol}));
        Lines names;
        for (std::uint32_t i = 0; i < Take<std::uint32_t>(list, 4); ++i)
            names.push_back(wire::Decode<wire::Name>(list, 8 + i * wire::Name::kSize)->Text());
        return names;
    }
    static std::multiset<std::string> Sorted(const Lines& lines) { return {lines.begin(), lines.end()}; }
    /// The events since the last call, as "code:texts".
    static Lines TakeEvents(RawClient& client) {
        client.Ask(kIpcAliveCheck, {});  // every event sent before this reply has then arrived
        Lines lines;
        for (const auto& event : client.events) {
            EXPECT_EQ(event.flags, kOneWay);
            lines.push_back(std::to_string(event.command));
            for (std::size_t at = 0; at < event.body.size(); at += wire::Name::kSize)
                lines.back() += ":" + wire::Decode<wire::Name>(event.body, at)->Text();
        }
        client.events.clear();
        return lines;
    }
    /// The same without the events of changed settings.
    static Lines TakeTableEvents(RawClient& client) {
        auto lines = TakeEvents(client);
        std::erase_if(lines, [](const auto& line) { return line.starts_with("155:"); });
        return lines;
    }

    LogCapture log;
    FakeHost host;
    std::map<std::string, Hooks> hooks;                                           // by the instance's name
    std::map<std::string, std::function<std::shared_ptr<FakeChild>()>> children;  // makers of other kinds of children
    std::shared_ptr<CProtocolManager> manager;

  private:
    std::promise<void> reached_, goOn_;
    std::atomic<bool> held_{false};
    std::future<void> main_;
};
