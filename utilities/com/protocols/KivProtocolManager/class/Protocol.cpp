#include "protocols/KivProtocolManager/class/Protocol.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <sstream>
#include <utility>

#include "protocols/control/ChildStart.h"
#include "utils/VexaDB/class/VexaDBServer.h"
#include "utils/class/GlobalSettings.h"
#include "utils/logging/Logger.h"
#include "utils/platform/Deadline.h"
#include "utils/platform/Platform.h"
#include "utils/registry/ProductFolder.h"

namespace {

constexpr const char* kStart = "CProtocol::Start";  // the function that the log names for every part of a start
constexpr const char* kChildProgram = "tools/KivProtocol";
// The child's command line, "KivProtocol --key:NAME" with its zero byte, must fit into the 70 bytes that Process has.
constexpr std::size_t kLongestStartableName = 51;
constexpr std::uint32_t kCreateResultTimeoutMs = 500;
constexpr int kConnectAttempts = 5;  // each one asks at most one other process that serves under the name to end
constexpr std::int64_t kNanosecondsPerMs = 1'000'000;
constexpr std::int64_t kSteadyNanoseconds = 60'000'000'000;  // after a run of this length earlier ends do not count

std::int64_t CalendarSeconds() {
    using std::chrono::system_clock;
    return std::chrono::duration_cast<std::chrono::seconds>(system_clock::now().time_since_epoch()).count();
}

}  // namespace

CProtocol::CProtocol(std::string name, OwnerCheck isOwnedByAnother, RestartRule restartRule)
    : db_(VexaDB::VexaDBServer::GetInstance()),
      isOwnedByAnother_(std::move(isOwnedByAnother)),
      restartRule_(std::move(restartRule)) {
    protocol_ = db_.Text(name, "protocol");
    type_ = db_.Number(name, "type");
    typeDisabled_ = IsTypeDisabled(type_);
    state_.Lock()->name = std::move(name);
    static_cast<void>(CreateProcessObject());  // there is no former object
}

CProtocol::~CProtocol() {
    // The process object goes first, and without the lock: its destructor waits for a report of the child's end, which
    // uses the other members.
    const auto process = std::move(state_.Lock()->process);
}

std::shared_ptr<Process> CProtocol::CreateProcessObject() {
    const auto path = VexaUtils::InstallationFolder() + kChildProgram;
    auto process = std::make_shared<Process>(path, std::vector<std::string>{kKeyArgument + Name()});
    process->OnEnd([this](auto processId, auto exitCode) { ChildEnded(processId, exitCode); });
    state_.Lock()->process.swap(process);
    return process;
}

std::shared_ptr<Process> CProtocol::SetName(const std::string& newName) {
    ForgetRestart();
    state_.Lock()->name = newName;
    return CreateProcessObject();
}

std::int32_t CProtocol::Start(std::uint32_t timeoutMs) {
    const auto name = Name();
    if (db_.Number(name, "enabled") == 0 || typeDisabled_)
        return -1;
    if (!IsStopped() && IsRunning() && IsConnected())
        return -1;
    {
        auto state = state_.Lock();
        state->startTime = 0;
        state->stopped = state->answers = false;
        state->startedAt = restartRule_.clock();
        state->restart.reset();
    }
    const bool isTooLong = name.size() > kLongestStartableName;
    const bool isReserved = IsReservedName(name);
    // Make the pipe before the child, so that a quick child finds it, and a child that ends at once ends the wait.
    const auto readyPipe = isTooLong || isReserved ? nullptr : ServerTransport::Make(name + kReadyPipeSuffix);
    if (!readyPipe) {
        KIV_LOG(Logging::Error, "Cannot start instance %s: %s", name.c_str(),
                isTooLong    ? "its name is longer than 51 characters"
                : isReserved ? "the manager itself serves under this name"
                             : "its ready pipe cannot be made");
        return -1;
    }
    state_.Lock()->readyPipe = readyPipe;
    const auto process = CurrentProcess();
    const bool hasProcess = process->Start() == 0;
    if (timeoutMs == kDefaultStartTimeout)
        timeoutMs = GlobalSettings::Get().startTimeout;
    const bool isUp = hasProcess && AwaitChild(*readyPipe, timeoutMs);
    state_.Lock()->readyPipe.reset();
    if (isUp)
        return 0;
    if (hasProcess) {
        ExpectEnd(*process);
        process->Stop();
    }
    return -1;
}

