// ServiceHost: runs a program either under the service control manager or in a console. It knows nothing of what the
// program does: it parses the command line, answers controls and calls back.
#pragma once

#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <vector>

#include "protocols/KivProtocolManager/class/IServiceHost.h"
#include "utils/platform/impl/win/Handle.h"
#include "utils/sync/Event.h"

/// What a control callback is told about why it is called.
enum class ControlCode : std::int32_t {
    Stop = 1,
    Pause = 2,
    Continue = 3,
    Shutdown = 4,
    PreShutdown = 5,
    Interrogate = 6
};

/// What a program wires to the host. Each callback is empty when the program has no use for it. `main` runs on a thread
/// of its own, the controls on the dispatcher's thread; the rest on the thread that calls Run.
struct ServiceCallbacks {
    std::function<std::int32_t()> main;
    std::function<void(ControlCode)> stop;
    std::function<void(ControlCode)> pause;
    std::function<void(ControlCode)> resume;
    std::function<void(ControlCode)> shutdown;  // also makes the service accept the control
    std::function<void(ControlCode, void* eventData)> preShutdown;
    std::function<void(ControlCode, void* eventData)> interrogate;
    std::function<void(DWORD eventType, void* eventData)> deviceEvent;
    std::function<DWORD(DWORD control, DWORD eventType, void* eventData)> otherControl;  // its result is the handler's
    /// False for an argument it does not know; `badIndex` then names it.
    std::function<bool(const wchar_t* const* arguments, std::int32_t count, std::int32_t& badIndex)> argumentHandler;
    /// False ends the program with `exitCode`.
    std::function<bool(std::int32_t& exitCode)> init;
    std::function<void()> extraUsage;
    std::function<void(const std::wstring& message)> output;
    bool timestampOutput = false;     // before each message
    bool printOutput = true;          // messages are shown at all
    std::FILE* outputFile = nullptr;  // gets every message, too; the host closes it at its end
    void* deviceFilter = nullptr;     // what device events to hear of; stays the program's
};

/// One per process. Constructed and destroyed by the program's entry point; outlives everything it calls.
class ServiceHost : public IServiceHost {
  public:
    static constexpr DWORD kWaitHintMs = 30000;
    static constexpr std::int32_t kNotWired = -1;
    static constexpr std::int32_t kArgumentsUnhandled = -3;
    static constexpr std::int32_t kArgumentRejected = -4;

    /// The process's host, made by the first call; the arguments of later calls do not matter.
    static std::shared_ptr<ServiceHost> Create(int argc, wchar_t** argv, const wchar_t* serviceName);
    ~ServiceHost() override;

    void Wire(ServiceCallbacks callbacks);
    /// Runs the program to its end and returns the exit code. When it returns, the thread that ran `main` has ended and
    /// no control is being handled.
    [[nodiscard]] std::int32_t Run();
    /// Prints a wide printf-style message where whoever started the program sees it.
    void Print(const wchar_t* format, ...);
    /// The extended control handler's decision: a platform error code.
    DWORD HandleControl(DWORD control, DWORD eventType, void* eventData);

    SERVICE_STATUS Status() const;

    // IServiceHost
    bool InServiceMode() const override { return serviceMode_; }
    void SetState(ServiceState state) override { SetPlatformState(static_cast<DWORD>(state)); }
    void SignalReady() override { readyEvent_->Set(); }
    void ResetReady() override { readyEvent_->Reset(); }
    void PrintMessage(const std::wstring& message) override { Print(L"%ls", message.c_str()); }

  private:
    ServiceHost(int argc, wchar_t** argv, const wchar_t* serviceName);

    void PrintUsage();
    /// 0, or what Run results in when an argument is refused.
    [[nodiscard]] std::int32_t AcceptArguments();
    [[nodiscard]] std::int32_t RunInConsole();
    [[nodiscard]] std::int32_t RunAsService();
    void ServiceMain();
    void SetPlatformState(DWORD state);
    void Report();
    DWORD Control(const std::function<void(ControlCode)>& callback, ControlCode code, DWORD pendingState);

    static void WINAPI ServiceMainEntry(DWORD argc, wchar_t** argv);
    static DWORD WINAPI ControlHandler(DWORD control, DWORD eventType, void* eventData, void* context);

    bool serviceMode_ = false;
    bool usageRequested_ = false;
    ServiceCallbacks callbacks_;
    mutable std::mutex statusLock_;  // guards the record and the handle; the system is told with it held
    SERVICE_STATUS status_{SERVICE_WIN32_OWN_PROCESS, SERVICE_START_PENDING, SERVICE_ACCEPT_STOP, 0, 0, 0, kWaitHintMs};
    SERVICE_STATUS_HANDLE statusHandle_ = nullptr;
    HDEVNOTIFY deviceNotification_ = nullptr;
    std::int32_t exitCode_ = 0;
    const wchar_t* const serviceName_;
    std::vector<const wchar_t*> arguments_;  // those that are not the host's own, the program's path included
    const std::shared_ptr<kivsync::Event> readyEvent_;
    UniqueHandle serviceMainThread_;
    std::shared_mutex controlLock_;  // shared by the controls under way; taken whole when there are to be none any more
    bool ended_ = false;             // guarded by controlLock_
};
