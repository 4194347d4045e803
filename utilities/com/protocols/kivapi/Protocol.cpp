#include "protocols/kivapi/Protocol.h"

#include "protocols/control/ControlClient.h"
#include "protocols/kivapi/Database.h"

namespace kivapi {

kiv_database* Protocol::Settings() {
    auto settings = settings_.Lock();
    if (*settings == nullptr)
        *settings = AddHandle(std::make_shared<Database>(ControlClient::kConnectTimeout));
    return static_cast<kiv_database*>(*settings);
}

void Protocol::CloseSettings() {
    if (auto settings = settings_.Lock(); FindHandle(*settings))  // the author may have closed it
        RemoveHandle(*settings);
}

kiv_result Protocol::SetReply(IPCPayload payload) {
    auto reply = reply_.Lock();
    if (!*reply)
        return KIV_WRONG_STATE;
    **reply = std::move(payload);
    return KIV_OK;
}

std::shared_ptr<IPC> Protocol::HandleRequest(const IPC& request) {
    *reply_.Lock() = IPCPayload();
    if (callbacks_.answer != nullptr) {
        const auto& data = request.Payload();
        const kiv_request asked = {sizeof asked, request.Command(), request.Pid(), data.empty() ? nullptr : data.data(),
                                   data.size()};
        callbacks_.answer(handle_, &asked, context_);
    }
    auto reply = std::exchange(*reply_.Lock(), std::nullopt);
    return IPC::Reply(request, *std::move(reply));
}

}  // namespace kivapi
