// Which owners of a port stand in an instance's way.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

#include "utils/VexaDB/class/ProtocolTypes.h"

/// The names in both lists, sorted.
inline std::vector<std::string> Intersection(std::vector<std::string> first, std::vector<std::string> second) {
    std::ranges::sort(first);
    std::ranges::sort(second);
    std::vector<std::string> both;
    std::ranges::set_intersection(first, second, std::back_inserter(both));
    return both;
}

/// The owners of the type that an instance with that port and mode meets, itself included if it is one. Modbus
/// instances compete only within one mode, and there for any port as soon as one instance of the type listens on every
/// port. `find` (setting, value) gives the names of the type's instances that have the setting, a text or a number, at
/// that value. `mode` is used for Modbus only.
template <class Find>
std::vector<std::string> PortOwnersInTheWay(std::uint32_t type, const std::string& port, const std::string& mode,
                                            Find find) {
    const auto onPort = find("port", port);
    const auto owners = find("owner", std::uint32_t{1});
    if (type != VexaDB::kModbus)
        return Intersection(onPort, owners);
    const bool isAnyPortUsed = !find("port", std::string("any")).empty();
    const auto ownersOfMode = Intersection(owners, find("mode", mode));
    return isAnyPortUsed ? ownersOfMode : Intersection(onPort, ownersOfMode);
}
