// Sequences of control commands to a running manager and of database commands to its database, with any payloads. Each
// command must be answered, and the manager must stop at the end.
#include <array>
#include <thread>

#include "Fuzz.h"
#include "IPC/class/IPCClient.h"
#include "protocols/KivProtocolManager/class/ProtocolManager.h"
#include "support/Doubles.h"
#include "utils/VexaDB/class/VexaDBIPCServer.h"
#include "utils/VexaDB/class/VexaDBMessages.h"
#include "utils/class/GlobalSettings.h"
#include "utils/registry/RegistryKey.h"

namespace {

constexpr std::size_t kLongestPayload = 170;  // bytes: more than the fields of any command

constexpr std::array<std::uint32_t, 14> kControlCommands = {
    kIpcAliveCheck,  kManagerAdd,       kManagerRemove,    kManagerStart,     kManagerStop,
    kManagerRestart, kManagerGetString, kManagerSetString, kManagerGetNumber, kManagerSetNumber,
    kManagerList,    kManagerStatus,    kManagerRename,    kManagerGetClients};

/// Reports success and has no server, so that a start costs no time.
class HastyChild : public FakeChild {
  public:
    explicit HastyChild(const std::string& name) : ready_(ClientTransport::Make(name + "-ready")) {
        const std::uint8_t created = 0;
        ready_->Connect(0);
        ready_->Write(&created, sizeof created, 0);
    }

  private:
    const std::shared_ptr<ClientTransport> ready_;
};

/// A new, empty database: no input sees the sessions of another.
std::shared_ptr<VexaDB::VexaDBServer> MakeDatabase() {
    RegistryHost::Reset();
    VexaUtils::RegistryKey::OpenOrCreate("SOFTWARE\\Quenlar\\Torvik\\runtime\\settings\\vexa")
        ->SetNumber("fpgadelayedstart", 0);
    auto database = VexaDB::VexaDBServer::GetInstance();
    database->SetUint32(VexaDB::kServiceSession, "stoptimeout", 1);
    database->SetUint32(VexaDB::kServiceSession, "monitorwaittime", 300000);
    return database;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    DroppingSink::Install();
    SetChildFactory([](const std::string& key) { return std::make_shared<HastyChild>(key.substr(key.find(':') + 1)); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto database = MakeDatabase();
    VexaDB::VexaDBIPCServer databaseService(*database);
    QuietHost host;
    const auto manager = std::make_shared<CProtocolManager>(host);
    std::thread main([&manager] { manager->InternalMain(); });
    const auto client = std::make_shared<IPCClient>(true);
    while (client->Connect(kManagerServerName) != 0)
        std::this_thread::yield();

    FuzzedDataProvider input(data, size);
    while (input.remaining_bytes() > 0) {
        const bool toManager = input.ConsumeBool();
        const auto command = toManager ? input.PickValueInArray(kControlCommands)
                                       : input.ConsumeIntegralInRange<std::uint32_t>(VexaDB::kDatabaseAddInstance,
                                                                                     VexaDB::kDatabaseIsSessionValid);
        const auto length = input.ConsumeIntegralInRange<std::size_t>(0, kLongestPayload);
        const auto request = IPC::Request(command, input.ConsumeBytes<std::uint8_t>(length));
        std::shared_ptr<IPC> reply;
        if (toManager)
            Require(client->Call(request, kPatienceMs, reply) == 0);
        else
            reply = databaseService.Handle(request);
        Require(reply && !reply->IsRequest() && reply->RequestId() == request->RequestId());
    }
    Require(client->Stop() == 0);
    main.join();
    return 0;
}
