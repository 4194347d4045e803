// VexaDB::VexaDBServer: the single owner of the settings database inside the service. It gives out sessions, applies
// their changes to the persistent store or, while a batch is open, to the session's own copy, and tells its observers
// of every change that it makes in the persistent store. Its IPC server does the same for other processes.
//
// A change is applied with the session lock and then the database lock held; meanwhile the store's notices are
// collected. After both locks are released and before the call returns, the same thread passes the notices to the
// observers. The commits of all threads wait in one line for that, so the observers are told of them in their order.
// After its last notice a thread leaves the line and calls the observers' Follow, which may take long.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "utils/VexaDB/class/ProtocolTypes.h"
#include "utils/VexaDB/class/VexaDBIPCServer.h"
#include "utils/VexaDB/class/VexaDBOperation.h"
#include "utils/VexaDB/class/VexaDBServerInterface.h"
#include "utils/sync/Guarded.h"
#include "utils/sync/Line.h"

namespace VexaDB {

/// Held by shared pointers. Any thread may call any operation, except Start and Stop, which belong to the owner.
class VexaDBServer : public VexaDBServerInterface,
                     public VexaDBOpObserver,
                     public std::enable_shared_from_this<VexaDBServer> {
  public:
    /// The process's only server, created on first use. It lives as long as somebody holds it. Never empty.
    static std::shared_ptr<VexaDBServer> GetInstance();
    /// The server of GetInstance if it exists, else empty.
    static std::shared_ptr<VexaDBServer> GetExisting();

    /// Opens the persistent store. The service calls GetInstance instead.
    VexaDBServer();

    /// Observes the store and starts the IPC server. If the IPC server cannot start, the log says so, and the database
    /// serves this process only.
    void Start();
    /// Stops the IPC server and the observation of the store. Safe to call twice. Observers must not call it.
    void Stop();

    using VexaDBServerInterface::GetString;
    using VexaDBServerInterface::GetUint32;

    std::int32_t OpenSession(SessionId& session) override {
        auto sessions = sessions_.Lock();
        while (sessions->open.contains(sessions->next))
            ++sessions->next;
        session = sessions->next++;
        sessions->open[session];
        return 0;
    }
    /// The service's own session stays open: closing it only ends its batch, like Reset.
    std::int32_t CloseSession(SessionId session) override;
    /// Drops the session's open batch, if any, and begins a new one.
    std::int32_t Batch(SessionId session) override;
    std::int32_t Commit(SessionId session) override;
    std::int32_t Reset(SessionId session) override {
        return WithSession(session, [](Session& record) {
            record = Session{};
            return 0;
        });
    }
    std::int32_t Change(SessionId session, const std::shared_ptr<const Operation::VexaDBOperation>& operation) override;
    std::int32_t GetUint32(SessionId session, const std::string& instance, const std::string& setting,
                           std::uint32_t& value) override {
        return ReadStore(session, [&](VexaDBInterface& store) { return store.GetUint32(instance, setting, value); });
    }
    std::int32_t GetString(SessionId session, const std::string& instance, const std::string& setting,
                           std::string& value) override {
        return ReadStore(session, [&](VexaDBInterface& store) { return store.GetString(instance, setting, value); });
    }
    /// The list leaves out the empty name, which addresses the database-wide settings.
    std::int32_t GetInstances(SessionId session, std::vector<std::string>& instances) override {
        return ReadStore(session, [&](VexaDBInterface& store) {
            const auto result = store.GetInstances(instances);
            std::erase(instances, "");
            return result;
        });
    }
    std::int32_t GetInstanceSettings(SessionId session, const std::string& instance,
                                     std::vector<SettingEntry>& settings) override {
        return ReadStore(session,
                         [&](VexaDBInterface& store) { return store.GetInstanceSettings(instance, settings); });
    }
    /// False also for a session that is not open.
    bool IsInstanceExist(SessionId session, const std::string& instance) override {
        return ReadStore(session, [&](VexaDBInterface& store) { return store.IsInstanceExist(instance) ? 0 : -1; }) ==
               0;
    }
    std::int32_t AddObserver(const std::shared_ptr<VexaDBServerOpObserver>& observer) override {
        database_.Lock()->observers.push_back(observer);
        return 0;
    }
    /// A notice that another thread is passing on at this moment may still arrive after the return.
    std::int32_t RemoveObserver(const std::shared_ptr<VexaDBServerOpObserver>& observer) override {
        auto database = database_.Lock();
        auto& observers = database->observers;
        if (const auto found = std::ranges::find(observers, observer); found != observers.end())
            observers.erase(found);
        return 0;
    }
    bool IsSessionValid(SessionId session) override {
        return WithSession(session, [](Session&) { return 0; }) == 0;
    }

    /// The notices of the persistent store. Only the store calls these, with the session and database locks held.
    void InstanceAdded(std::string) override {}  // the observers learn of a new instance from its type setting
    void InstanceRemoved(std::string instance) override {
        Note(instance, &VexaDBServerOpObserver::InstanceRemoved);
        notices_.Lock()->mustFollow = true;
    }
    void InstanceRenamed(std::string oldName, std::string newName) override {
        Note(oldName, &VexaDBServerOpObserver::InstanceRenamed, newName);
        notices_.Lock()->mustFollow = true;
    }
    void Uint32Changed(std::string instance, std::string setting, std::uint32_t oldValue,
                       std::uint32_t newValue) override {
        if (setting == kTypeSetting)
            Note(instance, &VexaDBServerOpObserver::InstanceTypeChanged, newValue);
        Note(instance, &VexaDBServerOpObserver::Uint32Changed, setting, oldValue, newValue);
    }
    void StringChanged(std::string instance, std::string setting, std::string oldValue, std::string newValue) override {
        Note(instance, &VexaDBServerOpObserver::StringChanged, setting, oldValue, newValue);
    }

  private:
    using Observers = std::vector<std::shared_ptr<VexaDBServerOpObserver>>;

    struct Session {
        /// The session's own copy of the store; empty when no batch is open.
        std::shared_ptr<VexaDBInterface> batchStore;
        /// The changes recorded since the batch was opened.
        std::vector<std::shared_ptr<const Operation::VexaDBOperation>> batchOperations;
    };
    struct Sessions {
        std::map<SessionId, Session> open;
        SessionId next = 1;
    };
    struct Database {
        std::shared_ptr<VexaDBInterface> store;
        Observers observers;  // in registration order
    };
    /// The notices of one commit, in the order in which the observers are told.
    struct Notices {
        std::vector<std::function<void(VexaDBServerOpObserver&)>> list;
        bool mustFollow = false;  // an instance was removed or renamed: Follow must be called
    };

    /// Calls `body(Session&)` with the session lock held and returns its result; -1 for a session that is not open.
    template <class Body>
    std::int32_t WithSession(SessionId session, Body body) {
        auto sessions = sessions_.Lock();
        const auto found = sessions->open.find(session);
        return found == sessions->open.end() ? -1 : body(found->second);
    }
    /// Calls `read(VexaDBInterface&)` with the store that the session sees: its batch's copy, else the persistent one.
    template <class Read>
    std::int32_t ReadStore(SessionId session, Read read) {
        return WithSession(session, [&](const Session& record) {
            auto database = database_.Lock();
            return read(record.batchStore ? *record.batchStore : *database->store);
        });
    }
    /// Calls `change(Session&, persistent store)` with both locks held, then passes its notices to the observers.
    template <class Body>
    std::int32_t Write(SessionId session, Body change);
    /// Adds a notice for the observers, unless it is about the database-wide settings (the empty instance name): those
    /// concern nobody outside the database.
    template <class Operation, class... Arguments>
    void Note(const std::string& instance, Operation operation, const Arguments&... arguments) {
        if (!instance.empty())
            notices_.Lock()->list.push_back(
                [=](VexaDBServerOpObserver& observer) { (observer.*operation)(instance, arguments...); });
    }

    // The locks are taken in this order. The store calls back with the first two held.
    kivsync::Guarded<Sessions> sessions_;
    kivsync::Guarded<Database> database_;
    kivsync::Guarded<Notices> notices_;  // of the change that is being applied
    kivsync::Line commits_;              // those with notices to tell; no lock is held while waiting in it

    VexaDBIPCServer ipc_;  // last: its threads use the members above
};

}  // namespace VexaDB
