// The limit: a named pipe between two processes with nothing around it, carrying what an alive check carries.
// Overlapped on both sides, as the framework's pipes have to be.
#pragma once

#include <string>

#include "utils/platform/impl/win/Handle.h"

namespace bench {

/// Serves one client, sending back what it gets, until that client goes.
void ServeEcho(const std::string& name);

class EchoClient {
  public:
    /// Waits for the server to be there.
    explicit EchoClient(const std::string& name);
    /// One message there and back.
    void RoundTrip();

  private:
    UniqueHandle pipe_;
    UniqueHandle readEvent_;
    UniqueHandle writeEvent_;
};

}  // namespace bench
