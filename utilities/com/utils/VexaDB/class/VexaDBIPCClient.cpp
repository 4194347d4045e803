#include "utils/VexaDB/class/VexaDBIPCClient.h"

namespace VexaDB {

bool VexaDBIPCClient::Connect() {
    constexpr bool kWithListener = true;
    auto client = client_.Lock();
    if (!*client || !(*client)->IsConnected())
        *client = IPCClient::GetClient(kDatabaseServerName, kWithListener);
    return (*client)->IsConnected();
}

}  // namespace VexaDB
