#include "utils/VexaDB/class/VexaDBIPCClient.h"

namespace VexaDB {

namespace {

constexpr bool kWithListener = true;

}  // namespace

bool VexaDBIPCClient::Connect() {
    auto client = client_.Lock();
    if (!*client || !(*client)->IsConnected())
        *client = IPCClient::GetClient(kDatabaseServerName, kWithListener);
    return (*client)->IsConnected();
}

}  // namespace VexaDB
