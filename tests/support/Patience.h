// How long tests wait for something that must happen.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <thread>

inline constexpr std::uint32_t kPatienceMs = 30000;  // a test that waits so long has failed

/// Waits for a condition that no event signals; false when it does not become true.
inline bool Eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatienceMs);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}
