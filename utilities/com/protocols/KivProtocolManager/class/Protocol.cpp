#include "protocols/KivProtocolManager/class/Protocol.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <sstream>
#include <utility>

#include "IPC/transport/ServerTransport.h"
#include "utils/VexaDB/class/VexaDBMessages.h"
#include "utils/VexaDB/class/VexaDBServer.h"
#include "utils/class/GlobalSettings.h"
#include "utils/logging/Logger.h"
#include "utils/platform/Deadline.h"
#include "utils/platform/Platform.h"
#include "utils/registry/ProductFolder.h"

namespace {

constexpr const char* kReadySuffix = "-ready";
constexpr const char* kChildProgram = "tools/KivProtocol";
constexpr const char* kKeyArgument = "--key:";
// The child's command line is "KivProtocol --key:NAME" and has to fit the 70 bytes that starting a process has for it.
constexpr std::size_t kLongestStartableName = 51;
constexpr std::uint32_t kCreateResultTimeoutMs = 500;
constexpr int kConnectAttempts = 5;  // each sends one stranger that serves under the instance's name away
constexpr std::int64_t kNanosecondsPerMs = 1'000'000;

std::int64_t CalendarSeconds() {
    using std::chrono::system_clock;
    return std::chrono::duration_cast<std::chrono::seconds>(system_clock::now().time_since_epoch()).count();
}

}  // namespace

CProtocol::CProtocol(std::string name) : db_(VexaDB::VexaDBServer::GetInstance()), name_(std::move(name)) {
    protocol_ = db_.Text(name_, "protocol");
    type_ = db_.Number(name_, "type");
    typeDisabled_ = IsTypeDisabled(type_);
    CreateProcessObject();
}

void CProtocol::CreateProcessObject() {
    const auto path = VexaUtils::InstallationFolder() + kChildProgram;
    const std::lock_guard hold(guard_);
    process_ = std::make_shared<Process>(path, std::vector<std::string>{kKeyArgument + name_});
}

void CProtocol::SetName(const std::string& newName) {
    {
        const std::lock_guard hold(guard_);
        name_ = newName;
    }
    CreateProcessObject();
}

std::string CProtocol::Name() const {
    const std::lock_guard hold(guard_);
    return name_;
}

std::shared_ptr<Process> CProtocol::CurrentProcess() const {
    const std::lock_guard hold(guard_);
    return process_;
}

std::shared_ptr<IPCClient> CProtocol::CurrentClient() const {
    const std::lock_guard hold(guard_);
    return client_;
}

std::int32_t CProtocol::Start(std::uint32_t timeoutMs) {
    const auto name = Name();
    if (db_.Number(name, "enabled") == 0 || typeDisabled_)
        return -1;
    if (!stopped_ && IsRunning() && IsConnected())
        return -1;
    startTime_ = 0;
    stopped_ = false;

    if (name.size() > kLongestStartableName) {
        KIV_LOG(Logging::Error, "Cannot start instance %s: its name is longer than %zu characters", name.c_str(),
                kLongestStartableName);
        return -1;
    }

    // A child that serves under such a name could not be told from the manager's own servers.
    if (name == kManagerServerName || name == VexaDB::kDatabaseServerName) {
        KIV_LOG(Logging::Error, "Cannot start instance %s: the manager itself serves under this name", name.c_str());
        return -1;
    }

    // The pipe exists before the child does, so that a quick child finds it.
    const auto readyPipe = ServerTransport::Make(name + kReadySuffix);
    if (!readyPipe) {
        KIV_LOG(Logging::Error, "Cannot start instance %s: its ready pipe cannot be made", name.c_str());
        return -1;
    }
    const auto process = CurrentProcess();
    if (process->Start() != 0)
        return -1;

    if (timeoutMs == kDefaultStartTimeout)
        timeoutMs = GlobalSettings::Get().startTimeout;
    if (AwaitChild(*readyPipe, timeoutMs))
        return 0;
    process->Stop();
    return -1;
}

std::shared_ptr<ClientTransport> CProtocol::AcceptChild(ServerTransport& readyPipe, std::uint32_t timeoutMs) {
    const platform::Deadline deadline(timeoutMs);
    do {
        auto connection = readyPipe.Accept(deadline.LeftMs());
        const auto peer = connection ? connection->PeerProcessId() : 0;
        if (peer == 0 || peer == ProcessId())
            return connection;
        KIV_LOG(Logging::Warning, "Process %llu is not the child of instance %s, its ready connection is refused",
                static_cast<unsigned long long>(peer), Name().c_str());
    } while (deadline.LeftMs() > 0);
    return {};
}

/// A child of an earlier manager that did not come to its end may still serve under the name; it is asked to go.
std::shared_ptr<IPCClient> CProtocol::ConnectToChild(const std::string& name) {
    for (int attempt = 0; attempt < kConnectAttempts; ++attempt) {
        auto client = IPCClient::GetClient(name, true);
        const auto server = client->ServerPid();
        const bool connected = client->IsConnected();
        if (connected ? server == 0 || server == ProcessId() : attempt == 0)
            return client;
        if (!connected)
            continue;  // the stranger was still going
        KIV_LOG(Logging::Warning, "Process %llu serves instance %s but is not its child, it is asked to end",
                static_cast<unsigned long long>(server), name.c_str());
        client->Stop();
        client->Disconnect();
    }
    return {};
}

