// What the service host does with the controls that no program can send.

#include "protocols/KivProtocolManager/class/ServiceHost.h"

#include <gtest/gtest.h>

namespace {

class ServiceHostTest : public testing::Test {
  protected:
    std::shared_ptr<ServiceHost> Host(std::vector<std::wstring> arguments, ServiceCallbacks callbacks) {
        texts_ = std::move(arguments);
        argv_.clear();
        for (auto& text : texts_)
            argv_.push_back(text.data());
        auto host = ServiceHost::Create(static_cast<int>(argv_.size()), argv_.data(), L"Test");
        host->Wire(std::move(callbacks));
        return host;
    }
    /// Callbacks that note what they are called for.
    ServiceCallbacks Noting() {
        ServiceCallbacks callbacks;
        callbacks.main = [] { return 7; };
        callbacks.stop = [this](ControlCode code) { calls += std::to_string(static_cast<int>(code)); };
        return callbacks;
    }

    std::string calls;

  private:
    std::vector<std::wstring> texts_;
    std::vector<wchar_t*> argv_;
};

TEST_F(ServiceHostTest, ControlsReachWhatIsWired) {
    auto callbacks = Noting();
    {
        const auto host = Host({L"p", L"--Service"}, callbacks);
        EXPECT_TRUE(host->InServiceMode());
        EXPECT_EQ(host->Status().dwControlsAccepted, DWORD{SERVICE_ACCEPT_STOP});
        EXPECT_EQ(host->Status().dwWaitHint, 30000u);
        for (const DWORD control : {SERVICE_CONTROL_PAUSE, SERVICE_CONTROL_CONTINUE, SERVICE_CONTROL_SHUTDOWN,
                                    SERVICE_CONTROL_PRESHUTDOWN, SERVICE_CONTROL_DEVICEEVENT, 200})
            EXPECT_EQ(host->HandleControl(control, 0, nullptr), DWORD{ERROR_CALL_NOT_IMPLEMENTED}) << control;
        EXPECT_EQ(host->HandleControl(SERVICE_CONTROL_INTERROGATE, 0, nullptr), DWORD{NO_ERROR});
        EXPECT_EQ(host->Status().dwCurrentState, DWORD{SERVICE_START_PENDING});
        EXPECT_EQ(host->HandleControl(SERVICE_CONTROL_STOP, 0, nullptr), DWORD{NO_ERROR});
        EXPECT_EQ(host->Status().dwCurrentState, DWORD{SERVICE_STOP_PENDING});
    }
    callbacks.shutdown = callbacks.pause = callbacks.resume = callbacks.stop;
    callbacks.preShutdown =
        callbacks.interrogate = [this](ControlCode code, void*) { calls += std::to_string(static_cast<int>(code)); };
    callbacks.deviceEvent = [this](DWORD type, void*) { calls += "d" + std::to_string(type); };
    callbacks.otherControl = [](DWORD control, DWORD, void*) { return control + 1; };
    const auto host = Host({L"p", L"--service"}, callbacks);
    EXPECT_EQ(host->Status().dwControlsAccepted, DWORD{SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN});
    for (const DWORD control : {SERVICE_CONTROL_PAUSE, SERVICE_CONTROL_CONTINUE, SERVICE_CONTROL_INTERROGATE,
                                SERVICE_CONTROL_PRESHUTDOWN, SERVICE_CONTROL_DEVICEEVENT, SERVICE_CONTROL_SHUTDOWN})
        EXPECT_EQ(host->HandleControl(control, 9, nullptr), DWORD{NO_ERROR}) << control;
    EXPECT_EQ(calls, "12365d94");
    EXPECT_EQ(host->HandleControl(200, 0, nullptr), 201u);
}

}  // namespace
