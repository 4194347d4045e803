// The rules by which the manager corrects an instance's settings. When a setting that a rule needs cannot be read, the
// rule changes nothing.
#pragma once

#include "protocols/KivProtocolManager/class/Protocol.h"
#include "utils/VexaDB/class/VexaDBSession.h"

// The calling thread has the turn in the line of changes.

/// Called before a start. Two instances of one type must not listen on one port: the first to start becomes its owner,
/// a later one is disabled. Modbus instances (type 2) compete only within one mode; there an instance with the port
/// "any" competes with all (see PortOwnersInTheWay).
void SetPortOwner(VexaDB::VexaDBSession& db, CProtocol& instance);
/// Called at the start of the service. Removes a Profinet instance without hardware, because Profinet runs only on its
/// hardware. True when it was removed.
[[nodiscard]] bool CleanupSoftwareProfinetInstance(VexaDB::VexaDBSession& db, CProtocol& instance);
/// Called at the start of the service. Gives an EtherNet/IP instance the default of each assembly size that it lacks.
void CleanupEipInstance(VexaDB::VexaDBSession& db, CProtocol& instance);
