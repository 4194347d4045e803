// The native double of the registry: one tree in memory, seen through VexaUtils::Registry and VexaUtils::RegistryKey
// alike. Tests reach into it as any user does, and do through these functions what no user can.
#pragma once

/// Any thread.
namespace RegistryHost {

/// An empty tree that refuses nothing.
void Reset();

/// Makes the `nth` read or write from now on (1: the next one) fail; 0: none.
void FailCall(int nth);

/// After this many more writes further ones fail: a registry that refuses, or a process that was killed there.
/// kUnlimited and Reset lift it.
inline constexpr unsigned kUnlimited = 0xFFFFFFFF;
void AllowWrites(unsigned count);

}  // namespace RegistryHost
