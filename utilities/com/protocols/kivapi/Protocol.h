// Protocol: the object of a kiv_protocol handle. It runs a protocol's process and calls the author's callbacks.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "protocols/KivProtocol/ProtocolChild.h"
#include "protocols/kivapi/Handles.h"
#include "utils/sync/Guarded.h"

namespace kivapi {

/// One thread calls Run; any thread may call the rest.
class Protocol : public Object, public ProtocolChild {
  public:
    Protocol(std::string instance, const kiv_protocol_callbacks& callbacks, void* context)
        : ProtocolChild(std::move(instance)), callbacks_(callbacks), context_(context) {}

    /// Sets the handle that the callbacks get; call it before Run.
    void SetHandle(void* handle) { handle_ = static_cast<kiv_protocol*>(handle); }
    /// The handle of the settings database, which the first call opens. Throws Refusal (KIV_NOT_CONNECTED) when it
    /// cannot connect.
    kiv_database* Settings();
    /// Closes that handle, if it is open.
    void CloseSettings();
    /// Sets the reply to the request that is being answered; KIV_WRONG_STATE when there is none.
    kiv_result SetReply(IPCPayload payload);

  protected:
    std::uint8_t CreateStack() override { return callbacks_.bring_up(handle_, context_); }
    void DestroyStack() override {
        if (callbacks_.take_down != nullptr)
            callbacks_.take_down(handle_, context_);
    }
    std::shared_ptr<IPC> HandleRequest(const IPC& request) override;
    std::uint32_t StackState() override {
        return callbacks_.state == nullptr ? 0 : callbacks_.state(handle_, context_);
    }

  private:
    const kiv_protocol_callbacks callbacks_;
    void* const context_;
    kiv_protocol* handle_ = nullptr;
    kivsync::Guarded<void*> settings_{nullptr};          // the lock is held while the first call connects
    kivsync::Guarded<std::optional<IPCPayload>> reply_;  // has a value only while a request is being answered
};

}  // namespace kivapi
