// How the service host handles controls, also those that no program can send.
#include "protocols/KivProtocolManager/class/ServiceHost.h"

#include <gtest/gtest.h>

namespace {

TEST(ServiceHost, ControlsReachWhatIsWired) {
    std::wstring program = L"p", mode = L"--Service";
    wchar_t* arguments[] = {program.data(), mode.data()};
    std::string calls;
    ServiceCallbacks callbacks;
    callbacks.stop = [&calls](ControlCode code) { calls += std::to_string(static_cast<int>(code)); };
    {
        const auto host = ServiceHost::Create(2, arguments, L"Test");
        host->Wire(callbacks);
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
    callbacks.preShutdown = callbacks.interrogate = [stop = callbacks.stop](ControlCode code, void*) { stop(code); };
    callbacks.deviceEvent = [&calls](DWORD type, void*) { calls += "d" + std::to_string(type); };
    callbacks.otherControl = [](DWORD control, DWORD, void*) { return control + 1; };
    const auto host = ServiceHost::Create(2, arguments, L"Test");
    host->Wire(callbacks);
    EXPECT_EQ(host->Status().dwControlsAccepted, DWORD{SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN});
    for (const DWORD control : {SERVICE_CONTROL_PAUSE, SERVICE_CONTROL_CONTINUE, SERVICE_CONTROL_INTERROGATE,
                                SERVICE_CONTROL_PRESHUTDOWN, SERVICE_CONTROL_DEVICEEVENT, SERVICE_CONTROL_SHUTDOWN})
        EXPECT_EQ(host->HandleControl(control, 9, nullptr), DWORD{NO_ERROR}) << control;
    EXPECT_EQ(calls, "12365d94");
    EXPECT_EQ(host->HandleControl(200, 0, nullptr), 201u);
}

}  // namespace
