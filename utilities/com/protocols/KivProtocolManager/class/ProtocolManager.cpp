#include "protocols/KivProtocolManager/class/ProtocolManager.h"

#include <algorithm>
#include <cwchar>
#include <cwctype>
#include <limits>
#include <utility>

#include "utils/VexaDB/class/ProtocolTypes.h"
#include "utils/class/GlobalSettings.h"
#include "utils/logging/Logger.h"
#include "utils/platform/Platform.h"
#include "utils/registry/Registry.h"

namespace {

constexpr const char* kManagerMutexName = "KivProtocolManager";
constexpr std::int32_t kInitExitCode = -1;
constexpr std::int64_t kTakeOverNanoseconds = 5'000'000'000;  // for a manager before this one to be gone
constexpr std::uint32_t kTakeOverPollMs = 50;
constexpr std::wstring_view kMonitorWaitArgument = L"--monitorwait:";
constexpr std::size_t kComparedArgumentCharacters = 6;
constexpr std::uint32_t kProfinetDelayMs = 7000;

bool HasPrefixIgnoringCase(const wchar_t* text, std::wstring_view prefix) {
    return std::all_of(prefix.begin(), prefix.end(), [&text](wchar_t expected) {
        return std::towlower(static_cast<std::wint_t>(*text++)) == std::towlower(static_cast<std::wint_t>(expected));
    });
}

std::uint32_t DecimalValue(const std::wstring& text) {
    using Limits = std::numeric_limits<std::int32_t>;
    const auto value = std::wcstoll(text.c_str(), nullptr, 10);
    return static_cast<std::uint32_t>(std::clamp<long long>(value, Limits::min(), Limits::max()));
}

}  // namespace

CProtocolManager::CProtocolManager(IServiceHost& host)
    : host_(host),
      stopRequestEvent_(kivsync::Event::Make(kivsync::Reset::Manual, kivsync::Initially::Clear)),
      stoppedEvent_(kivsync::Event::Make(kivsync::Reset::Manual, kivsync::Initially::Clear)),
      clock_(platform::MonotonicNanoseconds) {}

CProtocolManager::~CProtocolManager() {
    Release();
}

bool CProtocolManager::Init(std::int32_t& exitCode) {
    KIV_LOG(Logging::Info, "Init of Protocol service manager");
    exitCode = kInitExitCode;
    if (ClaimMachine())
        return true;
    KIV_LOG(Logging::Error, "Another %s is already running on this machine", kManagerMutexName);
    host_.PrintMessage(L"Another KivProtocolManager is already running on this machine\n");
    return false;
}

/// A manager that reported its stop may still be closing its servers, while the next one is started already.
bool CProtocolManager::ClaimMachine() {
    const auto deadline = platform::MonotonicNanoseconds() + kTakeOverNanoseconds;
    for (;;) {
        onlyManager_ = kivsync::Mutex::MakeNamed(kManagerMutexName, false);
        if (onlyManager_ || platform::MonotonicNanoseconds() >= deadline)
            return onlyManager_ != nullptr;
        stopRequestEvent_->Wait(kTakeOverPollMs);
    }
}

