#include "protocols/KivProtocolManager/class/ServiceHost.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstring>
#include <ctime>
#include <cwchar>
#include <utility>

#include "utils/sync/Thread.h"

namespace {

constexpr wchar_t kOwnProcessServiceName[] = L"";  // the system ignores the name of a service with its own process

std::weak_ptr<ServiceHost> theHost;  // the process's only host; the system passes no context to ServiceMainEntry

std::wstring LocalTimestamp() {
    const auto now = std::time(nullptr);
    std::wstring text = L"[";
    for (const char* c = std::asctime(std::localtime(&now)); *c != '\0' && *c != '\n'; ++c)
        text += static_cast<wchar_t>(*c);
    return text + L"] ";
}

std::wstring FormatWide(const wchar_t* format, va_list arguments) {
    va_list measured;
    va_copy(measured, arguments);
    const int length = _vscwprintf(format, measured);
    va_end(measured);
    std::wstring text(static_cast<std::size_t>(std::max(length, 0)), L'\0');
    std::vswprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

/// A console takes wide text; a file or pipe behind standard output takes the narrow code page.
void WriteToStandardOutput(const std::wstring& message) {
    const HANDLE out = GetStdHandle(STD_OUTPUT_HANDLE);
    const auto length = static_cast<int>(message.size());
    DWORD written = 0;
    if (WriteConsoleW(out, message.data(), static_cast<DWORD>(length), &written, nullptr))
        return;
    const int size = WideCharToMultiByte(CP_ACP, 0, message.data(), length, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_ACP, 0, message.data(), length, narrow.data(), size, nullptr, nullptr);
    std::fputs(narrow.c_str(), stdout);
    std::fflush(stdout);
}

/// Calls the callback of a control and returns the control's result.
template <class Callback, class... Arguments>
DWORD Call(const Callback& callback, Arguments... arguments) {
    if (!callback)
        return ERROR_CALL_NOT_IMPLEMENTED;
    callback(arguments...);
    return NO_ERROR;
}

/// Turns off the console's quick-edit mode, in which a click into the window blocks every thread that writes to it.
/// Restores the mode when the program ends, also by Ctrl-C or by the end of its window.
class NoQuickEdit {
  public:
    NoQuickEdit() {
        known = GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &mode) != 0;
        if (known)
            SetConsoleMode(GetStdHandle(STD_INPUT_HANDLE),
                           (mode | ENABLE_EXTENDED_FLAGS) & ~DWORD{ENABLE_QUICK_EDIT_MODE});
        SetConsoleCtrlHandler(&Restore, TRUE);
    }
    ~NoQuickEdit() { Restore(CTRL_CLOSE_EVENT); }
    NoQuickEdit(const NoQuickEdit&) = delete;
    NoQuickEdit& operator=(const NoQuickEdit&) = delete;

  private:
    /// Returns FALSE, so that the signal also has its usual effect.
    static BOOL WINAPI Restore(DWORD /*signal*/) {
        if (known)
            SetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), mode | ENABLE_EXTENDED_FLAGS);
        return FALSE;
    }

    static inline DWORD mode = 0;
    static inline bool known = false;
};

}  // namespace

std::shared_ptr<ServiceHost> ServiceHost::Create(int argc, wchar_t** argv, const wchar_t* serviceName) {
    auto host = theHost.lock();
    if (!host)
        theHost = host = std::shared_ptr<ServiceHost>(new ServiceHost(argc, argv, serviceName));
    return host;
}

ServiceHost::ServiceHost(int argc, wchar_t** argv, const wchar_t* serviceName)
    : serviceName_(serviceName), readyEvent_(kivsync::Event::Make(kivsync::Reset::Manual, kivsync::Initially::Clear)) {
    for (int i = 0; i < argc; ++i) {
        if (_wcsicmp(argv[i], L"--service") == 0)
            serviceMode_ = true;
        else if (_wcsicmp(argv[i], L"--usage") == 0)
            usageRequested_ = true;
        else
            arguments_.push_back(argv[i]);
    }
}

