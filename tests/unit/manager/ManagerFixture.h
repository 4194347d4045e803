// What the tests of the manager start from: a manager above the seams, whose children are threads of this process, and
// whose registry and pipes are in memory.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <map>
#include <string>
#include <thread>

#include "IPC/class/IPCClient.h"
#include "protocols/KivProtocol/ProtocolChild.h"
#include "protocols/KivProtocolManager/class/ProtocolManager.h"
#include "support/CaptureSink.h"
#include "support/Doubles.h"
#include "support/Patience.h"
#include "utils/class/GlobalSettings.h"
#include "utils/registry/RegistryKey.h"

inline constexpr VexaDB::SessionId kSession = VexaDB::kServiceSession;

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

    std::mutex lock_;  // two stops may come at once
};

/// The frame of a real child on a thread; `onStart` comes before its server.
class ServingChild final : public FakeChild, ProtocolChild {
  public:
    ServingChild(std::string name, std::function<void()> onStart)
        : ProtocolChild(std::move(name)), onStart_(std::move(onStart)), thread_([this] {
              Run();
              Exit();
          }) {}
    ~ServingChild() override {
        leftRunning += IsRunning() ? 1 : 0;  // nobody has it any more
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
        if (onStart_)
            onStart_();
        return kCreated;
    }

    const std::function<void()> onStart_;
    std::thread thread_;
};

class ManagerTest : public testing::Test {
  protected:
    static constexpr const char* kBroken = "broken";  // the instance whose process cannot be started

    ManagerTest() {
        RegistryHost::Reset();
        Db()->SetUint32(kSession, "monitorwaittime", 200);
        Db()->SetUint32(kSession, "starttimeout", 5000);
        Db()->SetUint32(kSession, "stoptimeout", 1000);
        SetChildFactory([this](const std::string& argument) -> std::shared_ptr<FakeChild> {
            const auto name = argument.substr(std::string("--key:").size());
            if (name == kBroken)
                return nullptr;
            const auto special = onStart.find(name);
            return std::make_shared<ServingChild>(name, special == onStart.end() ? nullptr : special->second);
        });
        manager = std::make_shared<CProtocolManager>(host);
    }
    ~ManagerTest() override {
        End();
        EXPECT_EQ(ServingChild::leftRunning, 0);
        SetChildFactory(nullptr);
        GlobalSettings::Set({});
    }

    static std::shared_ptr<VexaDB::VexaDBServer> Db() { return VexaDB::VexaDBServer::GetInstance(); }
    static void Add(const std::string& name, const std::string& port, std::uint32_t type = 7) {
        Db()->AddInstance(kSession, name, type);
        Db()->SetString(kSession, name, "port", port);
    }
    void Run() {
        main_ = std::async(std::launch::async, [this] { manager->InternalMain(); });
    }
    /// Started, and past the first start of every instance.
    void RunAndWait() {
        Run();
        ASSERT_TRUE(log->WaitFor("Monitor Protocols services", kPatienceMs));
    }
    /// Ends the manager with all that it holds.
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
    /// A client of the control server, which comes up on a thread of its own.
    static std::shared_ptr<IPCClient> Connect() {
        auto client = IPCClient::GetClient(kManagerServerName, true);
        while (!client->IsConnected()) {
            std::this_thread::yield();
            static_cast<void>(client->Connect(kManagerServerName));
        }
        return client;
    }
    /// The result of a control command; kIpcNoReply when it is not answered.
    static std::int32_t Ask(IPCClient& client, std::uint32_t command, const std::string& name) {
        std::shared_ptr<IPC> reply;
        const auto request = IPC::Request(command, wire::Encode(ipc_mngctrl_instance_request{name}));
        const bool answered = client.Call(request, kPatienceMs, reply) == 0;
        return answered ? std::int32_t{wire::Decode<ipc_mngctrl_result_reply>(reply->Payload())->result} : kIpcNoReply;
    }
    /// Makes the instance's next start wait, once, between `reached` and `goOn`.
    void HoldStart(const std::string& name) {
        onStart[name] = [this] {
            if (held_.exchange(true))
                return;
            reached.set_value();
            goOn.get_future().wait();
        };
    }
    void Stop() {
        if (!main_.valid())
            return;
        manager->InternalMainStop();
        main_.get();
    }

    LogCapture log;
    FakeHost host;
    std::map<std::string, std::function<void()>> onStart;
    std::promise<void> reached, goOn;  // of the start that is held
    std::shared_ptr<CProtocolManager> manager;

  private:
    std::atomic<bool> held_{false};
    std::future<void> main_;
};
