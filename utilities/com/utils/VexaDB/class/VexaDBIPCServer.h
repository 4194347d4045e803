// VexaDB::VexaDBIPCServer: serves the settings database to other processes under the name "vexadbserver", one request
// at a time, on a thread of its own. Each request becomes one call of the database.
//
// An observer may take seconds over a removed or renamed instance: it stops and starts the instance's process, which
// may itself ask the database for its settings. While such a call is under way, another thread serves the next
// requests.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "IPC/class/IPCServer.h"
#include "utils/VexaDB/class/VexaDBServerInterface.h"
#include "utils/sync/Thread.h"

namespace VexaDB {

/// Member of the database server, which starts and stops it.
class VexaDBIPCServer {
  public:
    /// Monotonic time in nanoseconds.
    using Clock = std::function<std::int64_t()>;

    /// `database` outlives this object.
    explicit VexaDBIPCServer(VexaDBServerInterface& database);
    VexaDBIPCServer(VexaDBServerInterface& database, Clock clock);
    /// Stops.
    ~VexaDBIPCServer();
    VexaDBIPCServer(const VexaDBIPCServer&) = delete;
    VexaDBIPCServer& operator=(const VexaDBIPCServer&) = delete;

    /// Opens the server and starts its thread; 0, also when it was started already, or -1.
    std::int32_t Start();
    /// Ends the thread and every connection. Safe to call twice and without Start; not from an observer's call.
    void Stop();

    /// Carries one request out and makes its reply, of the size the command has: a request shorter than its fields
    /// gets the status -1 and does nothing. A command that is no database command is echoed: the request itself.
    std::shared_ptr<IPC> Handle(const std::shared_ptr<IPC>& request);

    /// Lets another thread serve the next request while this one goes on with its own; called before an observer is
    /// told of what may take it long, with no lock held. Does nothing on a thread that is not serving requests.
    static void YieldTurn();

  private:
    /// Payload of a request to payload of its reply.
    using Handler = std::function<IPCPayload(const IPCPayload&)>;

    struct Turn;

    bool AddThread();
    void ProvideSuccessor();
    void ProcessIPC();
    void Process(const std::shared_ptr<IPC>& request);

    const Clock clock_;
    const std::map<std::uint32_t, Handler> handlers_;
    std::unique_ptr<IPCServer> server_;  // while started
    std::mutex turnLock_;                // held by the thread that waits for a request or carries one out
    std::mutex threadsLock_;             // guards the two below; taken after turnLock_
    std::vector<std::unique_ptr<kivsync::Thread>> threads_;  // while started
    std::size_t waiting_ = 0;                                // of them, those that wait for their turn
};

}  // namespace VexaDB
