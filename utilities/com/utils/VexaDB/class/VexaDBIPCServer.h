// VexaDB::VexaDBIPCServer: serves the settings database to other processes under the name "vexadbserver". Each request
// becomes one call of the database. The thread that receives a short request, of which no observer is told, makes the
// call itself; a thread of the server's crew makes the others, because an observer may take seconds over a removed or
// renamed instance, and no other client may wait for that.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "IPC/class/IPCServer.h"
#include "utils/VexaDB/class/VexaDBServerInterface.h"
#include "utils/platform/Platform.h"

namespace VexaDB {

/// A member of the database server, which starts and stops it.
class VexaDBIPCServer {
  public:
    /// Monotonic time in nanoseconds.
    using Clock = std::function<std::int64_t()>;

    /// `database` outlives this object.
    explicit VexaDBIPCServer(VexaDBServerInterface& database, Clock clock = &platform::MonotonicNanoseconds);
    ~VexaDBIPCServer() { Stop(); }

    /// Starts the server and its crew. 0, also when it is running already; -1, with a line in the log, on failure.
    [[nodiscard]] std::int32_t Start();
    /// Ends the crew and every connection. Safe to call twice and without Start. Observers must not call it.
    void Stop();

    /// Carries out one request and returns its reply. A request that is shorter than its fields, or has a text without
    /// a zero byte, changes nothing; its reply has the usual size and the status -1. For a command that is not a
    /// database command the result is the request itself. Any thread may call it.
    std::shared_ptr<IPC> Handle(const std::shared_ptr<IPC>& request);

  private:
    using Turn = IPCServer::Turn;
    struct Handler {
        Turn turn;
        std::function<IPCPayload(const IPCPayload&)> answer;  // makes the reply's payload from the request's
    };
    using Handlers = std::map<std::uint32_t, Handler>;

    static Handlers MakeHandlers(VexaDBServerInterface& database);

    const Clock clock_;
    const Handlers handlers_;  // by command
    bool started_ = false;
    IPCServer server_;  // last: its threads use the members above
};

}  // namespace VexaDB
