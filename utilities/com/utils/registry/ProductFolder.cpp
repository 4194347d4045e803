#include "utils/registry/ProductFolder.h"

#include <string_view>

#include "utils/platform/Platform.h"
#include "utils/registry/Registry.h"

namespace VexaUtils {

namespace {

constexpr const char* kInstallationValue = "INSTALLDIR";

std::string RegisteredFolder() {
    std::string folder;
    const auto product = Registry::Make("");
    if (product->Open() == 0)
        product->GetString(kInstallationValue, folder);
    return folder;
}

}  // namespace

std::string InstallationFolder() {
    constexpr std::string_view kSeparators = "\\/";
    auto folder = RegisteredFolder();
    if (folder.empty()) {
        const auto program = platform::ModulePath();
        folder = program.substr(0, program.find_last_of(kSeparators) + 1);
    }
    if (!folder.empty() && kSeparators.find(folder.back()) == std::string_view::npos)
        folder += '\\';
    return folder;
}

}  // namespace VexaUtils
