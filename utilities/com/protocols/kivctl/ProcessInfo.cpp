#include "protocols/kivctl/ProcessInfo.h"

namespace kivctl {

std::string ProgramPathOf(std::uint64_t processId) {
    const auto process = OpenedProcess::Open(processId);
    return process ? process->Program() : "";
}

std::string FolderOf(const std::string& path) {
    return path.substr(0, path.find_last_of("\\/"));
}

std::string ProgramNameOf(std::uint64_t processId) {
    const auto path = ProgramPathOf(processId);
    return path.substr(path.find_last_of("\\/") + 1);
}

}  // namespace kivctl
