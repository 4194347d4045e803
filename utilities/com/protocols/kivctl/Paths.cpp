#include "protocols/kivctl/Paths.h"

#include <cerrno>
#include <system_error>

#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Failure.h"

namespace kivctl {

std::filesystem::path PathOf(const std::string& narrow) {
    const auto utf8 = ToUtf8(narrow);
    return std::u8string(utf8.begin(), utf8.end());
}

std::string AbsolutePath(const std::string& file) {
    const auto utf8 = std::filesystem::absolute(PathOf(file)).u8string();
    const auto narrow = FromUtf8({utf8.begin(), utf8.end()});
    if (!narrow)
        throw Failure(kWrongUsage, "The folder's name has characters that this machine's code page lacks.");
    return *narrow;
}

std::string MakeFolderOf(const std::string& file) {
    const auto folder = PathOf(file).parent_path();
    std::error_code error;
    if (!folder.empty())
        std::filesystem::create_directories(folder, error);  // an existing folder is not an error
    return error ? "the folder of the log file " + file + " cannot be made: " + error.message() : "";
}

void RequireFolderOf(const std::string& file) {
    if (const auto problem = MakeFolderOf(file); !problem.empty())
        throw Failure(kRefused, "Nothing was set: " + problem + ".");
}

std::string SystemReason() {
    return std::generic_category().message(errno);
}

}  // namespace kivctl
