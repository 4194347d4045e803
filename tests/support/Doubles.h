// What tests do to the doubles of the native build, beyond what any user of the seams can. Any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace sync_host {

/// Makes the `nth` thread from now on (1: the next one) not start; 0: none. How many were left until the one that was
/// to fail: 0 when it has failed.
int FailThread(int nth);

}  // namespace sync_host

namespace transport_host {

/// A slow read or write moves nothing as long as the connection lasts.
enum class Operation { Open, Accept, Connect, Read, Write, SlowRead, SlowWrite };

/// Makes the `nth` such operation from now on (1: the next one) of any connection fail; 0: none. How many were left
/// until the one that was to fail: 0 when it has failed.
int FailOperation(Operation operation, int nth);

/// The server takes the next connection that is made for one of this process.
void ConnectNextAs(std::uint64_t processId);

}  // namespace transport_host

/// One tree in memory, seen through VexaUtils::Registry and VexaUtils::RegistryKey alike.
namespace RegistryHost {

/// An empty tree that refuses nothing.
void Reset();

inline constexpr unsigned kUnlimited = 0xFFFFFFFF;

/// What goes wrong from now on.
struct Faults {
    int call = 0;                  // the read or write that fails, 1: the next one; 0: none
    unsigned reads = kUnlimited;   // that succeed before further ones fail
    unsigned writes = kUnlimited;  // a registry that refuses, or a process that was killed there
    /// Texts that are set and names of subkeys that are listed lose these, as in a code page that cannot carry them.
    std::string lostCharacters = {};
};
/// Instead of those before, of which it gives what is left: 0 calls when the one that was to fail has failed.
Faults Inject(Faults faults);

}  // namespace RegistryHost

/// A child that runs until End, Exit or Kill is called. A test derives from it what the child shall do.
class FakeChild {
  public:
    virtual ~FakeChild() = default;

    /// The child ends by itself; the first exit code counts.
    void End(std::uint32_t exitCode);
    void Exit() { End(0); }
    /// The product ends the child by force.
    virtual void Kill() { Exit(); }

    bool IsRunning() { return !WaitForExit(0); }
    bool WaitForExit(std::uint32_t timeoutMs);

    /// Empty while the child runs. Those who watch the child share it, and do not keep the child alive.
    using ExitCode = std::optional<std::uint32_t>;
    std::shared_ptr<const ExitCode> SharedExitCode() const { return exitCode_; }

  private:
    const std::shared_ptr<ExitCode> exitCode_ = std::make_shared<ExitCode>();
};

/// Makes the child for its command-line argument; empty: it cannot be started.
using ChildFactory = std::function<std::shared_ptr<FakeChild>(const std::string& argument)>;

/// Takes effect for the children started from now on. Without a factory none can be started.
void SetChildFactory(ChildFactory factory);
