// Protocol: what a kiv_protocol stands for, the frame of a protocol's process with callbacks in it.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "protocols/KivProtocol/ProtocolChild.h"
#include "protocols/kivapi/Handles.h"
#include "utils/sync/Guarded.h"

namespace kivapi {

/// Run belongs to one thread, the rest to any.
class Protocol : public Object, public ProtocolChild {
  public:
    Protocol(std::string instance, const kiv_protocol_callbacks& callbacks, void* context)
        : ProtocolChild(std::move(instance)), callbacks_(callbacks), context_(context) {}

    /// The handle under which the callbacks know it, before Run.
    void SetHandle(void* handle) { handle_ = static_cast<kiv_protocol*>(handle); }
    /// Opened by the first call.
    kiv_database* Settings();
    void CloseSettings();
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
    kivsync::Guarded<void*> settings_{nullptr};          // held while it is opened
    kivsync::Guarded<std::optional<IPCPayload>> reply_;  // while a request is answered
};

}  // namespace kivapi
