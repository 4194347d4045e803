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

/// Called by each wait for a change of guarded data before it begins, on its thread and without a lock of the double's:
/// a test can stop the thread there. Empty: none.
void OnWait(std::function<void()> hook);

}  // namespace sync_host

namespace transport_host {

/// A slow read or write moves nothing as long as the connection lasts.
enum class Operation { Open, Accept, Connect, Read, Write, SlowRead, SlowWrite };

/// Makes the `nth` such operation from now on (1: the next one) of any connection fail; 0: none. How many were left
/// until the one that was to fail: 0 when it has failed.
int FailOperation(Operation operation, int nth);

/// The server takes the next connection that is made for one of this process.
void ConnectNextAs(std::uint64_t processId);

/// Whether a write that stays pending ends with the thread that began it, as the system does it: it then fails, and
/// what it had moved before stays moved. Off at first.
void CancelWritesOfEndedThreads(bool cancel);

}  // namespace transport_host

/// One tree in memory, seen through VexaUtils::Registry and VexaUtils::RegistryKey alike.
namespace RegistryHost {

/// An empty tree that refuses nothing.
void Reset();

/// Makes the `nth` read or write from now on (1: the next one) fail; 0: none. How many calls were still missing to the
/// failure that was asked for before; 0 when it came.
int FailCall(int nth);

/// After this many more writes further ones fail: a registry that refuses, or a process that was killed there.
/// kUnlimited and Reset lift it.
inline constexpr unsigned kUnlimited = 0xFFFFFFFF;
void AllowWrites(unsigned count);
/// The same for reads.
void AllowReads(unsigned count);

/// From now on texts that are set and names of subkeys that are listed lose these characters, as in a code page that
/// cannot carry them.
void LoseCharacters(const std::string& characters);

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
