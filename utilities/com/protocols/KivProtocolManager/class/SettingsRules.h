// What the manager does to settings that cannot stand as they are. Only what was read decides: when something cannot be
// read just now, nothing is changed.
#pragma once

#include "protocols/KivProtocolManager/class/Protocol.h"
#include "utils/VexaDB/class/VexaDBSession.h"

// On a thread that has the turn in the line of changes.

/// Two instances of one type must not listen on one port: the first to start becomes its owner, a later one is
/// disabled. Modbus instances (type 2) compete only within one mode, and there one that listens on any port stands in
/// the way of all. Before a start.
void SetPortOwner(VexaDB::VexaDBSession& db, CProtocol& instance);
/// Profinet runs on its hardware only. True when the instance was a software one and was removed. Once, at the start of
/// the service.
[[nodiscard]] bool CleanupSoftwareProfinetInstance(VexaDB::VexaDBSession& db, CProtocol& instance);
/// An EtherNet/IP instance without its assembly sizes gets the default ones. Once, at the start of the service.
void CleanupEipInstance(VexaDB::VexaDBSession& db, CProtocol& instance);
