// service: registers the manager as a Windows service, and starts, stops and shows that service.

#include <windows.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "protocols/kivctl/Commands.h"
#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Failure.h"
#include "protocols/kivctl/InitialSettings.h"
#include "protocols/kivctl/Paths.h"
#include "protocols/kivctl/ProcessInfo.h"
#include "protocols/kivctl/Progress.h"
#include "protocols/kivctl/impl/win/FolderAccess.h"
#include "protocols/kivctl/impl/win/MachinePath.h"
#include "utils/logging/LogSettings.h"
#include "utils/platform/Deadline.h"
#include "utils/platform/LastErrorKeeper.h"
#include "utils/platform/Platform.h"
#include "utils/platform/impl/win/Handle.h"

namespace kivctl {

namespace {

constexpr const char* kServiceName = "KivProtocolManager";
constexpr const char* kDisplayName = "KivProtocolManager";
constexpr const char* kProgram = "KivProtocolManager.exe";
constexpr const char* kProgramsBesideIt[] = {"KivProtocol.exe", "kivctl.exe"};
constexpr wchar_t kDescription[] = L"Runs the industrial-protocol instances of this machine.";

constexpr const char* kNotInstalled = "not installed";  // in place of a state

constexpr DWORD kRestartDelayMs = 5000;            // between a failure of the service and its restart
constexpr DWORD kFailureResetSeconds = 24 * 3600;  // time without a failure after which the count of failures is reset
constexpr DWORD kPollMs = 100;
constexpr DWORD kProcessEndMs = 10000;  // for the process of a stopped service to end

struct ScmHandleCloser {
    void operator()(SC_HANDLE handle) const {
        const platform::LastErrorKeeper lastError;
        CloseServiceHandle(handle);
    }
};
using ScmHandle = std::unique_ptr<std::remove_pointer_t<SC_HANDLE>, ScmHandleCloser>;

/// Collects the outcome of a command: prints it line by line, or with --json as one document at the end.
class Outcome {
  public:
    explicit Outcome(const Options& options) : isJson_(options.json) {}

    void Say(const std::string& line, Colour colour = Colour::Plain) {
        if (isJson_)
            message_ += (message_.empty() ? "" : "\n") + line;
        else
            PrintLine(line, colour);
    }
    /// A warning; the command still succeeds.
    void Note(const std::string& line) {
        if (isJson_)
            notes_.push_back(ToUtf8(line));
        else
            PrintLine("Note: " + line, Colour::Warning);
    }
    /// Sets a field of the document, and replaces an earlier value of the same name.
    void Set(const char* name, Json value) { fields_[name] = std::move(value); }

    /// Prints the document; does nothing without --json.
    void Print() {
        if (!isJson_)
            return;
        fields_["message"] = ToUtf8(message_);
        if (!notes_.empty())
            fields_["notes"] = notes_;
        PrintJson(fields_);
    }

