// The Windows service: how the manager is registered with the service control manager, and by whom it is started.

#include <windows.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <utility>

#include "protocols/kivctl/Commands.h"
#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Failure.h"
#include "utils/platform/Deadline.h"
#include "utils/platform/LastErrorKeeper.h"
#include "utils/platform/Platform.h"
#include "utils/platform/impl/win/Handle.h"

namespace kivctl {

namespace {

constexpr const char* kServiceName = "KivProtocolManager";
constexpr const char* kDisplayName = "KivProtocolManager";
constexpr const char* kProgram = "KivProtocolManager.exe";
constexpr wchar_t kDescription[] = L"Runs the industrial-protocol instances of this machine.";

constexpr DWORD kRestartDelayMs = 5000;            // before the service is started again after a failure
constexpr DWORD kFailureResetSeconds = 24 * 3600;  // without a failure until the count of failures starts anew
constexpr DWORD kPollMs = 100;
constexpr DWORD kProcessEndMs = 10000;  // for the stopped service's process to be gone

struct ScmHandleCloser {
    void operator()(SC_HANDLE handle) const {
        const platform::LastErrorKeeper lastError;
        CloseServiceHandle(handle);
    }
};
using ScmHandle = std::unique_ptr<std::remove_pointer_t<SC_HANDLE>, ScmHandleCloser>;

[[noreturn]] void Refuse(const std::string& what) {
    const auto error = GetLastError();
    std::string reason = "error " + std::to_string(error);
    if (error == ERROR_ACCESS_DENIED)
        reason = "this needs an administrator";
    else if (error == ERROR_SERVICE_DOES_NOT_EXIST)
        reason = "the service is not installed; kivctl service install does it";
    throw Failure(kRefused, what + ": " + reason, static_cast<std::int32_t>(error));
}

ScmHandle OpenManager(DWORD access) {
    ScmHandle manager(OpenSCManagerA(nullptr, nullptr, access));
    if (!manager)
        Refuse("Cannot reach the service control manager");
    return manager;
}

ScmHandle OpenInstalled(DWORD access) {
    const auto manager = OpenManager(SC_MANAGER_CONNECT);
    return ScmHandle(OpenServiceA(manager.get(), kServiceName, access));
}

DWORD State(const ScmHandle& service) {
    SERVICE_STATUS status{};
    if (!QueryServiceStatus(service.get(), &status))
        Refuse("Cannot ask for the service's state");
    return status.dwCurrentState;
}

const char* StateName(DWORD state) {
    switch (state) {
        case SERVICE_STOPPED:
            return "stopped";
        case SERVICE_START_PENDING:
            return "starting";
        case SERVICE_STOP_PENDING:
            return "stopping";
        case SERVICE_RUNNING:
            return "running";
        default:
            return "in another state";
    }
}

/// Waits for the state; throws when it does not come in time, or when the service ended instead of running.
void Await(const ScmHandle& service, DWORD wanted, std::uint32_t timeoutMs) {
    const platform::Deadline deadline(timeoutMs);
    for (auto state = State(service); state != wanted; state = State(service)) {
        const bool gaveUp = wanted == SERVICE_RUNNING && state == SERVICE_STOPPED;
        if (gaveUp || deadline.LeftMs() == 0)
            throw Failure(kRefused, std::string("The service is ") + StateName(state) + ", not " + StateName(wanted) +
                                        "; its log says why");
        Sleep(kPollMs);
    }
}

/// The process that the service runs in, for waiting; empty when there is none or it cannot be opened.
UniqueHandle ServiceProcess(const ScmHandle& service) {
    SERVICE_STATUS_PROCESS status{};
    DWORD needed = 0;
    if (!QueryServiceStatusEx(service.get(), SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof status,
                              &needed) ||
        status.dwProcessId == 0)
        return {};
    return UniqueHandle(OpenProcess(SYNCHRONIZE, FALSE, status.dwProcessId));
}

std::string InstalledProgram() {
    const auto own = platform::ModulePath();
    return own.substr(0, own.find_last_of("\\/") + 1) + kProgram;
}

/// Registers the service, or brings one that is registered up to date.
void Install() {
    const auto program = InstalledProgram();
    if (GetFileAttributesA(program.c_str()) == INVALID_FILE_ATTRIBUTES)
        throw Failure(kRefused, "There is no " + program);
    const auto commandLine = "\"" + program + "\" --service";
    const auto manager = OpenManager(SC_MANAGER_CONNECT | SC_MANAGER_CREATE_SERVICE);
    ScmHandle service(CreateServiceA(manager.get(), kServiceName, kDisplayName, SERVICE_ALL_ACCESS,
                                     SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START, SERVICE_ERROR_NORMAL,
                                     commandLine.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr));
    if (!service && GetLastError() == ERROR_SERVICE_EXISTS) {
        service.reset(OpenServiceA(manager.get(), kServiceName, SERVICE_ALL_ACCESS));
        if (service &&
            !ChangeServiceConfigA(service.get(), SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START, SERVICE_ERROR_NORMAL,
                                  commandLine.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr, kDisplayName))
            service.reset();
    }
    if (!service)
        Refuse("Cannot register the service");

    std::wstring description = kDescription;
    SERVICE_DESCRIPTIONW text{description.data()};
    SERVICE_DELAYED_AUTO_START_INFO delayed{TRUE};
    SC_ACTION restart{SC_ACTION_RESTART, kRestartDelayMs};
    SERVICE_FAILURE_ACTIONSW failure{};
    failure.dwResetPeriod = kFailureResetSeconds;
    failure.cActions = 1;
    failure.lpsaActions = &restart;
    const std::pair<DWORD, void*> configurations[] = {{SERVICE_CONFIG_DESCRIPTION, &text},
                                                      {SERVICE_CONFIG_DELAYED_AUTO_START_INFO, &delayed},
                                                      {SERVICE_CONFIG_FAILURE_ACTIONS, &failure}};
    for (const auto& [level, configuration] : configurations) {
        if (!ChangeServiceConfig2W(service.get(), level, configuration))
            PrintLine("Note: the service control manager did not take setting " + std::to_string(level) + ", error " +
                          std::to_string(GetLastError()),
                      Colour::Warning);
    }
    PrintLine("Installed: " + commandLine);
}

void Stop(const Options& options) {
    const auto service = OpenInstalled(SERVICE_STOP | SERVICE_QUERY_STATUS);
    if (!service && GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST) {
        PrintLine("Not installed");
        return;
    }
    if (!service)
        Refuse("Cannot stop the service");
    const auto process = ServiceProcess(service);
    SERVICE_STATUS status{};
    // The control returns when every instance is stopped, or with a time-out of the system's; the state tells.
    if (!ControlService(service.get(), SERVICE_CONTROL_STOP, &status)) {
        const auto error = GetLastError();
        if (error != ERROR_SERVICE_NOT_ACTIVE && error != ERROR_SERVICE_CANNOT_ACCEPT_CTRL &&
            error != ERROR_SERVICE_REQUEST_TIMEOUT)
            Refuse("Cannot stop the service");
    }
    Await(service, SERVICE_STOPPED, options.TimeoutOr(kShutdownTimeout));
    // Its files are free only when its process has ended, a moment after the service counts as stopped.
    if (process)
        WaitForSingleObject(process.Get(), kProcessEndMs);
    PrintLine("Stopped");
}

void Start(const Options& options) {
    const auto service = OpenInstalled(SERVICE_START | SERVICE_QUERY_STATUS);
    if (!service || (!StartServiceA(service.get(), 0, nullptr) && GetLastError() != ERROR_SERVICE_ALREADY_RUNNING))
        Refuse("Cannot start the service");
    Await(service, SERVICE_RUNNING, options.TimeoutOr(kStartTimeout));
    PrintLine("Running");
}

void Uninstall(const Options& options) {
    Stop(options);
    const auto service = OpenInstalled(DELETE);
    if (!service && GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST)
        return;
    if (!service || !DeleteService(service.get()))
        Refuse("Cannot remove the service");
    PrintLine("Removed; its settings stay in the registry");
}

void Show(const Options& options) {
    const auto service = OpenInstalled(SERVICE_QUERY_STATUS);
    const std::string state = service ? StateName(State(service)) : "not installed";
    if (options.json)
        PrintJson({{"service", kServiceName}, {"state", state}});
    else
        PrintLine(std::string(kServiceName) + " is " + state);
}

}  // namespace

void AddServiceCommands(CLI::App& app, const Options& options) {
    auto* service = app.add_subcommand("service", "The manager as a Windows service");
    service->require_subcommand(1);
    service
        ->add_subcommand("install",
                         "Registers the service (delayed automatic start, restarted after a failure), "
                         "or updates it")
        ->callback([] { Install(); });
    service->add_subcommand("uninstall", "Stops and removes the service; the settings stay")->callback([&options] {
        Uninstall(options);
    });
    service->add_subcommand("start", "Starts the service")->callback([&options] { Start(options); });
    service->add_subcommand("stop", "Stops the service and with it every instance")->callback([&options] {
        Stop(options);
    });
    service->add_subcommand("status", "Whether the service is installed and running")->callback([&options] {
        Show(options);
    });
}

}  // namespace kivctl
