// VexaDB::VexaDBIPCServer: serves the settings database to other processes under the name "vexadbserver". Each request
// becomes one call of the database, made by a thread of the server's crew: an observer may take seconds over a removed
// or renamed instance, and nobody else waits for that.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "IPC/class/IPCServer.h"
#include "utils/VexaDB/class/VexaDBServerInterface.h"
#include "utils/platform/Platform.h"

namespace VexaDB {

/// Member of the database server, which starts and stops it.
class VexaDBIPCServer {
  public:
    /// Monotonic time in nanoseconds.
    using Clock = std::function<std::int64_t()>;

    /// `database` outlives this object.
    explicit VexaDBIPCServer(VexaDBServerInterface& database, Clock clock = &platform::MonotonicNanoseconds);
    ~VexaDBIPCServer() { Stop(); }

    /// Opens the server and starts its crew: 0, also when it was started already, or -1, which is logged.
    [[nodiscard]] std::int32_t Start();
    /// Ends the crew and every connection. Safe to call twice and without Start; not from an observer's call.
    void Stop();

    /// Carries one request out and makes its reply, of the size the command has: a request shorter than its fields
    /// gets the status -1 and does nothing. A command that is no database command is echoed: the request itself.
    std::shared_ptr<IPC> Handle(const std::shared_ptr<IPC>& request);

  private:
    using Turn = IPCServer::Turn;
    struct Handler {
        Turn turn;
        std::function<IPCPayload(const IPCPayload&)> answer;  // payload of a request to payload of its reply
    };
    using Handlers = std::map<std::uint32_t, Handler>;

    static Handlers MakeHandlers(VexaDBServerInterface& database);

    const Clock clock_;
    const Handlers handlers_;  // by command
    bool started_ = false;
    IPCServer server_;  // last: its crew uses the others
};

}  // namespace VexaDB
