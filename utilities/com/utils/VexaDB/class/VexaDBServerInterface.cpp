#include "utils/VexaDB/class/VexaDBServerInterface.h"

namespace VexaDB {

namespace {

const std::string kDatabaseWide;  // the empty instance name

}  // namespace

std::int32_t VexaDBServerInterface::SetUint32(SessionId session, const std::string& setting, std::uint32_t value) {
    return SetUint32(session, kDatabaseWide, setting, value);
}

std::int32_t VexaDBServerInterface::SetString(SessionId session, const std::string& setting, const std::string& value) {
    return SetString(session, kDatabaseWide, setting, value);
}

std::int32_t VexaDBServerInterface::GetUint32(SessionId session, const std::string& setting, std::uint32_t& value) {
    return GetUint32(session, kDatabaseWide, setting, value);
}

std::int32_t VexaDBServerInterface::GetString(SessionId session, const std::string& setting, std::string& value) {
    return GetString(session, kDatabaseWide, setting, value);
}

}  // namespace VexaDB
