// Functions by which tests control the doubles of the native build. Any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace sync_host {

/// Makes the start of the `nth` thread from now on fail (1: the next one; 0: none). Returns how many starts were left
/// until the failure of the previous call: 0 when it has happened.
int FailThread(int nth);

/// The hook is called by each wait for a change of guarded data before the wait begins, on the waiting thread and
/// without a lock of the double: a test can stop the thread there. An empty hook removes it.
void OnWait(std::function<void()> hook);

}  // namespace sync_host

namespace transport_host {

/// A slow read or write moves no bytes as long as the connection lasts.
enum class Operation { Open, Accept, Connect, Read, Write, SlowRead, SlowWrite };

/// Makes the `nth` such operation from now on fail, on any connection (1: the next one; 0: none). Returns how many
/// operations were left until the failure of the previous call: 0 when it has happened.
int FailOperation(Operation operation, int nth);

/// Makes this the client's process id of the next connection, as its server sees it.
void ConnectNextAs(std::uint64_t processId);

}  // namespace transport_host

/// One tree in memory, which VexaUtils::Registry and VexaUtils::RegistryKey both use.
namespace RegistryHost {

/// Empties the tree, and ends the effects of AllowWrites, AllowReads and LoseCharacters.
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

/// A child that runs until End, Exit or Kill is called. Tests derive children with a behaviour from it.
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

    /// Empty while the child runs. Watchers of the child share it, and so do not keep the child itself alive.
    using ExitCode = std::optional<std::uint32_t>;
    std::shared_ptr<const ExitCode> SharedExitCode() const { return exitCode_; }

  private:
    const std::shared_ptr<ExitCode> exitCode_ = std::make_shared<ExitCode>();
};

/// Makes the child for a command-line argument; returns empty when the child cannot be started.
using ChildFactory = std::function<std::shared_ptr<FakeChild>(const std::string& argument)>;

/// Applies to the children that are started from now on. Without a factory no child can be started.
void SetChildFactory(ChildFactory factory);
