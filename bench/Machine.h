// The machine that a measurement runs on: the settings in its registry, and a manager that works with them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "IPC/class/IPCClient.h"
#include "Peer.h"
#include "protocols/control/ControlMessages.h"

namespace bench {

/// Empties the product's registry key, then writes the monitor's wait time.
void EmptySettings(std::uint32_t monitorWaitMs);

/// Writes sample instances number `first` to `last` - 1 as the database stores them, each with a port of its own (two
/// instances of a type on one port would disable each other), `enabled` or not.
void WriteInstances(int first, int last, bool enabled);
/// The same for one, under a name of its own.
void WriteInstance(int number, const std::string& name, bool enabled);
std::string InstanceName(int number);
/// The database's registry key, below HKEY_LOCAL_MACHINE.
inline constexpr const char* kDatabaseKey = "Software\\Quenlar\\Torvik\\Runtime\\Settings\\vexa";
/// The id of the table that WriteInstances gives an instance: all of one length, so that the registry keeps their
/// order.
std::string TableId(int number);

/// The built manager in console mode; ended by the destructor, its children with it.
class Manager {
  public:
    /// Starts it and waits until its control server answers. `program` is relative to this program's folder; the
    /// manager's children are those of its own folder.
    explicit Manager(const std::string& program = "KivProtocolManager.exe");
    ~Manager();
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;

    ipc_mngctrl_status_reply Status(const std::string& instance) const;
    void AwaitRunning(const std::string& instance) const;
    void CheckAlive() const;
    /// A control command that carries the instance's name, on a connection of its own; it must be done.
    static void Control(std::uint32_t command, const std::string& instance);
    Peer::Footprint Measure() const { return process_.Measure(); }

  private:
    Peer process_;
    std::shared_ptr<IPCClient> client_;
};

}  // namespace bench