ServiceHost::~ServiceHost() {
    if (callbacks_.outputFile)
        std::fclose(callbacks_.outputFile);
}

void ServiceHost::Wire(ServiceCallbacks callbacks) {
    callbacks_ = std::move(callbacks);
    if (!callbacks_.shutdown)
        return;
    const std::lock_guard hold(statusLock_);
    status_.dwControlsAccepted |= SERVICE_ACCEPT_SHUTDOWN;
    Report();
}

std::int32_t ServiceHost::Run() {
    if (!callbacks_.main || (!serviceMode_ && !callbacks_.stop))
        return kNotWired;
    if (usageRequested_) {
        PrintUsage();
        return 0;
    }
    if (const auto refusal = AcceptArguments(); refusal != 0)
        return refusal;
    if (callbacks_.init && !callbacks_.init(exitCode_))
        return exitCode_;
    return serviceMode_ ? RunAsService() : RunInConsole();
}

void ServiceHost::PrintUsage() {
    Print(L"Usage for %ls:\n\n", serviceName_);
    Print(L"--usage:  This help page\n");
    if (callbacks_.extraUsage)
        callbacks_.extraUsage();
}

std::int32_t ServiceHost::AcceptArguments() {
    const auto count = static_cast<std::int32_t>(arguments_.size());
    if (!callbacks_.argumentHandler) {
        if (count <= 1)
            return 0;
        Print(L"The service received the following argument(s) but is not setup to handle them:\n ");
        for (std::int32_t i = 1; i < count; ++i)
            Print(L"%ls\n", arguments_[static_cast<std::size_t>(i)]);
        return kArgumentsUnhandled;
    }

    std::int32_t badIndex = -1;
    if (callbacks_.argumentHandler(arguments_.data(), count, badIndex))
        return 0;
    Print(L"The service rejected the following argument:\n ");
    if (badIndex < 0 || badIndex >= count)
        Print(L"Badly formed arguments, please call with --usage\n");
    else
        Print(L"%ls\n", arguments_[static_cast<std::size_t>(badIndex)]);
    return kArgumentRejected;
}

std::int32_t ServiceHost::RunInConsole() {
    const NoQuickEdit noQuickEdit;
    std::atomic<bool> ended{false};
    const auto thread = kivsync::Thread::Start([this, &ended] {
        exitCode_ = callbacks_.main();
        ended = true;
        readyEvent_->Set();
    });
    if (!thread)
        return kNotWired;
    readyEvent_->Wait();
    if (!ended) {
        Print(L"PRESS ENTER TO QUIT\n");
        std::getwchar();
        callbacks_.stop(ControlCode::Stop);
    }
    thread->Join();
    return exitCode_;
}

std::int32_t ServiceHost::RunAsService() {
    wchar_t name[] = L"";
    SERVICE_TABLE_ENTRYW table[] = {{name, &ServiceHost::ServiceMainEntry}, {nullptr, nullptr}};
    if (!StartServiceCtrlDispatcherW(table))
        return static_cast<std::int32_t>(GetLastError());
    // The dispatcher returns as soon as STOPPED is reported or the service's thread has ended. That thread, or the
    // control that stopped it, may still use what the caller is about to destroy.
    if (serviceMainThread_)
        WaitForSingleObject(serviceMainThread_.Get(), INFINITE);
    const std::scoped_lock noControl(controlLock_);
    ended_ = true;
    return 0;
}

void WINAPI ServiceHost::ServiceMainEntry(DWORD /*argc*/, wchar_t** /*argv*/) {
    theHost.lock()->ServiceMain();
}

void ServiceHost::ServiceMain() {
    HANDLE self = nullptr;
    const HANDLE process = GetCurrentProcess();
    if (DuplicateHandle(process, GetCurrentThread(), process, &self, SYNCHRONIZE, FALSE, 0))
        serviceMainThread_ = UniqueHandle(self);

    const auto handle = RegisterServiceCtrlHandlerExW(kOwnProcessServiceName, &ServiceHost::ControlHandler, this);
    if (!handle)
        return;
    if (callbacks_.deviceEvent)
        deviceNotification_ = RegisterDeviceNotificationW(reinterpret_cast<HANDLE>(handle), callbacks_.deviceFilter,
                                                          DEVICE_NOTIFY_SERVICE_HANDLE);
    {
        const std::lock_guard hold(statusLock_);
        statusHandle_ = handle;
        Report();
    }
    callbacks_.main();
    SetPlatformState(SERVICE_STOPPED);
    readyEvent_->Reset();
    if (deviceNotification_)
        UnregisterDeviceNotification(deviceNotification_);
}

