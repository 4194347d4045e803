// CProtocolManager: owns the machine's protocol instances. It starts every configured one, watches them, restarts any
// that stopped working, stops them all at the end, serves the control server "protocolmanager", and follows the changes
// committed to the settings database.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "IPC/class/IPC.h"
#include "IPC/class/IPCServer.h"
#include "protocols/KivProtocolManager/class/IServiceHost.h"
#include "protocols/KivProtocolManager/class/InstanceTable.h"
#include "protocols/KivProtocolManager/class/Protocol.h"
#include "utils/VexaDB/class/VexaDBServer.h"
#include "utils/VexaDB/class/VexaDBServerOpObserver.h"
#include "utils/VexaDB/class/VexaDBSession.h"
#include "utils/platform/Platform.h"
#include "utils/sync/Event.h"
#include "utils/sync/Line.h"
#include "utils/sync/Mutex.h"

/// Held by shared ownership. Threads: the host's main or console thread runs InternalMain; the control server's crew
/// carries out the requests; the service control thread calls InternalMainStop; the observer operations arrive on
/// whichever thread committed a change.
///
/// The line of changes: whoever adds, removes, renames, starts or stops an instance has the turn in it, from the
/// decision to the event, and for as long as that takes. The database may be called with the turn held: what its
/// notices leave to do is then done by the holder itself. Questions never stand in the line; they look at the table,
/// whose lock is a short one, and at the instances' settled conditions.
///
/// Results: 0 success, -1 failure, kManagerInUse when other processes are connected to the instance,
/// kManagerUnknownInstance where a handler says so.
class CProtocolManager : public VexaDB::VexaDBServerOpObserver, public std::enable_shared_from_this<CProtocolManager> {
  public:
    using InstancePtr = InstanceTable::InstancePtr;
    /// Nanoseconds of a monotonic clock.
    using Clock = std::function<std::int64_t()>;

    /// `host` outlives the manager.
    explicit CProtocolManager(IServiceHost& host) : host_(host) {}
    ~CProtocolManager() override { Release(); }

    /// Makes sure that this is the machine's only manager. False when it is not; `exitCode` is then the program's.
    bool Init(std::int32_t& exitCode);
    /// Takes the arguments after the program's path. False for one that is not the manager's, `badIndex` telling which.
    /// Throws std::out_of_range for "--moni..." shorter than "--monitorwait:", which ends the program.
    bool ParseArguments(const wchar_t* const* arguments, std::int32_t count, std::int32_t& badIndex);
    /// The service's life, from the first instance's start to the last one's stop; 0.
    std::int32_t InternalMain();
    /// Requests the stop and returns once every instance is stopped; 0.
    std::int32_t InternalMainStop();
    /// Takes everything down. Safe to call twice.
    void Release();

    std::uint32_t MonitorWaitTime() const { return monitorWaitTime_; }

    /// The first instance of exactly that name; empty when there is none.
    InstancePtr GetProtocol(const std::string& name) { return table_.Find(name); }
    [[nodiscard]] std::int32_t StartProtocol(const std::string& name);
    [[nodiscard]] std::int32_t StopProtocol(const std::string& name);
    [[nodiscard]] std::int32_t RestartProtocol(const std::string& name);
    /// Registers the instance in the database and the table, or takes one of the database into the table; it is not
    /// started.
    [[nodiscard]] std::int32_t AddProtocol(const std::string& name, std::uint32_t type);
    /// Renames a running instance and its table entry, not the database's.
    [[nodiscard]] std::int32_t RenameProtocol(const std::string& oldName, const std::string& newName);

    // VexaDBServerOpObserver
    void InstanceTypeChanged(std::string, std::uint32_t) override {}
    /// Only noted, as a rename: to follow it takes long.
    void InstanceRemoved(std::string instance) override { table_.NoteRemoved(instance); }
    void InstanceRenamed(std::string oldName, std::string newName) override;
    void Uint32Changed(std::string, std::string, std::uint32_t, std::uint32_t) override {}
    void StringChanged(std::string instance, std::string setting, std::string oldValue, std::string newValue) override;
    void Follow() override;

    /// The clock that command durations are measured with; set before InternalMain.
    void SetClock(Clock clock) { clock_ = std::move(clock); }

  private:
    using EventPtr = std::shared_ptr<kivsync::Event>;

