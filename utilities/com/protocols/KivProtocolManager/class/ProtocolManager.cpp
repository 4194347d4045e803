#include "protocols/KivProtocolManager/class/ProtocolManager.h"

#include <algorithm>
#include <cwchar>
#include <cwctype>
#include <limits>
#include <string_view>
#include <utility>

#include "protocols/KivProtocolManager/class/SettingsRules.h"
#include "utils/VexaDB/class/ProtocolTypes.h"
#include "utils/class/GlobalSettings.h"
#include "utils/logging/Logger.h"
#include "utils/platform/Deadline.h"
#include "utils/registry/Registry.h"

namespace {

constexpr const char* kManagerMutexName = "KivProtocolManager";
constexpr std::int32_t kInitExitCode = -1;
constexpr std::uint32_t kTakeOverMs = 5000;  // the time that an earlier manager has to end
constexpr std::uint32_t kTakeOverPollMs = 50;
constexpr std::wstring_view kMonitorWaitArgument = L"--monitorwait:";
constexpr std::size_t kComparedArgumentCharacters = 6;
constexpr std::uint32_t kShortestMonitorWaitMs = 100;  // a shorter wait would keep every child busy with answers
constexpr std::uint32_t kProfinetDelayMs = 7000;
constexpr int kMissingAttempts = 100;  // to start an instance that the database lacks, until its notice comes
constexpr std::uint32_t kMissingPauseMs = 10;

/// Compares only the argument's first characters, without regard to case.
bool IsMonitorWait(std::wstring_view argument) {
    const auto lower = [](wchar_t c) { return std::towlower(static_cast<std::wint_t>(c)); };
    return std::ranges::equal(argument.substr(0, kComparedArgumentCharacters),
                              kMonitorWaitArgument.substr(0, kComparedArgumentCharacters), {}, lower, lower);
}

std::uint32_t DecimalValue(const std::wstring& text) {
    using Limits = std::numeric_limits<std::int32_t>;
    const auto value = std::wcstoll(text.c_str(), nullptr, 10);
    return static_cast<std::uint32_t>(std::clamp<long long>(value, Limits::min(), Limits::max()));
}

}  // namespace

bool CProtocolManager::Init(std::int32_t& exitCode) {
    KIV_LOG(Logging::Info, "Init of Protocol service manager");
    exitCode = kInitExitCode;
    if (ClaimMachine())
        return true;
    KIV_LOG(Logging::Error, "Another %s is already running on this machine", kManagerMutexName);
    host_.PrintMessage(L"Another KivProtocolManager is already running on this machine\n");
    return false;
}

bool CProtocolManager::ClaimMachine() {
    for (const platform::Deadline deadline(kTakeOverMs); deadline.LeftMs() > 0;
         stopRequestEvent_->Wait(kTakeOverPollMs)) {
        auto mutex = kivsync::Mutex::MakeNamed(kManagerMutexName, false);
        if (!mutex)
            mutex = kivsync::Mutex::OpenNamed(kManagerMutexName);
        if (mutex && mutex->Lock(deadline.LeftMs()) == 0) {
            onlyManager_ = std::move(mutex);
            return true;
        }
    }
    return false;
}

bool CProtocolManager::ParseArguments(const wchar_t* const* arguments, std::int32_t count, std::int32_t& badIndex) {
    for (std::int32_t index = 1; index < count; ++index) {
        if (!IsMonitorWait(arguments[index])) {
            badIndex = index;
            return false;
        }
        monitorWaitTime_ = DecimalValue(std::wstring(arguments[index]).substr(kMonitorWaitArgument.size()));
    }
    return true;
}

std::int32_t CProtocolManager::InternalMain() {
    KIV_LOG(Logging::Info, "Starting Protocol manager service");
    server_ = VexaDB::VexaDBServer::GetInstance();
    server_->AddObserver(shared_from_this());
    server_->Start();
    GlobalSettings::LoadSettings();
    db_ = std::make_unique<VexaDB::VexaDBSession>(server_);
    // The database's value wins over the command line's.
    db_->GetUint32("", "monitorwaittime", monitorWaitTime_);
    monitorWaitTime_ = std::max(monitorWaitTime_, kShortestMonitorWaitMs);
    db_->GetUint32("", "restartdelay", restartDelay_);

    if (host_.InServiceMode()) {
        host_.SetState(ServiceState::Running);
        host_.SignalReady();
    }
    ListNamesToCome();  // before ProcessIPC, since an instance that a client adds must not be started
    ProcessIPC();

    StartProtocols();
    MonitorProtocol();
    StopProtocols();

    KIV_LOG(Logging::Info, "Protocol manager service stopped");
    stoppedEvent_->Set();
    Release();
    return 0;
}

std::int32_t CProtocolManager::InternalMainStop() {
    KIV_LOG(Logging::Info, "Received stop request");
    RequestStop();
    stoppedEvent_->Wait();
    host_.SetState(ServiceState::Stopped);
    host_.ResetReady();
    return 0;
}

void CProtocolManager::Release() {
    if (server_) {
        server_->Stop();
        if (const auto self = weak_from_this().lock())
            server_->RemoveObserver(self);
        server_.reset();
    }
    ipcServer_.Stop();
    table_.Clear();
    onlyManager_.reset();
}

