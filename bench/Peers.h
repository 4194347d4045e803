// The other process of a measurement: this program again, in the role that its command line names.
#pragma once

#include <functional>
#include <string>

#include "e2e/ManagerRun.h"

namespace bench {

inline constexpr const char* kEchoRole = "--serve-echo";
inline constexpr const char* kServerRole = "--serve-framework";

/// Starts this program in the role, as a server of that name. Destroying the object ends the process.
e2e::Program StartPeer(const char* role, const char* name);

/// The limit: a bare named pipe. Sends back what one client sends, until that client disconnects.
void ServeEcho(const std::string& name);
/// Connects to the echo pipe, waiting for its server. The function sends one message of the size of an alive check and
/// reads it back; true when it came back.
std::function<bool()> ConnectEcho(const std::string& name);

/// Serves like a protocol instance until the process is ended. On the request kPeerBroadcast it sends an event to all
/// its clients.
void ServeFramework(const std::string& name);
inline constexpr unsigned kPeerBroadcast = 1000;

}  // namespace bench