DWORD WINAPI ServiceHost::ControlHandler(DWORD control, DWORD eventType, void* eventData, void* context) {
    auto& host = *static_cast<ServiceHost*>(context);
    const std::shared_lock underWay(host.controlLock_);
    return host.ended_ ? DWORD{ERROR_SERVICE_NOT_ACTIVE} : host.HandleControl(control, eventType, eventData);
}

DWORD ServiceHost::HandleControl(DWORD control, DWORD eventType, void* eventData) {
    switch (control) {
        case SERVICE_CONTROL_STOP:
            return Control(callbacks_.stop, ControlCode::Stop, SERVICE_STOP_PENDING);
        case SERVICE_CONTROL_PAUSE:
            return Control(callbacks_.pause, ControlCode::Pause, SERVICE_PAUSE_PENDING);
        case SERVICE_CONTROL_CONTINUE:
            return Control(callbacks_.resume, ControlCode::Continue, SERVICE_CONTINUE_PENDING);
        case SERVICE_CONTROL_SHUTDOWN:
            return Control(callbacks_.shutdown, ControlCode::Shutdown, SERVICE_STOP_PENDING);
        case SERVICE_CONTROL_INTERROGATE:
            Call(callbacks_.interrogate, ControlCode::Interrogate, eventData);
            return NO_ERROR;
        case SERVICE_CONTROL_PRESHUTDOWN:
            return Call(callbacks_.preShutdown, ControlCode::PreShutdown, eventData);
        case SERVICE_CONTROL_DEVICEEVENT:
            return Call(callbacks_.deviceEvent, eventType, eventData);
        default:
            return callbacks_.otherControl ? callbacks_.otherControl(control, eventType, eventData)
                                           : DWORD{ERROR_CALL_NOT_IMPLEMENTED};
    }
}

DWORD ServiceHost::Control(const std::function<void(ControlCode)>& callback, ControlCode code, DWORD pendingState) {
    if (callback)
        SetPlatformState(pendingState);
    return Call(callback, code);
}

void ServiceHost::SetPlatformState(DWORD state) {
    const std::lock_guard hold(statusLock_);
    // Once a stop is pending, only its end may be reported, even if a start was in progress when it came.
    const bool stopping = status_.dwCurrentState == SERVICE_STOP_PENDING && state != SERVICE_STOPPED;
    if (status_.dwCurrentState == state || status_.dwCurrentState == SERVICE_STOPPED || stopping)
        return;
    status_.dwCurrentState = state;
    status_.dwWin32ExitCode = NO_ERROR;
    status_.dwServiceSpecificExitCode = 0;
    status_.dwCheckPoint = 0;
    Report();
}

/// Reports the status to the system. Called with the status lock held.
void ServiceHost::Report() {
    if (statusHandle_)
        SetServiceStatus(statusHandle_, &status_);
}

SERVICE_STATUS ServiceHost::Status() const {
    const std::lock_guard hold(statusLock_);
    return status_;
}

void ServiceHost::Print(const wchar_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::wstring message = FormatWide(format, arguments);
    va_end(arguments);

    if (callbacks_.timestampOutput)
        message.insert(0, LocalTimestamp());
    if (callbacks_.outputFile) {
        std::fwprintf(callbacks_.outputFile, L"%ls", message.c_str());
        std::fflush(callbacks_.outputFile);
    }
    if (callbacks_.printOutput) {
        if (serviceMode_)
            OutputDebugStringW(message.c_str());
        else
            WriteToStandardOutput(message);
    }
    if (callbacks_.output)
        callbacks_.output(message);
}
