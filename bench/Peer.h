// The second process of a measurement: this program once more in a serving role, or one of the product's programs.
#pragma once

#include <windows.h>

#include <string>

#include "utils/platform/impl/win/Handle.h"

namespace bench {

/// What the framework's server of the benchmark does, besides the alive check: sends an event to all its clients.
inline constexpr unsigned kPeerBroadcast = 1000;
inline constexpr unsigned kPeerEvent = 1001;

/// Serves like a protocol instance until the process is ended.
void ServeFramework(const std::string& name);

/// A process that ends with the object.
class Peer {
  public:
    /// This program with the arguments.
    static Peer Self(const std::string& arguments);
    /// The program of that file name in this program's folder.
    static Peer Program(const std::string& fileName);
    ~Peer();
    Peer(Peer&&) = default;
    Peer& operator=(Peer&&) = delete;

    /// Waits for the process's own end.
    void AwaitEnd();

    struct Footprint {
        double kilobytes;  // of memory in use, what it shares with others included
        double threads;
    };
    Footprint Measure() const;

  private:
    explicit Peer(std::string commandLine);

    UniqueHandle process_;
    DWORD processId_ = 0;
};

/// The folder of this program, with a backslash at its end.
std::string ProgramFolder();

}  // namespace bench