bool CProtocol::AwaitChild(ServerTransport& readyPipe, std::uint32_t timeoutMs) {
    const auto name = Name();
    KIV_LOG(Logging::Info, "Starting Instance %s", name.c_str());
    const auto begin = platform::MonotonicNanoseconds();

    const auto connection = AcceptChild(readyPipe, timeoutMs);
    if (!connection) {
        KIV_LOG(Logging::Error, "Cannot start instance %s did not connect %d", name.c_str(), IsRunning() ? 1 : 0);
        return false;
    }
    auto result = static_cast<std::int8_t>(-1);
    if (connection->Read(&result, sizeof result, kCreateResultTimeoutMs) != sizeof result) {
        KIV_LOG(Logging::Error, "Cannot start instance %s did not send create result %d", name.c_str(),
                IsRunning() ? 1 : 0);
        return false;
    }
    const auto elapsedMs = (platform::MonotonicNanoseconds() - begin) / kNanosecondsPerMs;
    KIV_LOG(Logging::Info, "Protocol %s started %d %d", name.c_str(), static_cast<int>(result),
            static_cast<int>(elapsedMs));
    if (result != 0) {
        KIV_LOG(Logging::Error, "Cannot start instance %X %s", static_cast<unsigned>(static_cast<int>(result)),
                name.c_str());
        return false;
    }

    auto client = ConnectToChild(name);
    if (!client) {
        KIV_LOG(Logging::Error, "Cannot get IPC to new instance %s", name.c_str());
        return false;
    }
    {
        const std::lock_guard hold(guard_);
        client_ = std::move(client);
    }
    startTime_ = CalendarSeconds();
    KIV_LOG(Logging::Info, "Instance %s started", name.c_str());
    return true;
}

std::int32_t CProtocol::Stop() {
    stopped_ = true;
    startTime_ = 0;
    if (!IsRunning()) {
        KIV_LOG(Logging::Info, "Protocol %s is not running", protocol_.c_str());
        return 0;
    }

    KIV_LOG(Logging::Info, "Stoping Protocol %s", protocol_.c_str());
    const auto client = CurrentClient();
    if (!client)
        return -1;
    KIV_LOG(Logging::Info, "Wait for child to end");
    client->Stop();
    const auto process = CurrentProcess();
    if (!process->WaitForExit(GlobalSettings::Get().stopTimeout)) {
        KIV_LOG(Logging::Error, "Cannot stop process %llu-%s in time",
                static_cast<unsigned long long>(process->GetPid()), Name().c_str());
        process->Stop();
    }
    client->Disconnect();
    return 0;
}

std::uint64_t CProtocol::ProcessId() const {
    return CurrentProcess()->GetPid();
}

bool CProtocol::IsRunning() {
    if (CurrentProcess()->IsRunning())
        return true;
    startTime_ = 0;
    return false;
}

bool CProtocol::IsConnected() {
    const auto client = CurrentClient();
    return client && client->CheckAlive() == 0;
}

InstanceStatus CProtocol::GetStatus() {
    const bool running = IsRunning();
    if (stopped_)
        return kStopped;
    return running && IsConnected() ? kRunning : kStoppedWorking;
}

CProtocol::Condition CProtocol::GetCondition() {
    const auto client = CurrentClient();
    if (stopped_ || !client || !IsRunning())
        return {GetStatus(), GetState(), GetClientCount()};
    const auto child = client->GetCondition();
    return {child.alive ? kRunning : kStoppedWorking, child.state, child.clientCount};
}

std::uint32_t CProtocol::GetClientCount() {
    std::uint32_t count = 0;
    const auto client = CurrentClient();
    if (client && IsRunning())
        client->GetClientCount(count);
    return count;
}

std::vector<ipc_client_info> CProtocol::GetClients() {
    std::vector<ipc_client_info> clients;
    const auto client = CurrentClient();
    if (client && IsRunning())
        client->GetClientsInfo(clients);
    return clients;
}

bool CProtocol::IsInUseByOthers() {
    const auto clients = GetClients();
    if (clients.empty())
        return false;
    return clients.size() > 1 || clients.front().processId != platform::CurrentProcessId();
}

std::uint32_t CProtocol::GetState() {
    std::uint32_t state = 0;
    const auto client = CurrentClient();
    if (client && IsRunning())
        client->GetState(state);
    return state;
}

std::uint32_t CProtocol::GetLastErrorCode() {
    return IsRunning() ? 0 : 0 - db_.Number(Name(), "lasterror");
}

bool CProtocol::IsFullEmulation() {
    return db_.Text(Name(), "emultype") == "full";
}

bool CProtocol::IsTypeDisabled(std::uint32_t type) {
    std::istringstream list(db_.Text("", "disabledprotocols"));
    for (std::string piece; std::getline(list, piece, ';');) {
        if (static_cast<std::uint32_t>(std::strtoll(piece.c_str(), nullptr, 10)) == type)
            return true;
    }
    return false;
}

std::uint64_t CProtocol::GetUptime() {
    const std::int64_t started = IsRunning() ? startTime_.load() : 0;
    const auto now = CalendarSeconds();
    return started == 0 || now < started ? 0 : static_cast<std::uint64_t>(now - started);
}
