// CProtocolManager: owns the machine's protocol instances. It starts every configured instance, monitors them, restarts
// those that stopped working, stops all of them at the end, runs the control server "protocolmanager", and follows the
// changes committed to the settings database.
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

/// Held by shared ownership. Threads: one thread of the host runs InternalMain, another one calls InternalMainStop; the
/// control server's crew carries out the requests; a thread that commits a change to the database calls the observer
/// operations.
///
/// The line of changes: a thread that adds, removes, renames, starts or stops an instance has the turn in this line,
/// from its decision to the event, however long that takes. It may call the database meanwhile; it then follows the
/// notes that the database's notices leave. Questions never wait in the line: they read the table, whose lock is held
/// only briefly, and ask the instances.
///
/// Results: 0 success, -1 failure, kManagerInUse when other processes are connected to the instance,
/// kManagerUnknownInstance for an unknown name in the requests remove, status and get clients.
class CProtocolManager : public VexaDB::VexaDBServerOpObserver, public std::enable_shared_from_this<CProtocolManager> {
  public:
    using InstancePtr = InstanceTable::InstancePtr;
    /// Nanoseconds of a monotonic clock.
    using Clock = std::function<std::int64_t()>;

    /// `host` outlives the manager.
    explicit CProtocolManager(IServiceHost& host) : host_(host) {}
    ~CProtocolManager() override { Release(); }

    /// Makes sure that this is the machine's only manager; waits up to 5 s for an earlier one to end. False when
    /// another one keeps running; `exitCode` is then the program's exit code.
    bool Init(std::int32_t& exitCode);
    /// Reads the arguments after the program's path. False for an argument that is not the manager's; `badIndex` is
    /// then its index. For "--moni..." shorter than "--monitorwait:" it throws std::out_of_range, which ends the
    /// program.
    bool ParseArguments(const wchar_t* const* arguments, std::int32_t count, std::int32_t& badIndex);
    /// Runs the service, from the start of the first instance to the stop of the last one. Always 0.
    std::int32_t InternalMain();
    /// Requests the stop and returns when every instance is stopped. Always 0.
    std::int32_t InternalMainStop();
    /// Stops both servers, drops the instances and lets another manager run. Safe to call twice.
    void Release();

    /// The time between two passes of the monitor in ms.
    std::uint32_t MonitorWaitTime() const { return monitorWaitTime_; }

    /// The instance of exactly that name; empty when there is none.
    InstancePtr GetProtocol(const std::string& name) { return table_.Find(name); }
    // Each operation from here to RenameProtocol waits for its turn in the line of changes.
    [[nodiscard]] std::int32_t StartProtocol(const std::string& name);
    [[nodiscard]] std::int32_t StopProtocol(const std::string& name);
    [[nodiscard]] std::int32_t RestartProtocol(const std::string& name);
    /// Adds the instance to the database and the table, or only to the table when the database has it already. Does not
    /// start it.
    [[nodiscard]] std::int32_t AddProtocol(const std::string& name, std::uint32_t type);
    /// Renames the instance in the table and starts it again if it runs. The database keeps the old name.
    [[nodiscard]] std::int32_t RenameProtocol(const std::string& oldName, const std::string& newName);

    // VexaDBServerOpObserver
    void InstanceTypeChanged(std::string, std::uint32_t) override {}
    /// Only sets a note, as for a rename, because it takes long to follow it.
    void InstanceRemoved(std::string instance) override { table_.NoteRemoved(instance); }
    void InstanceRenamed(std::string oldName, std::string newName) override;
    void Uint32Changed(std::string, std::string, std::uint32_t, std::uint32_t) override {}
    void StringChanged(std::string instance, std::string setting, std::string oldValue, std::string newValue) override;
    void Follow() override;

    /// Sets the clock for the durations of commands and for restarts; call it before InternalMain.
    void SetClock(Clock clock) { clock_ = std::move(clock); }

  private:
    using EventPtr = std::shared_ptr<kivsync::Event>;

    /// Locks the mutex of the machine's only manager; a mere handle of another process to it does not matter. Waits for
    /// an earlier manager that has reported its stop and is still closing its servers.
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

    // Changes (ProtocolManagerChanges.cpp). The calling thread has the turn in the line of changes.
    [[nodiscard]] std::int32_t StartProtocol(const InstancePtr& instance);
    [[nodiscard]] std::int32_t RenameProtocols(const std::vector<InstanceTable::Renaming>& renamings);
    bool MayGetName(const InstancePtr& instance, const std::string& name);
    [[nodiscard]] std::int32_t RemoveProtocol(const InstancePtr& instance);
    /// Follows the notes that the database's notices left: all, or only those that nobody has tried to follow.
    void FollowNotes(InstanceTable::Which which);
    /// Follows the instance's note, if it has one. On failure the note stays.
    std::int32_t FollowNote(const InstancePtr& instance);
    [[nodiscard]] std::int32_t FollowRemoval(const InstancePtr& instance, const InstanceTable::Note& note);
    [[nodiscard]] std::int32_t FollowRename(const InstancePtr& instance);
    /// Follows the note of the instance that has the name or is to get it, before a command for that name.
    void FollowNoteOf(const std::string& name);

    // The commands (ProtocolManagerCommands.cpp).
    /// Starts the control server, whose crew carries the commands out.
    void ProcessIPC();
    IPCServer::Turn TurnOf(const IPC& request);
    std::optional<IPCPayload> Handle(const IPC& request);
    IPCPayload HandleList(const IPC& request);
    IPCPayload HandleStatus(const IPC& request);
    IPCPayload HandleGetClients(const IPC& request);
    /// Reads or writes a property through `call`, an operation of the database; -1 when the instance is not in the
    /// table.
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
    // Set when a stop is requested or a restart is planned.
    const EventPtr monitorEvent_ = kivsync::Event::Make(kivsync::Reset::Auto, kivsync::Initially::Clear);
    std::shared_ptr<kivsync::Mutex> onlyManager_;  // held from Init to Release, or to the end of the process

    kivsync::Line changes_;  // taken before every other lock
    InstanceTable table_;

    std::uint32_t monitorWaitTime_ = 300000;  // ms
    std::uint32_t restartDelay_ = 0;          // ms; 0: the monitor's next pass restarts a child that has died
    Clock clock_ = platform::MonotonicNanoseconds;
    std::shared_ptr<VexaDB::VexaDBServer> server_;
    std::unique_ptr<VexaDB::VexaDBSession> db_;
    IPCServer ipcServer_;
};
