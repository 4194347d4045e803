#include "protocols/kivctl/Manager.h"

#include "protocols/kivctl/Words.h"

namespace kivctl {

Manager::Manager(const Options& options) : options_(options), client_(options.TimeoutOr(kConnectTimeout)) {
    client_.SetTimeout(options.timeoutMs);
    Check(client_.Connect());
    connection_ = client_.Connection();
}

ControlClient& Manager::Control() {
    if (!connection_->IsConnected())
        FailToReach(Delivery::Lost, kManagerServerName, 0, 0, kIpcCannotSend);
    return client_;
}

std::int32_t Manager::Check(const ControlResult& result) {
    if (!result.IsAnswered())
        FailToReach(result.delivery, kManagerServerName, result.command, result.timeoutMs, result.result);
    return result.result;
}

std::vector<ipc_client_info> Manager::Clients(const std::string& instance) {
    const auto answer = Control().Clients(instance);
    if (const auto result = Check(answer); result != 0)
        Refuse(ResultMeaning(result), result);
    return answer.value;
}

}  // namespace kivctl
