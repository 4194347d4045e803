// Information about another process. Paths are in the narrow code page.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace kivctl {

/// A process whose handle is held open: the system does not reuse its id, and its exit code can be read after its end.
class OpenedProcess {
  public:
    /// Null when there is no process with that id, or this user may not open it.
    static std::unique_ptr<OpenedProcess> Open(std::uint64_t processId);
    virtual ~OpenedProcess() = default;

    /// Empty while the process runs.
    virtual std::optional<std::uint32_t> ExitCode() const = 0;
    /// Full path of its program; empty when the system cannot tell.
    virtual std::string Program() const = 0;
    /// Processor time that it has used, in ms; 0 when the system cannot tell.
    virtual std::uint64_t ProcessorMs() const = 0;
    /// Physical memory that it uses, in bytes; 0 when the system cannot tell.
    virtual std::uint64_t MemoryBytes() const = 0;
};

/// Full path of the process's program, and its file name; empty when the system cannot tell.
std::string ProgramPathOf(std::uint64_t processId);
std::string ProgramNameOf(std::uint64_t processId);
/// The folder of a full path, without a backslash at its end.
std::string FolderOf(const std::string& path);

bool FileExists(const std::string& path);

}  // namespace kivctl
