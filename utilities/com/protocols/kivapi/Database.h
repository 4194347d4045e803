// Database: the object of a kiv_database handle, a session of the settings database.
#pragma once

#include <memory>
#include <mutex>
#include <optional>

#include "protocols/control/Asking.h"
#include "protocols/kivapi/Handles.h"
#include "utils/VexaDB/class/VexaDBIPCClient.h"
#include "utils/VexaDB/class/VexaDBSession.h"

namespace kivapi {

/// Any thread may call; the calls run one at a time. Each call connects when the connection has ended, and throws
/// Refusal (KIV_NOT_CONNECTED) when it cannot.
class Database : public Object {
  public:
    /// `timeoutMs` is the time to connect, here and later.
    explicit Database(std::uint32_t timeoutMs);

    /// Runs `call`, which gets the session and returns the database's result; in a batch, with the batch's session.
    template <class Call>
    kiv_result Run(Call call) {
        const std::lock_guard hold(lock_);
        Connect();
        if (!batch_)
            return Code(call(*session_));
        const auto result = call(static_cast<VexaDB::VexaDBSession&>(*batch_));
        return Code(result == 0 ? 0 : FailureInBatch(result));
    }

    /// See kiv_db_batch, kiv_db_commit and kiv_db_reset; Reset does not connect.
    kiv_result Batch();
    kiv_result Commit();
    kiv_result Reset();

  private:
    void Connect();
    /// The database's result as a result of the interface.
    kiv_result Code(std::int32_t result) const;
    /// KIV_SESSION_LOST, and no batch from now on, when the batch's session is lost; else `result`. The end of a
    /// connection does not lose a session, but a restarted service does not know it.
    std::int32_t FailureInBatch(std::int32_t result);

    std::mutex lock_;  // held for a whole call, with the wait for its reply
    const std::shared_ptr<IPCClient> connection_;
    const std::shared_ptr<VexaDB::VexaDBIPCClient> database_;
    std::optional<VexaDB::VexaDBSession> session_;
    std::optional<VexaDB::VexaDBBatch> batch_;
};

}  // namespace kivapi
