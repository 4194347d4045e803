// What tests can do to the in-memory transport of the native build.
#pragma once

#include <cstdint>

namespace transport_host {

/// A slow read or write moves nothing as long as the connection lasts.
enum class Operation { Open, Accept, Connect, Read, Write, SlowRead, SlowWrite };

/// Makes the `nth` such operation from now on (1: the next one) of any connection fail; 0: none.
void FailOperation(Operation operation, int nth);
/// Lets one read deliver at most that many bytes; 0: as many as there are.
void LimitReads(std::int32_t bytes);

}  // namespace transport_host