/// Marks the end of a running process as expected. A process that is not running any more has ended by itself.
void CProtocol::ExpectEnd(Process& process) {
    if (process.IsRunning())
        state_.Lock()->expectedEnds.insert(process.GetPid());
}

void CProtocol::ChildEnded(std::uint64_t processId, std::uint32_t exitCode) {
    const bool expected = state_.Lock()->expectedEnds.erase(processId) != 0;
    if (!expected) {
        KIV_LOG(Logging::Error, "Process %llu of instance %s ended with exit code %X",
                static_cast<unsigned long long>(processId), Name().c_str(), static_cast<unsigned>(exitCode));
        PlanRestart();
    }
    // No copy of the pointer: a pipe that outlived its start would take the next child's connection.
    if (auto state = state_.Lock(); state->readyPipe)
        state->readyPipe->Interrupt();
}

void CProtocol::PlanRestart() {
    const auto& [firstMs, mostMs, clock, planned] = restartRule_;
    if (firstMs == 0)
        return;
    {
        auto state = state_.Lock();
        const bool isFirst = state->restartDelay == 0 || clock() - state->startedAt >= kSteadyNanoseconds;
        const std::uint64_t delay = isFirst ? firstMs : std::uint64_t{state->restartDelay} * 2;
        state->restartDelay = static_cast<std::uint32_t>(std::min<std::uint64_t>(delay, mostMs));
        state->restart.emplace(state->restartDelay);
    }
    planned();
}

std::uint32_t CProtocol::CheckInMs(std::uint32_t passInMs) {
    auto state = state_.Lock();
    return state->restart ? state->restart->LeftMs() : passInMs;
}

std::shared_ptr<ClientTransport> CProtocol::AcceptChild(ServerTransport& readyPipe, std::uint32_t timeoutMs) {
    const platform::Deadline deadline(timeoutMs);
    do {
        auto connection = readyPipe.Accept(deadline.LeftMs());
        if (!connection)
            continue;
        const auto peer = connection->PeerProcessId();
        if (peer == 0 || peer == ProcessId())
            return connection;
        KIV_LOG_AS(kStart, Logging::Warning,
                   "Process %llu is not the child of instance %s, its ready connection is refused",
                   static_cast<unsigned long long>(peer), Name().c_str());
    } while (deadline.LeftMs() > 0 && IsRunning());
    return {};
}

/// A child that an earlier manager left behind may still serve under the name. It is asked to end.
std::shared_ptr<IPCClient> CProtocol::ConnectToChild(const std::string& name) {
    for (int attempt = 0; attempt < kConnectAttempts; ++attempt) {
        auto client = IPCClient::GetClient(name, true);
        const auto server = client->ServerPid();
        const bool connected = client->IsConnected();
        if (connected ? server == 0 || server == ProcessId() : attempt == 0)
            return client;
        if (!connected)
            continue;  // the other process was still ending
        if (isOwnedByAnother_ && isOwnedByAnother_(server, name))
            return {};
        KIV_LOG_AS(kStart, Logging::Warning, "Process %llu serves instance %s but is not its child, it is asked to end",
                   static_cast<unsigned long long>(server), name.c_str());
        client->Stop();
        client->Disconnect();
    }
    return {};
}

