// The rule that says which owners of a port keep another instance from owning it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

#include "utils/VexaDB/class/ProtocolTypes.h"

/// The names that are in both lists, sorted.
inline std::vector<std::string> Intersection(std::vector<std::string> first, std::vector<std::string> second) {
    std::ranges::sort(first);
    std::ranges::sort(second);
    std::vector<std::string> both;
    std::ranges::set_intersection(first, second, std::back_inserter(both));
    return both;
}

/// The instances of the type that own the port of an instance with that port and mode, itself included if it is an
/// owner. Modbus instances compete only within one mode; there every owner counts as soon as one Modbus instance, in
/// any mode, has the port "any". `find(setting, value)` returns the names of the type's instances whose setting, a text
/// or a number, has that value. `mode` is used for Modbus only.
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
