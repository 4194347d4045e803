// The other process of a measurement: this program once more, in a role that it is started with.
#pragma once

#include <functional>
#include <string>

#include "e2e/ManagerRun.h"

namespace bench {

inline constexpr const char* kEchoRole = "--serve-echo";
inline constexpr const char* kServerRole = "--serve-framework";

/// This program, serving under that name in the role; ended with the object.
e2e::Program StartPeer(const char* role, const char* name);

/// The limit: a named pipe with nothing around it. Sends back what one client sends, until that client goes.
void ServeEcho(const std::string& name);
/// One message there and back over that pipe, of an alive check's size; whether it came back. Waits for the server.
std::function<bool()> ConnectEcho(const std::string& name);

/// Serves like a protocol instance until the process is ended. Asked for a broadcast, it sends all its clients an
/// event.
void ServeFramework(const std::string& name);
inline constexpr unsigned kPeerBroadcast = 1000;

}  // namespace bench
