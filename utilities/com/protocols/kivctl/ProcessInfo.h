// What the system tells of another process.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace kivctl {

/// A process held open, so that its id stays its own and its exit code can be asked for.
class OpenedProcess {
  public:
    /// Empty when there is none with that id, or this user may not look at it.
    static std::unique_ptr<OpenedProcess> Open(std::uint64_t processId);
    virtual ~OpenedProcess() = default;

    /// Empty while it runs.
    virtual std::optional<std::uint32_t> ExitCode() const = 0;
    /// Full path of its program; empty when the system does not tell.
    virtual std::string Program() const = 0;
    /// Processor time that it has used, ms.
    virtual std::uint64_t ProcessorMs() const = 0;
    /// Bytes of memory that it occupies; 0 when the system does not tell.
    virtual std::uint64_t MemoryBytes() const = 0;
};

/// Path of that process's program, and its last part; empty when the system does not tell.
std::string ProgramPathOf(std::uint64_t processId);
std::string ProgramNameOf(std::uint64_t processId);
/// The folder of a full path, without a backslash at its end.
std::string FolderOf(const std::string& path);

bool FileExists(const std::string& path);

}  // namespace kivctl
