// A protocol: it starts if its instance has a setting "port", and answers command 100 with the data of the request.
#include <memory>
#include <string>

#include "protocols/KivProtocol/ProtocolChild.h"
#include "utils/VexaDB/class/VexaDBIPCClient.h"
#include "utils/VexaDB/class/VexaDBSession.h"
#include "utils/logging/Logger.h"
#include "utils/platform/Platform.h"

namespace {

class EchoProtocol : public ProtocolChild {
  public:
    using ProtocolChild::ProtocolChild;

  protected:
    std::uint8_t CreateStack() override {
        const auto database = std::make_shared<VexaDB::VexaDBIPCClient>();
        if (!database->Connect())
            return kNoPort;
        const auto port = VexaDB::VexaDBSession(database).Text(Instance(), "port");
        KIV_LOG(Logging::Info, "Echo %s uses port %s", Instance().c_str(), port.c_str());
        return port.empty() ? kNoPort : kCreated;
    }
    std::shared_ptr<IPC> HandleRequest(const IPC& request) override {
        return IPC::Reply(request, request.Command() == kEcho ? request.Payload() : IPCPayload());
    }
    std::uint32_t StackState() override { return kOperating; }

  private:
    static constexpr std::uint8_t kNoPort = 7;
    static constexpr std::uint32_t kEcho = 100;
    static constexpr std::uint32_t kOperating = 3;
};

}  // namespace

int main() {
    const auto instance = ProtocolChild::InstanceName(platform::CommandLine());
    return instance ? EchoProtocol(*instance).Run() : ProtocolChild::kExitUsage;
}