bool CProtocolManager::ParseArguments(const wchar_t* const* arguments, std::int32_t count, std::int32_t& badIndex) {
    for (std::int32_t index = 1; index < count; ++index) {
        if (!HasPrefixIgnoringCase(arguments[index], kMonitorWaitArgument.substr(0, kComparedArgumentCharacters))) {
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

    if (host_.InServiceMode()) {
        host_.SetState(ServiceState::Running);
        host_.SignalReady();
    }
    ipcThread_ = kivsync::Thread::Start([this] { ProcessIPC(); });
    if (!ipcThread_)
        KIV_LOG(Logging::Error, "Cannot start the thread of the control server %s", kManagerServerName);

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
    stopRequestEvent_->Set();
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
    if (ipcThread_) {
        ipcServer_.Stop();
        ipcThread_->Join();
        ipcThread_.reset();
    }
    {
        const std::lock_guard hold(lock_);
        protocols_.clear();
        awaitingName_.clear();
    }
    onlyManager_.reset();
}

std::vector<CProtocolManager::InstancePtr> CProtocolManager::Instances() {
    const std::lock_guard hold(lock_);
    return protocols_;
}

/// Whoever waited for the lock may hold an instance that was removed meanwhile, or come after all were stopped: its
/// child would be nobody's. The lock is held.
bool CProtocolManager::MayStart(const InstancePtr& instance) const {
    return !allStopped_ && std::find(protocols_.begin(), protocols_.end(), instance) != protocols_.end();
}

CProtocolManager::InstancePtr CProtocolManager::GetProtocol(const std::string& name) {
    const std::lock_guard hold(lock_);
    const auto found = std::find_if(protocols_.begin(), protocols_.end(),
                                    [&name](const InstancePtr& instance) { return instance->Name() == name; });
    return found == protocols_.end() ? nullptr : *found;
}

std::int32_t CProtocolManager::StartProtocols() {
    KIV_LOG(Logging::Info, "Starting Protocols services");
    {
        const std::lock_guard hold(lock_);
        starting_ = true;
        std::vector<std::string> names;
        db_->GetInstances(names);
        toTakeUp_.assign(names.begin(), names.end());
    }
    for (;;) {
        std::string name;
        {
            const std::lock_guard hold(lock_);
            starting_ = !toTakeUp_.empty();
            if (!starting_)
                return 0;
            name = std::move(toTakeUp_.front());
            toTakeUp_.pop_front();
        }
        TakeUp(name);
    }
}

/// Puts an instance of the database into the table and starts it. Not one that is there, or that was removed or renamed
/// meanwhile: starting takes time, in which the database changes.
void CProtocolManager::TakeUp(const std::string& name) {
    const auto instance = std::make_shared<CProtocol>(name);
    if (CleanupSoftwareProfinetInstance(*instance))
        return;
    CleanupEipInstance(*instance);
    {
        const std::lock_guard hold(lock_);
        if (GetProtocol(name) || !db_->IsInstanceExist(name))
            return;
        protocols_.push_back(instance);
    }
    if (instance->Protocol() == VexaDB::kProtocolNames[VexaDB::kProfinet])
        AwaitProfinetHardware();
    StartProtocol(instance);
}

/// The Profinet hardware needs time before each of its instances; a stop request need not wait for it.
void CProtocolManager::AwaitProfinetHardware() {
    auto delayMs = kProfinetDelayMs;
    const auto tuning = VexaUtils::Registry::Make(VexaUtils::kTuningKey);
    if (tuning->Open() == 0 && tuning->ValueExists("fpgadelayedstart"))
        tuning->GetUint32("fpgadelayedstart", delayMs);
    KIV_LOG(Logging::Info, "ProfinetProtocol delay: %d ms", static_cast<int>(delayMs));
    stopRequestEvent_->Wait(delayMs);
}

std::int32_t CProtocolManager::MonitorProtocol() {
    KIV_LOG(Logging::Info, "Monitor Protocols services");
    while (stopRequestEvent_->Wait(monitorWaitTime_) != 0) {
        for (const auto& instance : Instances()) {
            if (StopRequested())
                break;  // what would be restarted now would be stopped at once
            CheckInstance(instance);
        }
    }
    return 0;
}

/// Restarts an instance that is meant to run and does not work. The check itself needs no lock, so a pass over healthy
/// instances delays no command; what is to be restarted is looked at again under the lock.
void CProtocolManager::CheckInstance(const InstancePtr& instance) {
    const auto healthy = [&instance] { return instance->IsRunning() && instance->IsConnected(); };
    if (instance->IsStopped() || healthy())
        return;

    const std::lock_guard hold(lock_);
    if (!MayStart(instance) || instance->IsStopped() || healthy())
        return;
    KIV_LOG(Logging::Error, "Protocol %s has stopped working", instance->Name().c_str());
    if (instance->IsRunning())
        instance->Stop();
    instance->Start(CProtocol::kDefaultStartTimeout);
}

std::int32_t CProtocolManager::StopProtocols() {
    KIV_LOG(Logging::Info, "Stoping Protocols all services");
    {
        const std::lock_guard hold(lock_);
        for (const auto& instance : protocols_)
            instance->Stop();
        allStopped_ = true;
    }
    KIV_LOG(Logging::Info, "Finishing Stoping Protocols all services");
    return 0;
}

std::int32_t CProtocolManager::StartProtocol(const std::string& name) {
    const std::lock_guard hold(lock_);
    const auto instance = GetProtocol(name);
    return instance ? StartProtocol(instance) : kManagerFailure;
}

std::int32_t CProtocolManager::StartProtocol(const InstancePtr& instance) {
    std::string name;
    {
        const std::lock_guard hold(lock_);
        if (!MayStart(instance))
            return kManagerFailure;
        name = instance->Name();
        SetPortOwner(*instance);
        if (instance->IsRunning()) {
            KIV_LOG(Logging::Warning, "Protocol %s is already running", name.c_str());
            return 0;
        }
        KIV_LOG(Logging::Warning, "Start protocol %s", name.c_str());
        if (instance->Start(CProtocol::kDefaultStartTimeout) != 0) {
            KIV_LOG(Logging::Error, "Cannot start protocol %s", name.c_str());
            return kManagerFailure;
        }
        KIV_LOG(Logging::Warning, "Protocol %s status is %d ", name.c_str(), static_cast<int>(instance->GetStatus()));
        if (!instance->IsRunning() || !instance->IsConnected()) {
            KIV_LOG(Logging::Error, "Started protocol %s stalled", name.c_str());
            return kManagerFailure;
        }
        KIV_LOG(Logging::Info, "int32_t CProtocolManager::StartProtocol(std::shared_ptr<CProtocol> Protocol)");
        instance->GetClientCount();
        KIV_LOG(Logging::Warning, "Started protocol %s", name.c_str());
    }
    if (StartProtocolNotify(name) == 0)
        return 0;
    KIV_LOG(Logging::Error, "Start Protocol %s Notify failure", name.c_str());
    return kManagerFailure;
}

std::int32_t CProtocolManager::StopProtocol(const std::string& name) {
    KIV_LOG(Logging::Warning, "Stop protocol %s", name.c_str());
    {
        const std::lock_guard hold(lock_);
        const auto instance = GetProtocol(name);
        if (!instance)
            return kManagerFailure;
        std::erase(awaitingName_, instance);
        if (!instance->IsRunning())
            return 0;
        if (instance->IsInUseByOthers()) {
            KIV_LOG(Logging::Error, "Cannot stop %s because it is still in use!", name.c_str());
            return kManagerInUse;
        }
        if (instance->Stop() != 0) {
            KIV_LOG(Logging::Error, "Cannot stop protocol %s", name.c_str());
            return kManagerFailure;
        }
        KIV_LOG(Logging::Warning, "Stopped protocol %s", name.c_str());
    }
    StopProtocolNotify(name);
    return 0;
}

std::int32_t CProtocolManager::RestartProtocol(const std::string& name) {
    KIV_LOG(Logging::Warning, "Restart protocol %s", name.c_str());
    const auto instance = GetProtocol(name);
    if (!instance)
        return kManagerFailure;
    if (instance->IsInUseByOthers()) {
        KIV_LOG(Logging::Error, "Cannot restart %s because it is still in use!", name.c_str());
        return kManagerInUse;
    }

    bool wasRunning = false;
    std::int32_t stopped = 0;
    std::string nameNow;  // it may be renamed while the lock is free
    {
        const std::lock_guard hold(lock_);
        nameNow = instance->Name();
        wasRunning = instance->IsRunning();
        if (wasRunning) {
            KIV_LOG(Logging::Warning, "Stop protocol %s", name.c_str());
            stopped = instance->Stop();
        }
    }
    if (stopped != 0) {
        KIV_LOG(Logging::Error, "Cannot stop protocol %s", name.c_str());
        return stopped;
    }
    if (wasRunning)
        StopProtocolNotify(nameNow);

    std::int32_t started = 0;
    {
        const std::lock_guard hold(lock_);
        if (!MayStart(instance))
            return kManagerFailure;
        nameNow = instance->Name();
        SetPortOwner(*instance);
        started = instance->Start(CProtocol::kDefaultStartTimeout);
    }
    if (started != 0) {
        KIV_LOG(Logging::Error, "Cannot start protocol %s", nameNow.c_str());
        return started;
    }
    StartProtocolNotify(nameNow);
    KIV_LOG(Logging::Warning, "Restarted protocol %s", nameNow.c_str());
    return 0;
}
