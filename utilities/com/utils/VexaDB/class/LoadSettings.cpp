// Filling the global settings from the settings database.
#include <array>
#include <memory>

#include "utils/VexaDB/class/VexaDBIPCClient.h"
#include "utils/VexaDB/class/VexaDBServer.h"
#include "utils/VexaDB/class/VexaDBSession.h"
#include "utils/class/GlobalSettings.h"
#include "utils/logging/Logger.h"

namespace {

/// One database-wide setting and the field it goes to: a number, or a flag.
struct GlobalSetting {
    const char* key;
    const char* title;
    std::uint32_t GlobalSettings::*number;
    bool GlobalSettings::*flag;
};

constexpr std::array kGlobalSettings = {
    GlobalSetting{"ipctimeout", "IPC timeout", &GlobalSettings::ipcTimeout, nullptr},
    GlobalSetting{"ipcstatenabled", "IPC stat enable flag", nullptr, &GlobalSettings::ipcStatEnabled},
    GlobalSetting{"ipcmeasurelog", "IPC measure log flag", nullptr, &GlobalSettings::ipcMeasureLog},
    GlobalSetting{"vexadbipctimeout", "VExa DB IPC timeout", &GlobalSettings::vexaDbIpcTimeout, nullptr},
    GlobalSetting{"cclinkipctimeout", "CCLink IPC timeout", &GlobalSettings::cclinkIpcTimeout, nullptr},
    GlobalSetting{"eipipctimeout", "Ethernet/IP IPC timeout", &GlobalSettings::eipIpcTimeout, nullptr},
    GlobalSetting{"modbusipctimeout", "Modbus IPC timeout", &GlobalSettings::modbusIpcTimeout, nullptr},
    GlobalSetting{"profinetipctimeout", "Profinet IPC timeout", &GlobalSettings::profinetIpcTimeout, nullptr},
    GlobalSetting{"managerclientipctimeout", "Manager IPC timeout", &GlobalSettings::managerClientIpcTimeout, nullptr},
    GlobalSetting{"starttimeout", "Start timeout", &GlobalSettings::startTimeout, nullptr},
    GlobalSetting{"stoptimeout", "Stop timeout", &GlobalSettings::stopTimeout, nullptr},
    GlobalSetting{"monitorwaittime", "Monitoring wait time", &GlobalSettings::monitorWaitTime, nullptr},
};

std::shared_ptr<VexaDB::VexaDBServerInterface> Database() {
    if (auto server = VexaDB::VexaDBServer::GetExisting())
        return server;
    auto client = std::make_shared<VexaDB::VexaDBIPCClient>();
    client->Connect();  // without a server every read fails, and the settings stay as they are
    return client;
}

}  // namespace

void GlobalSettings::LoadSettings() {
    const std::string databaseWide;
    auto settings = Get();
    VexaDB::VexaDBSession database(Database());
    for (const auto& setting : kGlobalSettings) {
        std::uint32_t value = 0;
        const bool found = database.GetUint32(databaseWide, setting.key, value) == 0;
        if (setting.flag != nullptr) {
            if (found)
                settings.*setting.flag = value != 0;
            value = settings.*setting.flag ? 1 : 0;
        } else {
            if (found)
                settings.*setting.number = value;
            value = settings.*setting.number;
        }
        KIV_LOG(Logging::Info, "General %s set to %d", setting.title, static_cast<int>(value));
    }
    Set(settings);
}
