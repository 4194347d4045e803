// The options that every command of kivctl takes.
#pragma once

#include <cstdint>

namespace kivctl {

// ms. A question waits for a hung child 5 s, if no setting says otherwise. A request that starts or stops a child is
// answered when that is done, and the manager gives a child 10 s to start and 50 s to stop, and twice 5 s to answer;
// the changes before it may take as long again.
inline constexpr std::uint32_t kRequestTimeout = 20'000;
inline constexpr std::uint32_t kConnectTimeout = 5'000;
inline constexpr std::uint32_t kStartTimeout = 60'000;
inline constexpr std::uint32_t kStopTimeout = 90'000;
inline constexpr std::uint32_t kRestartTimeout = 120'000;
inline constexpr std::uint32_t kShutdownTimeout = 300'000;

struct Options {
    bool json = false;
    bool verbose = false;
    std::uint32_t timeoutMs = 0;  // 0: each request has its own

    std::uint32_t TimeoutOr(std::uint32_t ownMs) const { return timeoutMs != 0 ? timeoutMs : ownMs; }
};

}  // namespace kivctl
