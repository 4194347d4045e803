// CProtocol: one configured protocol instance, whose work a child process does.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "IPC/class/IPC.h"
#include "IPC/class/IPCClient.h"
#include "IPC/transport/ClientTransport.h"
#include "protocols/KivProtocolManager/class/ControlMessages.h"
#include "utils/VexaDB/class/VexaDBSession.h"
#include "utils/class/Process.h"

/// Held by shared ownership; the manager keeps one in its table for every instance. Start, Stop and SetName run under
/// the manager's lock, one at a time; the queries may be called by any thread meanwhile. Destruction does not stop the
/// child.
class CProtocol {
  public:
    /// Stands for the global start time-out where Start takes one.
    static constexpr std::uint32_t kDefaultStartTimeout = 0xFFFFFFFF;

    /// Reads the instance's kind and type from the settings database.
    explicit CProtocol(std::string name);

    /// Starts the child and shakes hands with it, waiting at most `timeoutMs` for it to connect. 0 when it runs; -1
    /// when it is disabled, runs already or failed (then it was ended again, and the reason was logged).
    std::int32_t Start(std::uint32_t timeoutMs);
    /// Asks the child to end and waits for it up to the global stop time-out, then ends it by force. 0; -1 when there
    /// is no connection to ask it over (it then keeps running).
    std::int32_t Stop();
    /// Gives the instance another name; a running child is not touched.
    void SetName(const std::string& newName);

    std::string Name() const;
    const std::string& Protocol() const { return protocol_; }
    std::uint32_t Type() const { return type_; }
    /// The instance is not meant to run: the monitor leaves it alone.
    bool IsStopped() const { return stopped_; }
    std::uint64_t ProcessId() const;

    bool IsRunning();
    /// The child answers the alive check.
    bool IsConnected();
    InstanceStatus GetStatus();
    /// GetStatus, GetState and GetClientCount in one exchange with the child.
    struct Condition {
        InstanceStatus status;
        std::uint32_t state;
        std::uint32_t clientCount;
    };
    Condition GetCondition();
    /// Clients connected to the child's own server; 0 when not running.
    std::uint32_t GetClientCount();
    std::vector<ipc_client_info> GetClients();
    /// True when a process other than this one is connected to the child.
    bool IsInUseByOthers();
    /// The child's own state word; 0 when not running.
    std::uint32_t GetState();
    /// 0 while running, else the negated value that the child last wrote to "lasterror".
    std::uint32_t GetLastErrorCode();
    bool IsFullEmulation();
    /// Whole seconds since the last successful start; 0 when not running.
    std::uint64_t GetUptime();

  private:
    void CreateProcessObject();
    bool IsTypeDisabled(std::uint32_t type);
    /// The child's connection on the ready pipe, which anybody can open; empty when it does not come in time.
    std::shared_ptr<ClientTransport> AcceptChild(class ServerTransport& readyPipe, std::uint32_t timeoutMs);
    /// The connection to the child's own server; empty when others keep serving under the name.
    std::shared_ptr<IPCClient> ConnectToChild(const std::string& name);
    /// The child's side of the handshake on the ready pipe; true when it reported success.
    bool AwaitChild(class ServerTransport& readyPipe, std::uint32_t timeoutMs);

    std::shared_ptr<Process> CurrentProcess() const;
    std::shared_ptr<IPCClient> CurrentClient() const;

    VexaDB::VexaDBSession db_;
    std::string protocol_;
    std::uint32_t type_ = 0;
    bool typeDisabled_ = false;

    mutable std::mutex guard_;  // guards the three below against queries; held for copies only
    std::string name_;
    std::shared_ptr<Process> process_;
    std::shared_ptr<IPCClient> client_;

    std::atomic<bool> stopped_{true};
    std::atomic<std::int64_t> startTime_{0};  // calendar seconds of the last successful start; 0 when not running
};
