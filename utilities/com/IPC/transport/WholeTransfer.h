// Reading a known number of bytes from a stream that delivers them in pieces of any size.
#pragma once

#include <cstdint>

#include "IPC/transport/ClientTransport.h"
#include "utils/platform/Deadline.h"

/// Reads exactly `size` bytes within `timeoutMs`. False when a transfer fails or the time is over.
inline bool ReadWhole(ClientTransport& transport, void* buffer, std::int32_t size, std::uint32_t timeoutMs) {
    auto* next = static_cast<std::uint8_t*>(buffer);
    const platform::Deadline deadline(timeoutMs);
    while (size > 0) {
        // Zero bytes do not mean the end of the stream: a peer may write an empty buffer.
        const std::int32_t bytes = transport.Read(next, size, deadline.LeftMs());
        if (bytes < 0)
            return false;
        next += bytes;
        size -= bytes;
    }
    return true;
}
