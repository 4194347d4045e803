// Questions about the current process, its threads, its standard streams and the machine's clocks.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace platform {

/// Id of this process. Any thread.
std::uint64_t CurrentProcessId();

/// Id of the calling thread.
std::uint64_t CurrentThreadId();

/// The calling thread's last operating-system error code, and its setter.
std::uint32_t LastError();
void SetLastError(std::uint32_t code);

/// Full path of the running executable, in the narrow code page; empty when the system cannot tell it.
std::string ModulePath();

/// The command line with which this process was started, in the narrow code page.
std::string CommandLine();

/// Value of an environment variable; empty when it is not set.
std::string EnvironmentVariable(const char* name);

/// The system-wide performance counter (comparable between processes) and its ticks per second.
std::int64_t CounterTicks();
std::int64_t CounterFrequency();

/// Converts counter ticks to nanoseconds: whole seconds and the remainder separately, so that nothing overflows.
/// `frequency` is in ticks per second.
std::int64_t TicksToNanoseconds(std::int64_t ticks, std::int64_t frequency);

/// The performance counter in nanoseconds, for measuring durations.
std::int64_t MonotonicNanoseconds();

/// Wall-clock time in 100-nanosecond ticks since 1970-01-01 00:00 UTC.
std::int64_t WallClockTicks();

/// Converts seconds since 1970-01-01 00:00 UTC to local calendar time; all fields are 0 when the system cannot convert
/// the time. Any thread.
std::tm LocalTime(std::int64_t seconds);

enum class StandardStream { Output, Error };

/// Whether the stream is a terminal: a console, or the pseudo terminal of a Unix-like shell.
bool IsTerminal(StandardStream stream);

}  // namespace platform
