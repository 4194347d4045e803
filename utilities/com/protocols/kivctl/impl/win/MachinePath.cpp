#include "protocols/kivctl/impl/win/MachinePath.h"

#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <optional>
#include <string_view>

#include "protocols/kivctl/Console.h"
#include "utils/registry/impl/win/RegistryHandle.h"

namespace kivctl {

namespace {

constexpr const wchar_t* kEnvironmentKey = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";
constexpr const wchar_t* kPathValue = L"Path";
constexpr wchar_t kSeparator = L';';
constexpr std::size_t kLongestVariable = 32766;  // characters, without the terminating zero
constexpr UINT kPatienceMs = 1000;               // for each program that is notified

std::wstring Wide(const std::string& narrow) {
    const auto utf8 = ToUtf8(narrow);
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end())).wstring();
}

struct Entry {
    std::size_t begin;
    std::size_t end;
};

/// The position of the separator after the entry; a separator between quotes belongs to the entry.
std::size_t EndOfEntry(const std::wstring& path, std::size_t begin) {
    bool quoted = false;
    for (auto at = begin; at < path.size(); ++at) {
        if (path[at] == L'"')
            quoted = !quoted;
        else if (path[at] == kSeparator && !quoted)
            return at;
    }
    return path.size();
}

bool Names(std::wstring_view entry, const std::wstring& folder) {
    const auto isQuoted = entry.size() > 1 && entry.front() == L'"' && entry.back() == L'"';
    if (isQuoted)
        entry = entry.substr(1, entry.size() - 2);
    while (entry.ends_with(L'\\'))
        entry.remove_suffix(1);
    return CompareStringOrdinal(entry.data(), static_cast<int>(entry.size()), folder.data(),
                                static_cast<int>(folder.size()), TRUE) == CSTR_EQUAL;
}

std::optional<Entry> Find(const std::wstring& path, const std::wstring& folder) {
    for (std::size_t begin = 0; begin < path.size();) {
        const auto end = EndOfEntry(path, begin);
        if (Names(std::wstring_view(path).substr(begin, end - begin), folder))
            return Entry{begin, end};
        begin = end + 1;
    }
    return std::nullopt;
}

/// Adds the folder and a separator so that a later Erase restores the exact text from before.
void Append(std::wstring& path, const std::wstring& folder) {
    if (path.empty())
        path = folder;
    else if (path.back() == kSeparator)
        path += folder + kSeparator;
    else
        path += kSeparator + folder;
}

void Erase(std::wstring& path, Entry entry) {
    if (entry.end < path.size())
        ++entry.end;
    else if (entry.begin > 0)
        --entry.begin;
    path.erase(entry.begin, entry.end - entry.begin);
}

struct PathValue {
    DWORD kind = REG_NONE;
    std::wstring text;
};

/// Empty when the value is missing, is not a text or cannot be read, or when it grows between the two reads.
std::optional<PathValue> Read(HKEY key) {
    PathValue value;
    DWORD size = 0;  // bytes
    if (RegQueryValueExW(key, kPathValue, nullptr, nullptr, nullptr, &size) != ERROR_SUCCESS)
        return std::nullopt;
    value.text.resize(size / sizeof(wchar_t));
    size = static_cast<DWORD>(value.text.size() * sizeof(wchar_t));
    if (RegQueryValueExW(key, kPathValue, nullptr, &value.kind, reinterpret_cast<BYTE*>(value.text.data()), &size) !=
            ERROR_SUCCESS ||
        (value.kind != REG_SZ && value.kind != REG_EXPAND_SZ))
        return std::nullopt;
    value.text.resize(size / sizeof(wchar_t));
    while (value.text.ends_with(L'\0'))
        value.text.pop_back();
    return value;
}

bool Write(HKEY key, const PathValue& value) {
    const auto size = (value.text.size() + 1) * sizeof(wchar_t);
    return RegSetValueExW(key, kPathValue, 0, value.kind, reinterpret_cast<const BYTE*>(value.text.c_str()),
                          static_cast<DWORD>(size)) == ERROR_SUCCESS;
}

void TellRunningPrograms() {
    SendMessageTimeoutW(HWND_BROADCAST, WM_SETTINGCHANGE, 0, reinterpret_cast<LPARAM>(L"Environment"), SMTO_ABORTIFHUNG,
                        kPatienceMs, nullptr);
}

PathChange Change(const std::function<void(std::wstring&)>& edit) {
    VexaUtils::RegistryHandle key;
    constexpr REGSAM access = KEY_QUERY_VALUE | KEY_SET_VALUE | KEY_WOW64_64KEY;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kEnvironmentKey, 0, access, key.Receive()) != ERROR_SUCCESS)
        return PathChange::Failed;
    auto value = Read(key.Get());
    if (!value)
        return PathChange::Failed;
    const auto before = value->text;
    edit(value->text);
    if (value->text == before)
        return PathChange::NotNeeded;
    if (value->text.size() > std::max(before.size(), kLongestVariable) || !Write(key.Get(), *value))
        return PathChange::Failed;
    TellRunningPrograms();
    return PathChange::Made;
}

}  // namespace

PathChange AddToMachinePath(const std::string& folder) {
    const auto wide = Wide(folder);
    if (wide.find(kSeparator) != std::wstring::npos)
        return PathChange::Failed;
    return Change([&wide](std::wstring& path) {
        if (!Find(path, wide))
            Append(path, wide);
    });
}

PathChange RemoveFromMachinePath(const std::string& folder) {
    const auto wide = Wide(folder);
    return Change([&wide](std::wstring& path) {
        while (const auto entry = Find(path, wide))
            Erase(path, *entry);
    });
}

}  // namespace kivctl
