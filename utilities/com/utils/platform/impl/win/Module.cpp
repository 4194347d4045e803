#include "utils/platform/impl/win/Module.h"

#include <filesystem>
#include <sstream>
#include <string>

namespace {

std::wstring SearchPathVariable() {
    constexpr const wchar_t* kName = L"PATH";
    std::wstring value(GetEnvironmentVariableW(kName, nullptr, 0), L'\0');
    value.resize(GetEnvironmentVariableW(kName, value.data(), static_cast<DWORD>(value.size())));
    return value;
}

/// Searches PATH, but not its relative folders: they would lie below the current folder.
HMODULE LoadAlongPath(const wchar_t* fileName) {
    std::wistringstream folders(SearchPathVariable());
    for (std::wstring folder; std::getline(folders, folder, L';');) {
        const auto file = std::filesystem::path(folder) / fileName;
        if (!file.is_absolute())
            continue;
        constexpr DWORD kItsFolderAndTheUsual = LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_DEFAULT_DIRS;
        if (const HMODULE library = LoadLibraryExW(file.c_str(), nullptr, kItsFolderAndTheUsual))
            return library;
    }
    return nullptr;
}

}  // namespace

Module::Module(const wchar_t* fileName)
    : library_(LoadLibraryExW(fileName, nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS)) {
    if (library_ == nullptr)
        library_ = LoadAlongPath(fileName);
}