bool CProtocol::AwaitChild(ServerTransport& readyPipe, std::uint32_t timeoutMs) {
    const auto name = Name();
    KIV_LOG_AS(kStart, Logging::Info, "Starting Instance %s", name.c_str());
    const auto begin = platform::MonotonicNanoseconds();

    const auto connection = AcceptChild(readyPipe, timeoutMs);
    if (!connection) {
        KIV_LOG_AS(kStart, Logging::Error, "Cannot start instance %s did not connect %d", name.c_str(),
                   IsRunning() ? 1 : 0);
        return false;
    }
    auto result = static_cast<std::int8_t>(-1);
    if (connection->Read(&result, sizeof result, kCreateResultTimeoutMs) != sizeof result) {
        KIV_LOG_AS(kStart, Logging::Error, "Cannot start instance %s did not send create result %d", name.c_str(),
                   IsRunning() ? 1 : 0);
        return false;
    }
    const auto elapsedMs = (platform::MonotonicNanoseconds() - begin) / kNanosecondsPerMs;
    KIV_LOG_AS(kStart, Logging::Info, "Protocol %s started %d %d", name.c_str(), static_cast<int>(result),
               static_cast<int>(elapsedMs));
    if (result != 0) {
        KIV_LOG_AS(kStart, Logging::Error, "Cannot start instance %X %s",
                   static_cast<unsigned>(static_cast<int>(result)), name.c_str());
        return false;
    }

    auto client = ConnectToChild(name);
    if (!client) {
        KIV_LOG_AS(kStart, Logging::Error, "Cannot get IPC to new instance %s", name.c_str());
        return false;
    }
    {
        auto state = state_.Lock();
        state->client = std::move(client);
        state->answers = true;
        state->startTime = CalendarSeconds();
    }
    KIV_LOG_AS(kStart, Logging::Info, "Instance %s started", name.c_str());
    return true;
}

void CProtocol::SetStopped() {
    auto state = state_.Lock();
    state->stopped = true;
    state->startTime = 0;
    state->restart.reset();
}

std::int32_t CProtocol::Stop() {
    SetStopped();
    if (!IsRunning()) {
        KIV_LOG(Logging::Info, "Protocol %s is not running", protocol_.c_str());
        return 0;
    }

    KIV_LOG(Logging::Info, "Stoping Protocol %s", protocol_.c_str());  // people search their logs for this spelling
    const auto client = CurrentClient();
    if (!client)
        return -1;
    KIV_LOG(Logging::Info, "Wait for child to end");
    const auto process = CurrentProcess();
    ExpectEnd(*process);
    client->Stop();
    if (!process->WaitForExit(GlobalSettings::Get().stopTimeout)) {
        KIV_LOG(Logging::Error, "Cannot stop process %llu-%s in time",
                static_cast<unsigned long long>(process->GetPid()), Name().c_str());
        process->Stop();
    }
    client->Disconnect();
    return 0;
}

bool CProtocol::IsRunning() {
    auto state = state_.Lock();
    if (state->process->IsRunning())
        return true;
    state->startTime = 0;
    return false;
}

bool CProtocol::IsConnected() {
    const auto client = CurrentClient();
    const bool answers = client && client->CheckAlive() == 0;
    state_.Lock()->answers = answers;
    return answers;
}

InstanceStatus CProtocol::GetStatus() {
    if (IsStopped())
        return kStopped;
    return IsRunning() && IsConnected() ? kRunning : kStoppedWorking;
}

void CProtocol::BeginChange() {
    auto state = state_.Lock();
    ++state->changeCount;
    if (++state->changes > 1)
        return;
    SettleKnown(*state);
    state_.NotifyAll();  // threads that wait for another thread's exchange now get the settled condition
    // The change asks the child itself. If an exchange went on meanwhile, each would wait for the other's replies.
    state.Wait([&] { return !state->exchange; });
}

void CProtocol::EndChange() {
    auto state = state_.Lock();
    ++state->changeCount;
    if (--state->changes == 0)
        SettleKnown(*state);
}

