#include "utils/VexaDB/class/VexaDBServer.h"

#include <algorithm>
#include <utility>

#include "utils/VexaDB/class/VexaMemoryDB.h"
#include "utils/VexaDB/class/VexaRegistryDB.h"
#include "utils/logging/Logger.h"

namespace VexaDB {

namespace {

struct Singleton {
    std::mutex lock;  // guards server
    std::weak_ptr<VexaDBServer> server;
};

Singleton& TheServer() {
    static Singleton singleton;
    return singleton;
}

}  // namespace

std::shared_ptr<VexaDBServer> VexaDBServer::GetInstance() {
    std::lock_guard guard(TheServer().lock);
    auto server = TheServer().server.lock();
    if (!server)
        TheServer().server = server = std::make_shared<VexaDBServer>();
    return server;
}

std::shared_ptr<VexaDBServer> VexaDBServer::GetExisting() {
    std::lock_guard guard(TheServer().lock);
    return TheServer().server.lock();
}

VexaDBServer::VexaDBServer() : store_(std::make_shared<VexaRegistryDB>()), ipc_(*this) {
    sessions_[kServiceSession];
}

std::int32_t VexaDBServer::Start() {
    {
        std::lock_guard database(databaseLock_);
        store_->AddObserver(shared_from_this());
    }
    ipc_.Start();
    return 0;
}

std::int32_t VexaDBServer::Stop() {
    ipc_.Stop();
    std::lock_guard database(databaseLock_);
    store_->RemoveObserver(shared_from_this());
    return 0;
}

template <class Body>
std::int32_t VexaDBServer::WithSession(SessionId session, Body body) {
    std::lock_guard sessions(sessionLock_);
    const auto found = sessions_.find(session);
    return found == sessions_.end() ? -1 : body(found->second);
}

template <class Read>
std::int32_t VexaDBServer::ReadStore(SessionId session, Read read) {
    return WithSession(session, [&](const Session& record) {
        std::lock_guard database(databaseLock_);
        return read(record.inBatch ? *record.batchStore : *store_);
    });
}

std::int32_t VexaDBServer::OpenSession(SessionId& session) {
    std::lock_guard sessions(sessionLock_);
    while (sessions_.contains(nextSession_))
        ++nextSession_;
    sessions_[nextSession_];
    session = nextSession_++;
    return 0;
}

std::int32_t VexaDBServer::CloseSession(SessionId session) {
    if (session == kServiceSession)
        return Reset(session);
    std::lock_guard sessions(sessionLock_);
    if (sessions_.erase(session) != 0)
        return 0;
    KIV_LOG(Logging::Error, "Invalid Session");
    return -1;
}

std::int32_t VexaDBServer::Batch(SessionId session) {
    return WithSession(session, [&](Session& record) {
        std::lock_guard database(databaseLock_);
        record = Session{true, std::make_shared<VexaMemoryDB>(store_), {}};
        return 0;
    });
}

std::int32_t VexaDBServer::Commit(SessionId session) {
    Outbox outbox;
    const auto result = WithSession(session, [&](Session& record) {
        const auto batch = std::exchange(record, Session{});
        std::lock_guard database(databaseLock_);
        const auto& operations = batch.batchOperations;
        const auto failed = std::find_if(operations.begin(), operations.end(),
                                         [this](const auto& operation) { return operation->Execute(store_) != 0; });
        if (failed != operations.end())
            KIV_LOG(Logging::Error, "Commit of session %llu ended at its change %d of %d, the rest is dropped",
                    static_cast<unsigned long long>(session), static_cast<int>(failed - operations.begin()) + 1,
                    static_cast<int>(operations.size()));
        outbox = TakeNotices();
        return 0;
    });
    Send(outbox);
    return result;
}

std::int32_t VexaDBServer::Reset(SessionId session) {
    return WithSession(session, [](Session& record) {
        record = Session{};
        return 0;
    });
}

std::int32_t VexaDBServer::Change(SessionId session,
                                  const std::shared_ptr<const Operation::VexaDBOperation>& operation) {
    Outbox outbox;
    const auto result = WithSession(session, [&](Session& record) {
        std::lock_guard database(databaseLock_);
        if (record.inBatch)
            record.batchOperations.push_back(operation);
        const auto status = operation->Execute(record.inBatch ? record.batchStore : store_);
        outbox = TakeNotices();
        return status;
    });
    Send(outbox);
    return result;
}

VexaDBServer::Outbox VexaDBServer::TakeNotices() {
    const bool ordered = std::exchange(noticesRemoveOrRename_, false);
    return {std::exchange(notices_, {}), observers_, ordered ? ++lastTurn_ : 0};
}

void VexaDBServer::AwaitTurn(std::uint64_t turn) {
    std::unique_lock hold(turnsLock_);
    turnDone_.wait(hold, [&] { return turnsDone_ + 1 == turn; });
}

/// Lets the next turn come, also when the telling failed: whoever removes or renames afterwards would wait for ever.
class VexaDBServer::TurnEnd {
  public:
    TurnEnd(VexaDBServer& server, std::uint64_t turn) : server_(server), turn_(turn) {}
    ~TurnEnd() {
        if (turn_ == 0)
            return;
        server_.AwaitTurn(turn_);
        const std::lock_guard hold(server_.turnsLock_);
        server_.turnsDone_ = turn_;
        server_.turnDone_.notify_all();
    }
    TurnEnd(const TurnEnd&) = delete;
    TurnEnd& operator=(const TurnEnd&) = delete;

