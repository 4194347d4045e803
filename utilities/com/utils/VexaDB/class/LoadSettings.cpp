// Fills the global settings from the settings database.
#include <cstdint>
#include <memory>
#include <type_traits>

#include "utils/VexaDB/class/VexaDBIPCClient.h"
#include "utils/VexaDB/class/VexaDBServer.h"
#include "utils/VexaDB/class/VexaDBSession.h"
#include "utils/class/GlobalSettings.h"
#include "utils/logging/Logger.h"

namespace {

std::shared_ptr<VexaDB::VexaDBServerInterface> Database() {
    if (auto server = VexaDB::VexaDBServer::GetExisting())
        return server;
    auto client = std::make_shared<VexaDB::VexaDBIPCClient>();
    static_cast<void>(client->Connect());  // without a server every read fails, and the settings stay as they are
    return client;
}

}  // namespace

void GlobalSettings::LoadSettings() {
    auto settings = Get();
    VexaDB::VexaDBSession database(Database());
    // The field is a number or a flag; any number but 0 sets a flag. The log shows the value in force, read or not.
    const auto load = [&database](const char* key, const char* title, auto& field) {
        std::uint32_t value = 0;
        if (database.GetUint32("", key, value) == 0)
            field = static_cast<std::remove_reference_t<decltype(field)>>(value);
        KIV_LOG(Logging::Info, "General %s set to %d", title, static_cast<int>(field));
    };
    load("ipctimeout", "IPC timeout", settings.ipcTimeout);
    load("ipcstatenabled", "IPC stat enable flag", settings.ipcStatEnabled);
    load("ipcmeasurelog", "IPC measure log flag", settings.ipcMeasureLog);
    load("vexadbipctimeout", "VExa DB IPC timeout", settings.vexaDbIpcTimeout);
    load("cclinkipctimeout", "CCLink IPC timeout", settings.cclinkIpcTimeout);
    load("eipipctimeout", "Ethernet/IP IPC timeout", settings.eipIpcTimeout);
    load("modbusipctimeout", "Modbus IPC timeout", settings.modbusIpcTimeout);
    load("profinetipctimeout", "Profinet IPC timeout", settings.profinetIpcTimeout);
    load("managerclientipctimeout", "Manager IPC timeout", settings.managerClientIpcTimeout);
    load("starttimeout", "Start timeout", settings.startTimeout);
    load("stoptimeout", "Stop timeout", settings.stopTimeout);
    load("monitorwaittime", "Monitoring wait time", settings.monitorWaitTime);
    Set(settings);
}
