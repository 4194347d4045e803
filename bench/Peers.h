// The other process of a measurement: this program once more, in a role that it is started with.
#pragma once

#include <string>

#include "e2e/ManagerRun.h"
#include "utils/platform/impl/win/Handle.h"

namespace bench {

inline constexpr const char* kEchoRole = "--serve-echo";
inline constexpr const char* kServerRole = "--serve-framework";

/// The command the server of that role sends an event to all its clients for, and the event.
inline constexpr unsigned kPeerBroadcast = 1000;
inline constexpr unsigned kPeerEvent = 1001;

/// Sends back what one client sends over a named pipe with nothing around it, until that client goes.
void ServeEcho(const std::string& name);
/// Serves like a protocol instance until the process is ended.
void ServeFramework(const std::string& name);

/// This program, serving under that name in the role; ended with the object.
e2e::Program StartPeer(const char* role, const char* name);

/// The limit: what an alive check carries, over a bare pipe. Overlapped, as the framework's pipes have to be.
class EchoClient {
  public:
    /// Waits for the server to be there.
    explicit EchoClient(const std::string& name);
    /// One message there and back; whether it came back.
    bool RoundTrip();

  private:
    UniqueHandle pipe_, event_;
};

}  // namespace bench
