#include "e2e/ManagerRun.h"

#include <gtest/gtest.h>
#include <tlhelp32.h>

#include <fstream>
#include <sstream>

#include "IPC/class/IPCClient.h"
#include "utils/platform/Platform.h"
#include "utils/registry/RegistryKey.h"

namespace e2e {

namespace {

constexpr const char* kDatabaseKey = "Software\\Quenlar\\Torvik\\Runtime\\Settings\\vexa";
constexpr std::uint32_t kCommandTimeoutMs = 90000;

std::string LogPath() {
    return ProgramFolder() + "e2e.log.txt";
}

void Write(VexaUtils::RegistryKey& key, const Settings& settings) {
    for (const auto& [name, value] : settings) {
        if (const auto* number = std::get_if<std::uint32_t>(&value))
            key.SetNumber(name, *number);
        else
            key.SetText(name, std::get<std::string>(value));
    }
}

std::string Content(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

void EndProcess(const UniqueHandle& process) {
    TerminateProcess(process.Get(), 1);
    WaitForSingleObject(process.Get(), kPatienceMs);
}

/// Ends every child that a manager left behind.
void EndChildren() {
    const UniqueHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32First(snapshot.Get(), &entry); more; more = Process32Next(snapshot.Get(), &entry)) {
        if (std::string(entry.szExeFile) != "KivProtocol.exe")
            continue;
        const UniqueHandle process(OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, entry.th32ProcessID));
        EndProcess(process);
    }
}

/// The reply to a control command that carries an instance name; `noReply` when there is none.
template <class Reply>
Reply Ask(std::uint32_t command, const std::string& name, Reply noReply) {
    std::shared_ptr<IPC> reply;
    const auto request = IPC::Request(command, wire::Encode(ipc_mngctrl_instance_request{name}));
    IPCClient::GetClient(kManagerServerName, true)->Call(request, kCommandTimeoutMs, reply);
    return reply ? wire::Decode<Reply>(reply->Payload()).value_or(noReply) : noReply;
}

}  // namespace

Settings Sample(const std::string& port, const Settings& more) {
    Settings settings = {{"enabled", 1u}, {"hardware", 0u},
                         {"owner", 0u},   {"emultype", std::string("none")},
                         {"type", 7u},    {"protocol", std::string("sampleprotocol")},
                         {"port", port}};
    settings.insert(settings.end(), more.begin(), more.end());
    return settings;
}

void PrepareMachine(const Settings& global) {
    EndChildren();
    VexaUtils::RegistryKey::OpenOrCreate("Software\\Quenlar")->DeleteSubkey("Torvik");
    std::remove(LogPath().c_str());
    const auto key = VexaUtils::RegistryKey::OpenOrCreate(kDatabaseKey);
    Write(*key, {{"logtype", std::string("file")}, {"logfile", LogPath()}, {"logcolor", 0u}});
    Write(*key, global);
}

void WriteTable(const std::string& id, const std::string& name, const Settings& settings) {
    const auto table = VexaUtils::RegistryKey::OpenOrCreate(kDatabaseKey)->CreateSubkey(id);
    Write(*table, {{"_kiv_name", name}});
    Write(*table, settings);
}

void WriteSamples(const std::vector<std::string>& names) {
    for (std::size_t id = 0; id < names.size(); ++id)
        WriteTable(std::to_string(id), names[id], Sample(std::to_string(id)));
}

std::string ReadValue(const std::string& id, const std::string& value) {
    auto key = VexaUtils::RegistryKey::OpenOrCreate(kDatabaseKey);
    if (!id.empty())
        key = key->OpenSubkey(id);
    VexaUtils::RegistryValue found;
    if (!key || key->Query(value, found) != VexaUtils::Reading::Found)
        return "";
    return found.kind == VexaUtils::ValueKind::Number ? std::to_string(found.number) : found.text;
}

std::string ProgramFolder() {
    const auto path = platform::ModulePath();
    return path.substr(0, path.find_last_of("\\/") + 1);
}

bool LogHas(const std::string& text) {
    return Content(LogPath()).find(text) != std::string::npos;
}

bool WaitForLog(const std::string& text) {
    return Eventually([&text] { return LogHas(text); });
}

UniqueHandle OpenChild(std::uint64_t pid) {
    return UniqueHandle(OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, static_cast<DWORD>(pid)));
}

bool IsAlive(std::uint64_t pid) {
    const auto process = OpenChild(pid);
    return process && WaitForSingleObject(process.Get(), 0) == WAIT_TIMEOUT;
}

Program::Program(std::string commandLine)
    : path_(ProgramFolder() + "e2e.output." + std::to_string(reinterpret_cast<std::uintptr_t>(this)) + ".txt") {
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    const UniqueHandle output(CreateFileA(path_.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                          &inheritable, CREATE_ALWAYS, 0, nullptr));
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = startup.hStdError = output.Get();
    PROCESS_INFORMATION process{};
    const bool isStarted =
        CreateProcessA(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process);
    const DWORD error = GetLastError();
    EXPECT_TRUE(isStarted) << "cannot be started: " << commandLine << ", error " << error;
    CloseHandle(process.hThread);
    process_ = UniqueHandle(process.hProcess);
}

Program::~Program() {
    End();
    std::remove(path_.c_str());
}

void Program::End() {
    EndProcess(process_);
}

std::int32_t Program::WaitForExit(std::uint32_t timeoutMs) {
    DWORD code = STILL_ACTIVE;
    WaitForSingleObject(process_.Get(), timeoutMs);
    GetExitCodeProcess(process_.Get(), &code);
    return static_cast<std::int32_t>(code);
}

std::string Program::Output() const {
    return Content(path_);
}

bool Program::Prints(const std::string& text) const {
    return Eventually([&] { return Output().find(text) != std::string::npos; });
}

ProgramResult RunProgram(const std::string& commandLine) {
    Program program(commandLine);
    const auto exitCode = program.WaitForExit();
    EXPECT_NE(exitCode, STILL_ACTIVE) << "did not end: " << commandLine;
    return {exitCode, program.Output()};
}

ManagerRun::ManagerRun(const std::string& folder, const std::string& arguments)
    : Program("\"" + ProgramFolder() + folder + "KivProtocolManager.exe\" " + arguments) {
    EXPECT_TRUE(Eventually([] { return IPCClient::GetClient(kManagerServerName, true)->CheckAlive() == 0; }))
        << "the manager does not answer; its log:\n"
        << Content(LogPath());
}

ManagerRun::~ManagerRun() {
    End();
    EndChildren();
}

std::int32_t ManagerRun::Stop() {
    IPCClient::GetClient(kManagerServerName, true)->Stop();
    return WaitForExit(kCommandTimeoutMs);
}

ipc_mngctrl_status_reply Status(const std::string& name) {
    ipc_mngctrl_status_reply noReply;
    noReply.result = kIpcNoReply;
    return Ask(kManagerStatus, name, noReply);
}

bool WaitForStatus(const std::string& name, InstanceStatus status) {
    return Eventually([&] {
        const auto reply = Status(name);
        return reply.result == 0 && reply.status == status;
    });
}

std::int32_t Control(std::uint32_t command, const std::string& name) {
    return Ask(command, name, ipc_mngctrl_result_reply{kIpcNoReply}).result;
}

}  // namespace e2e
