// The protocol types: their numbers and the names stored with an instance.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace VexaDB {

enum ProtocolType : std::uint32_t {
    kNoProtocol = 0,
    kProfinet = 1,
    kModbus = 2,
    kEthernetIp = 3,
    kRobot = 4,
    kCclink = 5,
    kOpcua = 6,
    kSampleProtocol = 7,
};

/// The names of the types, indexed by type number.
inline constexpr std::array<std::string_view, 8> kProtocolNames = {
    "",
    "ProfinetProtocol",
    "ModbusProtocol",
    "EIPProtocol",
    "RobotProtocol",
    "CclinkProtocol",
    "OpcuaProtocol",
    "sampleprotocol",
};

/// The setting that holds an instance's type number.
inline constexpr const char* kTypeSetting = "type";

}  // namespace VexaDB