  private:
    VexaDBServer& server_;
    const std::uint64_t turn_;
};

void VexaDBServer::Send(const Outbox& outbox) {
    const TurnEnd end(*this, outbox.turn);
    if (outbox.turn != 0) {
        // An observer may wait for an instance that is just being started, and that for the database.
        VexaDBIPCServer::YieldTurn();
        AwaitTurn(outbox.turn);
    }
    for (const auto& notice : outbox.notices) {
        for (const auto& observer : outbox.observers)
            notice(*observer);
    }
}

std::int32_t VexaDBServer::AddInstance(SessionId session, const std::string& instance, std::uint32_t type) {
    return Change(session, std::make_shared<Operation::AddInstance>(instance, type));
}

std::int32_t VexaDBServer::RemoveInstance(SessionId session, const std::string& instance) {
    return Change(session, std::make_shared<Operation::RemoveInstance>(instance));
}

std::int32_t VexaDBServer::RenameInstance(SessionId session, const std::string& oldName, const std::string& newName) {
    return Change(session, std::make_shared<Operation::RenameInstance>(oldName, newName));
}

std::int32_t VexaDBServer::SetUint32(SessionId session, const std::string& instance, const std::string& setting,
                                     std::uint32_t value) {
    return Change(session, std::make_shared<Operation::SetUint32>(instance, setting, value));
}

std::int32_t VexaDBServer::SetString(SessionId session, const std::string& instance, const std::string& setting,
                                     const std::string& value) {
    return Change(session, std::make_shared<Operation::SetString>(instance, setting, value));
}

std::int32_t VexaDBServer::GetUint32(SessionId session, const std::string& instance, const std::string& setting,
                                     std::uint32_t& value) {
    return ReadStore(session, [&](VexaDBInterface& store) { return store.GetUint32(instance, setting, value); });
}

std::int32_t VexaDBServer::GetString(SessionId session, const std::string& instance, const std::string& setting,
                                     std::string& value) {
    return ReadStore(session, [&](VexaDBInterface& store) { return store.GetString(instance, setting, value); });
}

std::int32_t VexaDBServer::GetInstances(SessionId session, std::vector<std::string>& instances) {
    return ReadStore(session, [&](VexaDBInterface& store) {
        const auto result = store.GetInstances(instances);
        std::erase(instances, "");
        return result;
    });
}

std::int32_t VexaDBServer::GetInstanceSettings(SessionId session, const std::string& instance,
                                               std::vector<SettingEntry>& settings) {
    return ReadStore(session, [&](VexaDBInterface& store) { return store.GetInstanceSettings(instance, settings); });
}

bool VexaDBServer::IsInstanceExist(SessionId session, const std::string& instance) {
    return ReadStore(session, [&](VexaDBInterface& store) { return store.IsInstanceExist(instance) ? 0 : -1; }) == 0;
}

bool VexaDBServer::IsSessionValid(SessionId session) {
    return WithSession(session, [](Session&) { return 0; }) == 0;
}

std::int32_t VexaDBServer::AddObserver(const std::shared_ptr<VexaDBServerOpObserver>& observer) {
    std::lock_guard database(databaseLock_);
    observers_.push_back(observer);
    return 0;
}

std::int32_t VexaDBServer::RemoveObserver(const std::shared_ptr<VexaDBServerOpObserver>& observer) {
    std::lock_guard database(databaseLock_);
    const auto found = std::find(observers_.begin(), observers_.end(), observer);
    if (found != observers_.end())
        observers_.erase(found);
    return 0;
}

// Changes of the database-wide settings, the empty instance name, are nobody's business outside the database.

void VexaDBServer::InstanceAdded(std::string) {}  // the observers learn of a new instance by its type setting

void VexaDBServer::InstanceRemoved(std::string instance) {
    if (instance.empty())
        return;
    noticesRemoveOrRename_ = true;
    notices_.push_back([=](VexaDBServerOpObserver& observer) { observer.InstanceRemoved(instance); });
}

void VexaDBServer::InstanceRenamed(std::string oldName, std::string newName) {
    if (oldName.empty())
        return;
    noticesRemoveOrRename_ = true;
    notices_.push_back([=](VexaDBServerOpObserver& observer) { observer.InstanceRenamed(oldName, newName); });
}

void VexaDBServer::Uint32Changed(std::string instance, std::string setting, std::uint32_t oldValue,
                                 std::uint32_t newValue) {
    if (instance.empty())
        return;
    if (setting == "type")
        notices_.push_back([=](VexaDBServerOpObserver& observer) { observer.InstanceTypeChanged(instance, newValue); });
    notices_.push_back(
        [=](VexaDBServerOpObserver& observer) { observer.Uint32Changed(instance, setting, oldValue, newValue); });
}

void VexaDBServer::StringChanged(std::string instance, std::string setting, std::string oldValue,
                                 std::string newValue) {
    if (instance.empty())
        return;
    notices_.push_back(
        [=](VexaDBServerOpObserver& observer) { observer.StringChanged(instance, setting, oldValue, newValue); });
}

}  // namespace VexaDB
