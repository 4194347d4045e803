#include "protocols/kivapi/Database.h"

#include "protocols/control/ControlClient.h"

namespace kivapi {

Database::Database(std::uint32_t timeoutMs)
    : connection_(MakeClient(timeoutMs)),
      database_(std::make_shared<VexaDB::VexaDBIPCClient>(connection_, ControlClient::kRestartTimeout)) {
    Connect();
    session_.emplace(database_);
}

void Database::Connect() {
    if (ConnectTo(*connection_, VexaDB::kDatabaseServerName) != Delivery::Answered)
        throw Refusal{KIV_NOT_CONNECTED};
}

kiv_result Database::Code(std::int32_t result) const {
    if (result == kIpcNoReply && connection_->IsConnected())
        return KIV_NO_ANSWER;
    return result == kIpcNoReply || result == kIpcCannotSend ? KIV_CONNECTION_LOST : result;
}

std::int32_t Database::FailureInBatch(std::int32_t result) {
    if (result != -1 || batch_->IsValid() || !connection_->IsConnected())
        return result;
    batch_.reset();
    return KIV_SESSION_LOST;
}

kiv_result Database::Batch() {
    const std::lock_guard hold(lock_);
    Connect();
    batch_.reset();
    batch_.emplace(database_);
    const auto result = batch_->Begin();
    if (result != 0)
        batch_.reset();
    return Code(result);
}

kiv_result Database::Commit() {
    const std::lock_guard hold(lock_);
    if (!batch_)
        return KIV_WRONG_STATE;
    Connect();
    const auto result = batch_->Commit();
    if (result != 0)
        return Code(FailureInBatch(result));
    batch_.reset();
    return KIV_OK;
}

kiv_result Database::Reset() {
    const std::lock_guard hold(lock_);
    batch_.reset();  // also closes the batch's session, if the service can be reached
    return KIV_OK;
}

}  // namespace kivapi
