// KivProtocol: the sample protocol. It talks to no device; it shows how a protocol's process is built, and lets an
// operator try every state of an instance through two of its settings.
#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "protocols/KivProtocol/ProtocolChild.h"
#include "utils/VexaDB/class/VexaDBIPCClient.h"
#include "utils/logging/Logger.h"

namespace {

constexpr const char* kModeSetting = "samplemode";      // a text that the protocol logs at its start
constexpr const char* kStartFailSetting = "startfail";  // 1 to 255: the start fails with this error
constexpr const char* kLastErrorSetting = "lasterror";  // where the manager looks for a child's last error
constexpr std::uint32_t kCreateErrorMaximum = 0xFF;     // the create result is one byte

enum SampleState : std::uint32_t { kStateOperating = 1 };

class SampleProtocol : public ProtocolChild {
  public:
    using ProtocolChild::ProtocolChild;

  protected:
    // Without an open session no setting is read: the manager is waiting, so a database that does not answer must cost
    // one time-out, not one for each setting.
    std::uint8_t CreateStack() override {
        VexaDB::VexaDBIPCClient database;
        VexaDB::SessionId session = VexaDB::kInvalidSession;
        if (!database.Connect() || database.OpenSession(session) != 0) {
            KIV_LOG(Logging::Warning, "Sample protocol %s starts without settings", Instance().c_str());
            return kCreated;
        }
        std::string mode;
        std::uint32_t error = 0;
        std::uint32_t lastError = 0;
        database.GetString(session, Instance(), kModeSetting, mode);
        database.GetUint32(session, Instance(), kStartFailSetting, error);
        database.GetUint32(session, Instance(), kLastErrorSetting, lastError);
        error = std::min(error, kCreateErrorMaximum);
        if (error != lastError && database.SetUint32(session, Instance(), kLastErrorSetting, error) != 0)
            KIV_LOG(Logging::Warning, "Sample protocol %s cannot store its error", Instance().c_str());
        database.CloseSession(session);
        if (error == kCreated)
            KIV_LOG(Logging::Info, "Sample protocol %s starts, mode \"%s\"", Instance().c_str(), mode.c_str());
        return static_cast<std::uint8_t>(error);
    }

    void DestroyStack() override { KIV_LOG(Logging::Info, "Sample protocol %s ends", Instance().c_str()); }

    std::uint32_t StackState() override { return kStateOperating; }
};

}  // namespace

int main() {
    // Take the raw command line, because splitting it into arguments loses the spaces inside a name.
    const auto instance = ProtocolChild::InstanceName(GetCommandLineA());
    if (!instance) {
        KIV_LOG(Logging::Error, "Started without an instance: KivProtocol --key:NAME");
        return ProtocolChild::kExitUsage;
    }
    return SampleProtocol(*instance).Run();
}
