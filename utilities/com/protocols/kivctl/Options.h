// The options that every command of kivctl takes.
#pragma once

#include <cstdint>

#include "protocols/control/ControlClient.h"

namespace kivctl {

// Times in ms.
inline constexpr std::uint32_t kRequestTimeout = ControlClient::kRequestTimeout;
inline constexpr std::uint32_t kConnectTimeout = ControlClient::kConnectTimeout;
inline constexpr std::uint32_t kStartTimeout = ControlClient::kStartTimeout;
inline constexpr std::uint32_t kShutdownTimeout = 300'000;

struct Options {
    bool json = false;
    bool verbose = false;
    std::uint32_t timeoutMs = 0;  // for each answer; 0: each request has its own time

    /// The time that the operator set, else `ownMs`.
    std::uint32_t TimeoutOr(std::uint32_t ownMs) const { return timeoutMs != 0 ? timeoutMs : ownMs; }
};

}  // namespace kivctl