CProtocolManager::InstancePtr CProtocolManager::MakeInstance(const std::string& name) {
    return std::make_shared<CProtocol>(
        name, [this](auto processId, const auto& itsName) { return table_.IsOwnedByAnother(processId, itsName); },
        RestartRule{restartDelay_, monitorWaitTime_, clock_, [event = monitorEvent_] { event->Set(); }});
}

/// A rename that was reported before the list was set would be lost. So read the names again until they equal the list.
void CProtocolManager::ListNamesToCome() {
    std::vector<std::string> names;
    std::vector<std::string> set;
    if (db_->GetInstances(names) != 0)
        KIV_LOG(Logging::Error, "Cannot read the instances of the settings database");
    do {
        set = names;
        table_.SetNamesToCome(set);
    } while (db_->GetInstances(names) == 0 && names != set);
}

void CProtocolManager::StartProtocols() {
    KIV_LOG(Logging::Info, "Starting Protocols services");
    int missing = 0;
    while (const auto name = table_.NextToCome()) {
        const auto instance = TakeUp(*name);
        if (!instance)
            continue;  // the instance was removed or renamed meanwhile
        if (instance->Protocol() == VexaDB::kProtocolNames[VexaDB::kProfinet])
            AwaitProfinetHardware();
        {
            const kivsync::Turn turn(changes_);
            if (StartProtocol(instance) == 0 || missing > kMissingAttempts || db_->ReadExists(*name).value_or(true)) {
                missing = 0;
                continue;
            }
            // The database has just removed or renamed it, and its notice is still to come. After a rename the
            // instance must start under its new name.
            ++missing;
            table_.GiveBack(instance);
        }
        stopRequestEvent_->Wait(kMissingPauseMs);
    }
}

/// Puts the next instance of the database into the table, unless a client has added it already. Empty when it is not
/// the next one any more or was removed.
CProtocolManager::InstancePtr CProtocolManager::TakeUp(const std::string& name) {
    const kivsync::Turn turn(changes_);
    FollowNotes(InstanceTable::Which::Untried);
    auto instance = table_.Find(name);
    if (!instance)
        instance = MakeInstance(name);
    if (CleanupSoftwareProfinetInstance(*db_, *instance)) {
        FollowNotes(InstanceTable::Which::Untried);
        return {};
    }
    CleanupEipInstance(*db_, *instance);
    return table_.TakeUp(instance) ? instance : nullptr;
}

/// The Profinet hardware needs time before each of its instances starts. A stop request ends the wait.
void CProtocolManager::AwaitProfinetHardware() {
    auto delayMs = kProfinetDelayMs;
    const auto tuning = VexaUtils::Registry::Make(VexaUtils::kTuningKey);
    if (tuning->Open() == 0 && tuning->ValueExists("fpgadelayedstart"))
        tuning->GetUint32("fpgadelayedstart", delayMs);
    KIV_LOG_AS("CProtocolManager::StartProtocols", Logging::Info, "ProfinetProtocol delay: %d ms",
               static_cast<int>(delayMs));
    stopRequestEvent_->Wait(delayMs);
}

void CProtocolManager::MonitorProtocol() {
    KIV_LOG(Logging::Info, "Monitor Protocols services");
    for (platform::Deadline pass(monitorWaitTime_); !StopRequested();) {
        const auto passInMs = pass.LeftMs();
        auto waitMs = passInMs;
        for (const auto& instance : table_.All())
            waitMs = std::min(waitMs, instance->CheckInMs(passInMs));
        if (waitMs > 0) {
            monitorEvent_->Wait(waitMs);
            continue;
        }
        if (!table_.Noted(InstanceTable::Which::All).empty()) {
            const kivsync::Turn turn(changes_);
            FollowNotes(InstanceTable::Which::All);
        }
        for (const auto& instance : table_.All()) {
            if (StopRequested())
                break;  // an instance that is restarted now would be stopped at once
            if (instance->CheckInMs(passInMs) == 0)
                CheckInstance(instance);
        }
        if (passInMs == 0)
            pass = platform::Deadline(monitorWaitTime_);
    }
}

void CProtocolManager::CheckInstance(const InstancePtr& instance) {
    instance->ForgetRestart();
    const auto changeCount = instance->ChangeCount();
    if (instance->IsStopped() || instance->Ask(CProtocol::Question::Status).status == kRunning)
        return;
    const kivsync::Turn turn(changes_);
    if (!table_.MayStart(instance) || instance->ChangeCount() != changeCount)
        return;  // another thread has changed the instance meanwhile
    const CProtocol::Change change(*instance);
    KIV_LOG_AS("CProtocolManager::MonitorProtocol", Logging::Error, "Protocol %s has stopped working",
               instance->Name().c_str());
    // Stop and Start log their failures; the next pass tries again.
    if (instance->IsRunning())
        static_cast<void>(instance->Stop());
    static_cast<void>(instance->Start(CProtocol::kDefaultStartTimeout));
}

void CProtocolManager::StopProtocols() {
    KIV_LOG(Logging::Info, "Stoping Protocols all services");
    {
        const kivsync::Turn turn(changes_);
        for (const auto& instance : table_.All()) {
            const CProtocol::Change change(*instance);
            static_cast<void>(instance->Stop());  // it logs a failure, and the other instances must be stopped as well
        }
        table_.Close();
    }
    KIV_LOG(Logging::Info, "Finishing Stoping Protocols all services");
}
