// Database: what a kiv_database stands for, a session of the settings database.
#pragma once

#include <memory>
#include <mutex>
#include <optional>

#include "protocols/control/Asking.h"
#include "protocols/kivapi/Handles.h"
#include "utils/VexaDB/class/VexaDBIPCClient.h"
#include "utils/VexaDB/class/VexaDBSession.h"

namespace kivapi {

/// Any thread.
class Database : public Object {
  public:
    /// Connects; refuses when it cannot.
    explicit Database(std::uint32_t timeoutMs);

    /// The result of `call` (session to the database's result), in the batch if there is one.
    template <class Call>
    kiv_result Run(Call call) {
        const std::lock_guard hold(lock_);
        Connect();
        if (!batch_)
            return Code(call(*session_));
        const auto result = call(static_cast<VexaDB::VexaDBSession&>(*batch_));
        return Code(result == 0 ? 0 : FailureInBatch(result));
    }

    kiv_result Batch();
    kiv_result Commit();
    kiv_result Reset();

  private:
    void Connect();
    kiv_result Code(std::int32_t result) const;
    std::int32_t FailureInBatch(std::int32_t result);

    std::mutex lock_;  // one call at a time, through its wait
    const std::shared_ptr<IPCClient> connection_;
    const std::shared_ptr<VexaDB::VexaDBIPCClient> database_;
    std::optional<VexaDB::VexaDBSession> session_;
    std::optional<VexaDB::VexaDBBatch> batch_;
};

}  // namespace kivapi