  private:
    const bool isJson_;
    Json fields_{{"service", kServiceName}};
    std::string message_;
    Json notes_ = Json::array();
};

/// Throws the Failure for GetLastError(); `what` begins its message.
[[noreturn]] void Refuse(const std::string& what) {
    const auto error = GetLastError();
    std::string reason = "error " + std::to_string(error);
    if (error == ERROR_ACCESS_DENIED)
        reason = "this needs an administrator";
    else if (error == ERROR_SERVICE_DOES_NOT_EXIST)
        reason = "the service is not installed; kivctl service install installs it";
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

/// A handle to wait for the end of the service's process; empty when there is none or it cannot be opened.
UniqueHandle ServiceProcess(const ScmHandle& service) {
    SERVICE_STATUS_PROCESS status{};
    DWORD needed = 0;
    if (!QueryServiceStatusEx(service.get(), SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof status,
                              &needed) ||
        status.dwProcessId == 0)
        return {};
    return UniqueHandle(OpenProcess(SYNCHRONIZE, FALSE, status.dwProcessId));
}

[[noreturn]] void FailIn(DWORD state, const char* wanted) {
    throw Failure(kRefused,
                  std::string("The service is ") + StateName(state) + ", not " + wanted + "; its log says why");
}

/// Asks the service to stop. A service that is starting does not accept the request yet, so asks again.
void RequestStop(const ScmHandle& service, const platform::Deadline& deadline) {
    SERVICE_STATUS status{};
    // ControlService may return before the service has stopped, also with a timeout of the system; AwaitStopped looks
    // at the state.
    while (!ControlService(service.get(), SERVICE_CONTROL_STOP, &status)) {
        const auto error = GetLastError();
        if (error == ERROR_SERVICE_NOT_ACTIVE || error == ERROR_SERVICE_REQUEST_TIMEOUT)
            return;
        if (error != ERROR_SERVICE_CANNOT_ACCEPT_CTRL)
            Refuse("Cannot stop the service");
        if (State(service) != SERVICE_START_PENDING || deadline.LeftMs() == 0)
            return;
        Sleep(kPollMs);
    }
}

/// Waits until the service is stopped, then for the end of its process, because only then its files can be replaced.
void AwaitStopped(const ScmHandle& service, const UniqueHandle& process, const platform::Deadline& deadline) {
    const auto hasEnded = [&process](DWORD timeoutMs) {
        return process && WaitForSingleObject(process.Get(), timeoutMs) == WAIT_OBJECT_0;
    };
    // When somebody starts the service again at once, only the end of the old process shows that it had stopped.
    for (auto state = State(service); state != SERVICE_STOPPED && !hasEnded(0); state = State(service)) {
        if (deadline.LeftMs() == 0)
            FailIn(state, "stopped");
        Sleep(kPollMs);
    }
    hasEnded(kProcessEndMs);
}

/// Waits until the service runs. Throws Failure when it has stopped instead, or after `timeoutMs`.
void AwaitRunning(const ScmHandle& service, std::uint32_t timeoutMs) {
    const platform::Deadline deadline(timeoutMs);
    for (auto state = State(service); state != SERVICE_RUNNING; state = State(service)) {
        if (state == SERVICE_STOPPED || deadline.LeftMs() == 0)
            FailIn(state, "running");
        Sleep(kPollMs);
    }
}

/// The folder of the program that the service is registered with; empty when it cannot be found out.
std::string RegisteredFolder(const ScmHandle& service) {
    DWORD size = 0;
    QueryServiceConfigA(service.get(), nullptr, 0, &size);
    std::vector<BYTE> buffer(size);
    auto* const configuration = reinterpret_cast<QUERY_SERVICE_CONFIGA*>(buffer.data());
    if (size == 0 || !QueryServiceConfigA(service.get(), configuration, size, &size))
        return {};
    const std::string commandLine = configuration->lpBinaryPathName;
    const auto end = commandLine.find('"', 1);
    const bool isQuoted = commandLine.starts_with('"') && end != std::string::npos;
    return isQuoted ? FolderOf(commandLine.substr(1, end - 1)) : std::string();
}

std::string Joined(const std::vector<std::string>& words) {
    std::string text;
    for (const auto& word : words)
        text += (text.empty() ? "" : ", ") + word;
    return text;
}

/// Throws Failure when ordinary users could replace the programs of the service; with `isAllowed` only warns.
void CheckWhoMayWrite(const std::string& folder, const std::vector<std::string>& programs, bool isAllowed,
                      Outcome& outcome) {
    auto paths = programs;
    paths.insert(paths.begin(), folder);
    std::string list;
    try {
        for (const auto& [path, groups] : FindOpenToUsers(paths))
            list += (list.empty() ? "" : "; ") + path + " (" + Joined(groups) + ")";
    } catch (const Failure& failure) {
        if (!isAllowed)
            throw;
        return outcome.Note(failure.what());
    }
    if (list.empty())
        return;
    const auto danger =
        "Ordinary users may change " + list + ". A program that they replace there runs with the service's rights.";
    if (!isAllowed)
        throw Failure(kRefused, "Nothing was installed. " + danger +
                                    " Choose a folder that only administrators may write to, such as one in "
                                    "C:\\Program Files, or repeat with --any-folder.");
    outcome.Note(danger);
}

/// Registers a service that is not registered yet. Returns an empty handle, with the error in GetLastError(), when the
/// system refuses.
ScmHandle Register(const ScmHandle& manager, const std::string& commandLine, Outcome& outcome) {
    ScmHandle service(CreateServiceA(manager.get(), kServiceName, kDisplayName, SERVICE_ALL_ACCESS,
                                     SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START, SERVICE_ERROR_NORMAL,
                                     commandLine.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr));
    if (!service)
        return service;
    SERVICE_DELAYED_AUTO_START_INFO delayed{TRUE};
    SC_ACTION restart{SC_ACTION_RESTART, kRestartDelayMs};
    SERVICE_FAILURE_ACTIONSW failure{};
    failure.dwResetPeriod = kFailureResetSeconds;
    failure.cActions = 1;
    failure.lpsaActions = &restart;
    const auto configure = [&](DWORD level, void* configuration, const char* what) {
        if (!ChangeServiceConfig2W(service.get(), level, configuration))
            outcome.Note(std::string("the system did not take ") + what + ": error " + std::to_string(GetLastError()));
    };
    configure(SERVICE_CONFIG_DELAYED_AUTO_START_INFO, &delayed, "the delayed start");
    configure(SERVICE_CONFIG_FAILURE_ACTIONS, &failure, "the restart after a failure");
    return service;
}

/// Makes a registered service use the programs of this folder. The operator's choices stay: how the service starts, its
/// account and its actions after a failure. Returns an empty handle as Register does.
ScmHandle Update(const ScmHandle& manager, const std::string& folder, const std::string& commandLine,
                 Outcome& outcome) {
    ScmHandle service(
        OpenServiceA(manager.get(), kServiceName, SERVICE_CHANGE_CONFIG | SERVICE_QUERY_CONFIG | SERVICE_QUERY_STATUS));
    if (!service)
        return service;
    const auto before = RegisteredFolder(service);
    if (!ChangeServiceConfigA(service.get(), SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE,
                              commandLine.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr, kDisplayName))
        return {};
    // Otherwise PATH would lead to the kivctl of a folder that is no longer in use.
    if (!before.empty() && lstrcmpiA(before.c_str(), folder.c_str()) != 0 &&
        RemoveFromMachinePath(before) == PathChange::Made)
        outcome.Say("PATH no longer names " + before);
    return service;
}

void Describe(const ScmHandle& service, Outcome& outcome) {
    std::wstring text = kDescription;
    SERVICE_DESCRIPTIONW description{text.data()};
    if (!ChangeServiceConfig2W(service.get(), SERVICE_CONFIG_DESCRIPTION, &description))
        outcome.Note("the system did not take the description: error " + std::to_string(GetLastError()));
}

void InstallSettings(Outcome& outcome) {
    auto values = Json::object();
    for (const auto& [name, value] : WriteInitialSettings()) {
        const bool isText = value.kind == VexaUtils::ValueKind::Text;
        values[name] = isText ? Json(ToUtf8(value.text)) : Json(value.number);
        outcome.Say("Set " + name + " to " + (isText ? value.text : std::to_string(value.number)));
    }
    outcome.Set("values", std::move(values));
    const auto log = Logging::LogSettings::Read();
    const auto problem = log.type == Logging::kFileType ? MakeFolderOf(log.File()) : "";
    if (!problem.empty())
        outcome.Note(problem + "; without it nothing is logged");
}

void InstallPath(const std::string& folder, Outcome& outcome) {
    const auto change = AddToMachinePath(folder);
    if (change == PathChange::Made)
        outcome.Say("PATH names " + folder + " now: consoles opened from now on find kivctl");
    if (change == PathChange::Failed)
        outcome.Note(folder + " could not be added to the machine's PATH, so consoles find kivctl only in that folder");
    outcome.Set("path", {{"folder", ToUtf8(folder)}, {"added", change == PathChange::Made}});
}

/// Registers the service with the programs of this folder, or updates a registered one.
void Install(bool anyFolder, Outcome& outcome) {
    const auto folder = FolderOf(platform::ModulePath());
    const auto program = folder + "\\" + kProgram;
    std::vector<std::string> programs = {program};
    for (const auto* name : kProgramsBesideIt)
        programs.push_back(folder + "\\" + name);
    for (const auto& path : programs)
        if (GetFileAttributesA(path.c_str()) == INVALID_FILE_ATTRIBUTES)
            throw Failure(kRefused, "There is no " + path);
    CheckWhoMayWrite(folder, programs, anyFolder, outcome);

    const auto commandLine = "\"" + program + "\" --service";
    const auto manager = OpenManager(SC_MANAGER_CONNECT | SC_MANAGER_CREATE_SERVICE);
    auto service = Register(manager, commandLine, outcome);
    const bool isNew = service != nullptr;
    if (!isNew && GetLastError() == ERROR_SERVICE_EXISTS)
        service = Update(manager, folder, commandLine, outcome);
    if (!service)
        Refuse("Cannot register the service");
    Describe(service, outcome);
    outcome.Say((isNew ? "Installed: " : "Updated: ") + commandLine);
    InstallSettings(outcome);
    InstallPath(folder, outcome);
    const auto state = State(service);
    if (!isNew && state == SERVICE_RUNNING)
        outcome.Note(
            "the service still runs the programs it was started with; kivctl service restart starts the new ones");
    outcome.Set("isNew", isNew);
    outcome.Set("program", ToUtf8(program));
    outcome.Set("state", StateName(state));
}

/// Stops the service and waits for its end. Returns false when it is not installed.
bool Stop(const Options& options, Outcome& outcome) {
    const auto service = OpenInstalled(SERVICE_STOP | SERVICE_QUERY_STATUS);
    if (!service && GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST) {
        outcome.Say("Not installed");
        outcome.Set("state", kNotInstalled);
        return false;
    }
    if (!service)
        Refuse("Cannot stop the service");
    const auto process = ServiceProcess(service);
    const auto timeout = options.TimeoutOr(kShutdownTimeout);
    const platform::Deadline deadline(timeout);
    {
        const Progress progress(options, "The service stops its instances", timeout);
        RequestStop(service, deadline);
        AwaitStopped(service, process, deadline);
    }
    outcome.Say("Stopped");
    outcome.Set("state", StateName(SERVICE_STOPPED));
    return true;
}

/// Starts the service unless it runs. While it is stopping, the system refuses to start it, so tries again.
void StartOnceStopped(const ScmHandle& service, std::uint32_t timeoutMs) {
    const platform::Deadline deadline(timeoutMs);
    while (!StartServiceA(service.get(), 0, nullptr)) {
        const auto error = GetLastError();
        if (error != ERROR_SERVICE_ALREADY_RUNNING && error != ERROR_SERVICE_CANNOT_ACCEPT_CTRL)
            Refuse("Cannot start the service");
        const auto state = State(service);
        if (state != SERVICE_STOP_PENDING && state != SERVICE_STOPPED)
            return;
        if (deadline.LeftMs() == 0)
            FailIn(state, "running");
        Sleep(kPollMs);
    }
}

void Start(const Options& options, Outcome& outcome) {
    const auto service = OpenInstalled(SERVICE_START | SERVICE_QUERY_STATUS);
    if (!service)
        Refuse("Cannot start the service");
    {
        const Progress progress(options, "The service starts", 0);
        StartOnceStopped(service, options.TimeoutOr(kShutdownTimeout));
        AwaitRunning(service, options.TimeoutOr(kStartTimeout));
    }
    outcome.Say("Running");
    outcome.Set("state", StateName(SERVICE_RUNNING));
}

void Restart(const Options& options, Outcome& outcome) {
    if (!OpenInstalled(SERVICE_START | SERVICE_STOP | SERVICE_QUERY_STATUS))
        Refuse("Cannot restart the service");
    Stop(options, outcome);
    Start(options, outcome);
}

void Uninstall(const Options& options, Outcome& outcome) {
    auto folder = FolderOf(platform::ModulePath());
    const bool isInstalled = Stop(options, outcome);
    if (isInstalled) {
        const auto service = OpenInstalled(DELETE | SERVICE_QUERY_CONFIG);
        if (!service)
            Refuse("Cannot remove the service");
        if (const auto registered = RegisteredFolder(service); !registered.empty())
            folder = registered;
        if (!DeleteService(service.get()))
            Refuse("Cannot remove the service");
        outcome.Say("Removed; its settings stay in the registry");
        outcome.Set("state", kNotInstalled);
    }
    const auto change = RemoveFromMachinePath(folder);
    if (change == PathChange::Made)
        outcome.Say("PATH no longer names " + folder);
    if (change == PathChange::Failed)
        outcome.Note(folder + " could not be taken out of the machine's PATH");
    outcome.Set("removed", isInstalled);
    outcome.Set("path", {{"folder", ToUtf8(folder)}, {"removed", change == PathChange::Made}});
}

ExitCode Show(Outcome& outcome) {
    const auto service = OpenInstalled(SERVICE_QUERY_STATUS);
    if (!service && GetLastError() != ERROR_SERVICE_DOES_NOT_EXIST)
        Refuse("Cannot ask for the service's state");
    const auto state = service ? State(service) : SERVICE_STOPPED;
    const std::string name = service ? StateName(state) : kNotInstalled;
    outcome.Say(std::string(kServiceName) + " is " + name);
    outcome.Set("state", name);
    if (!service)
        return kNotRunning;
    return state == SERVICE_STOPPED || state == SERVICE_STOP_PENDING ? kRefused : kDone;
}

}  // namespace

void AddServiceCommands(Command app, const Options& options) {
    auto service = app.AddCommand("service", "The manager as a Windows service");
    service.NeedCommand();
    const auto add = [service, &options](const char* name, const char* description, auto run) {
        auto command = service.AddCommand(name, description);
        command.OnRun([&options, run] {
            Outcome outcome(options);
            run(outcome);
            outcome.Print();
        });
        return command;
    };
    auto anyFolder = std::make_shared<bool>(false);
    add("install",
        "Registers the service with the programs of this folder (delayed automatic start, restarted after a failure), "
        "or updates it; writes the settings that the machine does not have yet, and adds this folder to PATH",
        [anyFolder](Outcome& outcome) { Install(*anyFolder, outcome); })
        .AddFlag("--any-folder", *anyFolder, "Also from a folder that ordinary users may write to");
    add("uninstall", "Stops and removes the service, and removes its folder from PATH; the settings stay",
        [&options](Outcome& outcome) { Uninstall(options, outcome); });
    add("start", "Starts the service; if it is stopping, waits until it has stopped",
        [&options](Outcome& outcome) { Start(options, outcome); });
    add("stop", "Stops the service and all instances", [&options](Outcome& outcome) { Stop(options, outcome); });
    add("restart", "Stops the service and starts it again",
        [&options](Outcome& outcome) { Restart(options, outcome); });
    auto status = service.AddCommand(
        "status",
        "Shows whether the service runs; exit code 0 when it runs, 1 when it is stopped, 4 when it is not installed");
    status.OnRun([&options] {
        Outcome outcome(options);
        const auto code = Show(outcome);
        outcome.Print();
        if (code != kDone)
            throw Exit{code};
    });
}

}  // namespace kivctl