void CProtocol::SettleKnown(State& state) {
    const bool running = state.process->IsRunning();
    if (!running) {
        state.startTime = 0;
        state.settled = {};
    }
    state.settled.status = state.stopped ? kStopped : running && state.answers ? kRunning : kStoppedWorking;
    state.settled.processId = state.process->GetPid();
    state.settled.startTime = state.startTime;
}

bool CProtocol::NeedsChild(State& state) {
    return state.changes == 0 && !state.stopped && state.client && state.process->IsRunning();
}

CProtocol::Condition CProtocol::Ask(Question question) {
    const platform::Deadline deadline(GlobalSettings::Get().ipcTimeout);
    auto state = state_.Lock();
    while (NeedsChild(*state)) {
        if (const auto other = state->exchange) {
            const auto isOver = [&] { return other->done || state->changes != 0; };
            if (!state.Wait(deadline.LeftMs(), isOver))
                break;
            if (other->done && other->question == question)
                return other->answer;
            continue;
        }
        const auto mine = std::make_shared<Exchange>(Exchange{question});
        state->exchange = mine;
        const auto changeCount = state->changeCount;
        const auto client = state->client;
        SettleKnown(*state);
        mine->answer = state->settled;
        state.Unlock();
        const bool told = AskChild(*client, deadline.LeftMs(), *mine);
        state.Relock();
        state->exchange.reset();
        if (state->changeCount != changeCount) {
            mine->answer = state->settled;
        } else if (told) {
            state->settled = mine->answer;
            state->answers = true;
        } else if (question == Question::Status) {
            state->settled.status = kStoppedWorking;
            state->answers = false;
        }
        mine->done = true;
        state_.NotifyAll();
        return mine->answer;
    }
    if (state->changes == 0)
        SettleKnown(*state);
    return state->settled;
}

bool CProtocol::AskChild(IPCClient& client, std::uint32_t timeoutMs, Exchange& exchange) {
    auto& answer = exchange.answer;
    if (exchange.question == Question::Clients) {
        answer.clients.clear();
        answer.clientCount = 0;
        return client.GetClientsInfo(answer.clients, answer.clientCount, timeoutMs) == kIpcSuccess;
    }
    const auto child = client.GetCondition(timeoutMs);
    answer.status = child.alive ? kRunning : kStoppedWorking;
    answer.state = child.state;
    answer.clientCount = child.clientCount;
    return child.alive;
}

std::uint32_t CProtocol::GetClientCount() {
    std::uint32_t count = 0;
    const auto client = CurrentClient();
    if (client && IsRunning() && client->GetClientCount(count) == kIpcSuccess)
        state_.Lock()->settled.clientCount = count;
    return count;
}

CProtocol::Use CProtocol::GetUse() {
    if (!IsRunning())
        return Use::Free;
    const auto client = CurrentClient();
    std::vector<ipc_client_info> clients;
    if (!client || client->GetClientsInfo(clients) != kIpcSuccess)
        return Use::Unknown;
    const bool isFree =
        clients.empty() || (clients.size() == 1 && clients.front().processId == platform::CurrentProcessId());
    state_.Lock()->settled.clients = std::move(clients);
    return isFree ? Use::Free : Use::Others;
}

bool CProtocol::IsTypeDisabled(std::uint32_t type) {
    std::istringstream list(db_.Text("", "disabledprotocols"));
    bool isListed = false;
    for (std::string piece; std::getline(list, piece, ';');)
        isListed |= static_cast<std::uint32_t>(std::strtoll(piece.c_str(), nullptr, 10)) == type;
    return isListed;
}

std::uint64_t CProtocol::GetUptime(std::int64_t startTime) {
    const auto now = CalendarSeconds();
    return startTime == 0 || now < startTime ? 0 : static_cast<std::uint64_t>(now - startTime);
}
