// ServiceHost: runs a program either under the service control manager or in a console. It knows nothing of the
// program's work: it parses the command line, answers controls and calls back.
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

/// The reason for which a control callback is called.
enum class ControlCode : std::int32_t {
    Stop = 1,
    Pause = 2,
    Continue = 3,
    Shutdown = 4,
    PreShutdown = 5,
    Interrogate = 6
};

/// The callbacks and options that a program gives to the host. Only `main` and, in a console, `stop` are required; the
/// others may be empty. `main` runs on its own thread, the control callbacks on the dispatcher's thread. The thread
/// that calls Run calls `argumentHandler`, `init`, `extraUsage` and, in a console, `stop`. The thread that prints calls
/// `output`.
struct ServiceCallbacks {
    std::function<std::int32_t()> main;
    std::function<void(ControlCode)> stop;
    std::function<void(ControlCode)> pause;
    std::function<void(ControlCode)> resume;
    std::function<void(ControlCode)> shutdown;  // if set, the service accepts the control
    std::function<void(ControlCode, void* eventData)> preShutdown;
    std::function<void(ControlCode, void* eventData)> interrogate;
    std::function<void(DWORD eventType, void* eventData)> deviceEvent;
    std::function<DWORD(DWORD control, DWORD eventType, void* eventData)> otherControl;  // returns the control's result
    /// False for an argument that it does not know; `badIndex` is then its index.
    std::function<bool(const wchar_t* const* arguments, std::int32_t count, std::int32_t& badIndex)> argumentHandler;
    /// False ends the program with `exitCode`.
    std::function<bool(std::int32_t& exitCode)> init;
    std::function<void()> extraUsage;
    std::function<void(const std::wstring& message)> output;
    bool timestampOutput = false;     // puts the local time before each message
    bool printOutput = true;          // false: no message goes to the console or the debugger
    std::FILE* outputFile = nullptr;  // also gets every message; the host closes it in its destructor
    void* deviceFilter = nullptr;     // selects the device events; owned by the program
};

/// One per process. The program's entry point constructs and destroys it. It outlives everything that it calls.
class ServiceHost : public IServiceHost {
  public:
    static constexpr DWORD kWaitHintMs = 30000;
    // Results of Run.
    static constexpr std::int32_t kNotWired = -1;
    static constexpr std::int32_t kArgumentsUnhandled = -3;
    static constexpr std::int32_t kArgumentRejected = -4;

    /// The process's only host. The first call makes it; later calls ignore their arguments. `argv` and `serviceName`
    /// outlive the host.
    static std::shared_ptr<ServiceHost> Create(int argc, wchar_t** argv, const wchar_t* serviceName);
    ~ServiceHost() override;

    /// Takes the callbacks over; called before Run.
    void Wire(ServiceCallbacks callbacks);
    /// Runs the program to its end and returns the exit code. When it returns, the thread that ran `main` has ended and
    /// no control is being handled.
    [[nodiscard]] std::int32_t Run();
    /// Prints a wide printf-style message to the console or, in service mode, to the debugger; also to `outputFile` and
    /// `output` if they are set.
    void Print(const wchar_t* format, ...);
    /// Handles a control of the service control manager. Returns a platform error code.
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
    /// 0, or the result of Run when an argument is refused.
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
    mutable std::mutex statusLock_;  // guards status_ and statusHandle_; held during a report to the system
    SERVICE_STATUS status_{SERVICE_WIN32_OWN_PROCESS, SERVICE_START_PENDING, SERVICE_ACCEPT_STOP, 0, 0, 0, kWaitHintMs};
    SERVICE_STATUS_HANDLE statusHandle_ = nullptr;
    HDEVNOTIFY deviceNotification_ = nullptr;
    std::int32_t exitCode_ = 0;
    const wchar_t* const serviceName_;
    std::vector<const wchar_t*> arguments_;  // the program's path and the arguments that are not the host's own
    const std::shared_ptr<kivsync::Event> readyEvent_;
    UniqueHandle serviceMainThread_;
    std::shared_mutex controlLock_;  // shared by the controls in progress; exclusive to end them before Run returns
    bool ended_ = false;             // guarded by controlLock_
};
