// Logging::LogEntry: the data of one log call, as the sinks get it.
#pragma once

#include <cstdint>
#include <string>

namespace Logging {

/// Created by the logger on the calling thread, shared with the sink, never changed afterwards: any thread may read it.
/// The constructor records the thread's last-error code and leaves that code unchanged.
class LogEntry {
  public:
    LogEntry(std::uint32_t level, const char* message, const char* file, std::uint32_t line, const char* function);

    std::uint32_t Level() const { return level_; }
    const std::string& Message() const { return message_; }
    /// Source file and line of the call site.
    const std::string& File() const { return file_; }
    std::uint32_t Line() const { return line_; }
    /// Class::Method of the call site.
    const std::string& Function() const { return function_; }
    /// Wall-clock time in 100-nanosecond ticks since 1970-01-01 00:00 UTC.
    std::int64_t Timestamp() const { return timestamp_; }
    std::uint64_t ThreadId() const { return threadId_; }
    std::uint64_t ProcessId() const { return processId_; }
    /// Full path of the running executable.
    const std::string& ModulePath() const { return modulePath_; }
    /// The calling thread's last-error code at the call.
    std::uint32_t LastError() const { return lastError_; }

    /// The timestamp in local time with milliseconds: 2024-03-05T14:07:09.042.
    std::string FormatTimestamp() const;

  private:
    // Declared first, and so set first: the calls that fill the other fields may change the code.
    const std::uint32_t lastError_;
    const std::uint32_t level_;
    const std::string message_;
    const std::string file_;
    const std::uint32_t line_;
    const std::string function_;
    const std::int64_t timestamp_;
    const std::uint64_t threadId_;
    const std::uint64_t processId_;
    const std::string modulePath_;
};

/// Formats a time (100-nanosecond ticks since 1970-01-01 00:00 UTC) as LogEntry::FormatTimestamp does.
std::string FormatTimestamp(std::int64_t ticks);

}  // namespace Logging
