#include "Machine.h"

#include "Measure.h"
#include "utils/registry/RegistryKey.h"

namespace bench {

namespace {

constexpr int kFirstTableId = 10000;
constexpr std::uint32_t kSampleType = 7;
constexpr std::uint32_t kCommandTimeoutMs = 60000;

}  // namespace

void EmptySettings(std::uint32_t monitorWaitMs) {
    VexaUtils::RegistryKey::OpenOrCreate("Software\\Quenlar")->DeleteSubkey("Torvik");
    const auto key = VexaUtils::RegistryKey::OpenOrCreate(kDatabaseKey);
    Require(key && key->SetNumber("monitorwaittime", monitorWaitMs) == 0, "write the settings");
}

std::string InstanceName(int number) {
    return "Sample " + std::to_string(number);
}

std::string TableId(int number) {
    return std::to_string(kFirstTableId + number);
}

void WriteInstance(int number, const std::string& name, bool enabled) {
    const auto table = VexaUtils::RegistryKey::OpenOrCreate(kDatabaseKey)->CreateSubkey(TableId(number));
    Require(table != nullptr, "write an instance");
    table->SetText("_kiv_name", name);
    table->SetNumber("enabled", enabled ? 1 : 0);
    table->SetNumber("hardware", 0);
    table->SetNumber("owner", 0);
    table->SetText("emultype", "none");
    table->SetNumber("type", kSampleType);
    table->SetText("protocol", "sampleprotocol");
    table->SetText("port", TableId(number));
}

void WriteInstances(int first, int last, bool enabled) {
    for (int number = first; number < last; ++number)
        WriteInstance(number, InstanceName(number), enabled);
}

Manager::Manager(const std::string& program) : process_(Peer::Program(program)) {
    Await(
        [this] {
            client_ = IPCClient::GetClient(kManagerServerName, true);
            return client_->CheckAlive() == 0;
        },
        "the manager answers");
}

Manager::~Manager() {
    try {
        client_->Stop();
        process_.AwaitEnd();
    } catch (const std::exception&) {
        // It is ended by force.
    }
}

ipc_mngctrl_status_reply Manager::Status(const std::string& instance) const {
    std::shared_ptr<IPC> reply;
    const auto request = IPC::Request(kManagerStatus, wire::Encode(ipc_mngctrl_status_request{instance}));
    Require(client_->Call(request, kCommandTimeoutMs, reply) == 0, "ask for the status of " + instance);
    const auto status = wire::Decode<ipc_mngctrl_status_reply>(reply->Payload());
    Require(status.has_value(), "read the status of " + instance);
    return *status;
}

void Manager::AwaitRunning(const std::string& instance) const {
    Await(
        [&] {
            const auto status = Status(instance);
            return status.result == 0 && status.status == kRunning;
        },
        instance + " runs");
}

void Manager::Control(std::uint32_t command, const std::string& instance) {
    IPCClient client(true);
    Require(client.Connect(kManagerServerName) == 0, "connect to the manager");
    std::shared_ptr<IPC> reply;
    const auto request = IPC::Request(command, wire::Encode(ipc_mngctrl_instance_request{instance}));
    Require(client.Call(request, kCommandTimeoutMs, reply) == 0, "command on " + instance);
    const auto result = wire::Decode<ipc_mngctrl_result_reply>(reply->Payload());
    Require(result && result->result == 0, "command done on " + instance);
}

void Manager::CheckAlive() const {
    Require(client_->CheckAlive() == 0, "alive check of the manager");
}

}  // namespace bench