    /// Takes the mutex of the machine's only manager; somebody else's handle to it means nothing. A manager that
    /// reported its stop may still be closing its servers: it is waited for.
    bool ClaimMachine();

    // The phases of InternalMain.
    void StartProtocols();
    void MonitorProtocol();
    void StopProtocols();
    void ListNamesToCome();
    InstancePtr TakeUp(const std::string& name);
    void AwaitProfinetHardware();
    void CheckInstance(const InstancePtr& instance);
    void RequestStop() {
        stopRequestEvent_->Set();
        monitorEvent_->Set();
    }
    bool StopRequested() { return stopRequestEvent_->Wait(0) == 0; }
    InstancePtr MakeInstance(const std::string& name);

    // Changes (ProtocolManagerChanges.cpp), with the turn in the line held.
    [[nodiscard]] std::int32_t StartProtocol(const InstancePtr& instance);
    [[nodiscard]] std::int32_t RenameProtocols(const std::vector<InstanceTable::Renaming>& renamings);
    bool MayGetName(const InstancePtr& instance, const std::string& name);
    [[nodiscard]] std::int32_t RemoveProtocol(const InstancePtr& instance);
    /// Does what the database's notices left to do, or those of them that nobody has tried.
    void FollowNotes(InstanceTable::Which which);
    /// What fails stays noted.
    std::int32_t FollowNote(const InstancePtr& instance);
    [[nodiscard]] std::int32_t FollowRemoval(const InstancePtr& instance, const InstanceTable::Note& note);
    [[nodiscard]] std::int32_t FollowRename(const InstancePtr& instance);
    /// Follows the note of the instance of that name, if it has one, now that a command comes to it.
    void FollowNoteOf(const std::string& name);

    // The commands (ProtocolManagerCommands.cpp).
    /// Starts the control server, whose crew carries the commands out.
    void ProcessIPC();
    IPCServer::Turn TurnOf(const IPC& request);
    std::optional<IPCPayload> Handle(const IPC& request);
    IPCPayload HandleList(const IPC& request);
    IPCPayload HandleStatus(const IPC& request);
    IPCPayload HandleGetClients(const IPC& request);
    /// Calls the database for a property of an instance that is in the table; -1 for another.
    template <class Fields, class Call, class Value>
    [[nodiscard]] std::int32_t OnProperty(const Fields& fields, Call call, Value& value) {
        const auto instance = fields.instance.Text();
        return GetProtocol(instance) ? ((*db_).*call)(instance, fields.property.Text(), value) : kManagerFailure;
    }
    [[nodiscard]] std::int32_t ProcessRemoveProtocol(const std::string& name);
    [[nodiscard]] std::int32_t SetStrPropertyProtocol(const std::string& instance, const std::string& property,
                                                      const std::string& value);

    // Events to every client of the control server (ProtocolManagerObserver.cpp).
    void AddProtocolNotify(const std::string& name);
    [[nodiscard]] std::int32_t RemoveProtocolNotify(const std::string& name);
    void RenameProtocolNotify(const std::string& oldName, const std::string& newName);
    std::int32_t StartProtocolNotify(const std::string& name);
    void StopProtocolNotify(const std::string& name);

    IServiceHost& host_;
    const EventPtr stopRequestEvent_ = kivsync::Event::Make(kivsync::Reset::Manual, kivsync::Initially::Clear);
    const EventPtr stoppedEvent_ = kivsync::Event::Make(kivsync::Reset::Manual, kivsync::Initially::Clear);
    // A stop is requested, or a restart planned.
    const EventPtr monitorEvent_ = kivsync::Event::Make(kivsync::Reset::Auto, kivsync::Initially::Clear);
    std::shared_ptr<kivsync::Mutex> onlyManager_;  // held from Init to Release, or to the end of the process

    kivsync::Line changes_;  // taken before every other lock
    InstanceTable table_;

    std::uint32_t monitorWaitTime_ = 300000;  // ms
    std::uint32_t restartDelay_ = 0;          // ms; 0: what has died is restarted by the monitor's next pass
    Clock clock_ = platform::MonotonicNanoseconds;
    std::shared_ptr<VexaDB::VexaDBServer> server_;
    std::unique_ptr<VexaDB::VexaDBSession> db_;
    IPCServer ipcServer_;
};
