#include "utils/registry/impl/win/RegistryKeyWin.h"

#include <algorithm>
#include <cstring>

namespace VexaUtils {

namespace {

constexpr REGSAM kAccess = KEY_READ | KEY_WRITE | DELETE | KEY_WOW64_64KEY;

// The longest names the registry allows, with their terminators.
constexpr std::size_t kKeyNameSize = 256;
constexpr std::size_t kValueNameSize = 16384;

constexpr std::size_t kUsualDataSize = 512;  // bytes; most values fit, larger ones are read again
constexpr int kGrowAttempts = 8;             // for a value that another process enlarges between the reads

std::wstring Wide(const std::string& text) {
    const int length = static_cast<int>(text.size());
    std::wstring wide(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, text.data(), length, nullptr, 0)), L'\0');
    MultiByteToWideChar(CP_ACP, 0, text.data(), length, wide.data(), static_cast<int>(wide.size()));
    return wide;
}

std::string Narrow(const wchar_t* text, std::size_t size) {
    const int length = static_cast<int>(size);
    std::string narrow(
        static_cast<std::size_t>(WideCharToMultiByte(CP_ACP, 0, text, length, nullptr, 0, nullptr, nullptr)), '\0');
    WideCharToMultiByte(CP_ACP, 0, text, length, narrow.data(), static_cast<int>(narrow.size()), nullptr, nullptr);
    return narrow;
}

/// The data of a value as stored. The registry checks neither the size of a number nor the terminator of a text.
struct RawValue {
    DWORD type = REG_NONE;
    DWORD size = 0;  // bytes used of data
    std::vector<BYTE> data = std::vector<BYTE>(kUsualDataSize);

    /// Runs `read` (type, data, size in and out) until the data fits.
    template <class Read>
    LSTATUS Fill(Read read) {
        LSTATUS status = ERROR_MORE_DATA;
        for (int attempt = 0; attempt < kGrowAttempts && status == ERROR_MORE_DATA; ++attempt) {
            size = static_cast<DWORD>(data.size());
            status = read(&type, data.data(), &size);
            if (status == ERROR_MORE_DATA)
                data.resize(std::max<std::size_t>(size, data.size() * 2));
        }
        return status;
    }

    RegistryValue Decode() const {
        RegistryValue value;
        if (type == REG_DWORD && size == sizeof value.number) {
            value.kind = ValueKind::Number;
            std::memcpy(&value.number, data.data(), sizeof value.number);
        } else if (type == REG_SZ) {
            std::wstring text(size / sizeof(wchar_t), L'\0');
            std::memcpy(text.data(), data.data(), text.size() * sizeof(wchar_t));
            value.kind = ValueKind::Text;
            value.text = Narrow(text.data(), std::min(text.find(L'\0'), text.size()));
        }
        return value;
    }
};

}  // namespace

RegistryKeyWin::~RegistryKeyWin() {
    key_.Close();  // ends the watch before its event is closed
    if (changed_ == nullptr)
        return;
    const DWORD lastError = GetLastError();
    CloseHandle(changed_);
    SetLastError(lastError);
}

LSTATUS RegistryKeyWin::Open(HKEY parent, const std::string& path) {
    return RegOpenKeyExW(parent, Wide(path).c_str(), 0, kAccess, key_.Receive());
}

LSTATUS RegistryKeyWin::OpenOrCreate(HKEY parent, const std::string& path) {
    return RegCreateKeyExW(parent, Wide(path).c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, kAccess, nullptr,
                           key_.Receive(), nullptr);
}

std::int32_t RegistryKeyWin::Subkeys(std::vector<std::string>& names) {
    std::vector<std::string> found;
    std::vector<wchar_t> name(kKeyNameSize);
    for (DWORD index = 0;; ++index) {
        DWORD length = static_cast<DWORD>(name.size());
        const LSTATUS status =
            RegEnumKeyExW(key_.Get(), index, name.data(), &length, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_NO_MORE_ITEMS)
            break;
        if (status != ERROR_SUCCESS)
            return -1;
        found.push_back(Narrow(name.data(), length));
    }
    names = std::move(found);
    return 0;
}

std::int32_t RegistryKeyWin::Values(std::vector<NamedRegistryValue>& values) {
    std::vector<NamedRegistryValue> found;
    std::vector<wchar_t> name(kValueNameSize);
    RawValue value;
    for (DWORD index = 0;; ++index) {
        DWORD length = 0;
        const LSTATUS status = value.Fill([&](DWORD* type, BYTE* data, DWORD* size) {
            length = static_cast<DWORD>(name.size());
            return RegEnumValueW(key_.Get(), index, name.data(), &length, nullptr, type, data, size);
        });
        if (status == ERROR_NO_MORE_ITEMS)
            break;
        if (status != ERROR_SUCCESS)
            return -1;
        found.push_back({Narrow(name.data(), length), value.Decode()});
    }
    values = std::move(found);
    return 0;
}

Reading RegistryKeyWin::Query(const std::string& name, RegistryValue& value) {
    const auto wideName = Wide(name);
    RawValue raw;
    const LSTATUS status = raw.Fill([&](DWORD* type, BYTE* data, DWORD* size) {
        return RegQueryValueExW(key_.Get(), wideName.c_str(), nullptr, type, data, size);
    });
    if (status != ERROR_SUCCESS)
        return status == ERROR_FILE_NOT_FOUND ? Reading::Missing : Reading::Failed;
    value = raw.Decode();
    return Reading::Found;
}

std::int32_t RegistryKeyWin::SetNumber(const std::string& name, std::uint32_t number) {
    return ResultOf(RegSetValueExW(key_.Get(), Wide(name).c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number),
                                   sizeof number));
}

std::int32_t RegistryKeyWin::SetText(const std::string& name, const std::string& text) {
    const auto wide = Wide(text);
    const auto size = (wide.size() + 1) * sizeof(wchar_t);  // with the terminator
    return ResultOf(RegSetValueExW(key_.Get(), Wide(name).c_str(), 0, REG_SZ,
                                   reinterpret_cast<const BYTE*>(wide.c_str()), static_cast<DWORD>(size)));
}

std::int32_t RegistryKeyWin::DeleteValue(const std::string& name) {
    const auto status = RegDeleteValueW(key_.Get(), Wide(name).c_str());
    return status == ERROR_FILE_NOT_FOUND ? 0 : ResultOf(status);
}

std::shared_ptr<RegistryKey> RegistryKeyWin::OpenSubkey(const std::string& name) {
    auto subkey = std::make_shared<RegistryKeyWin>();
    return subkey->Open(key_.Get(), name) == ERROR_SUCCESS ? subkey : nullptr;
}

std::shared_ptr<RegistryKey> RegistryKeyWin::CreateSubkey(const std::string& name) {
    auto subkey = std::make_shared<RegistryKeyWin>();
    return subkey->OpenOrCreate(key_.Get(), name) == ERROR_SUCCESS ? subkey : nullptr;
}

std::int32_t RegistryKeyWin::RenameSubkey(const std::string& oldName, const std::string& newName) {
    return ResultOf(RegRenameKey(key_.Get(), Wide(oldName).c_str(), Wide(newName).c_str()));
}

std::int32_t RegistryKeyWin::DeleteSubkey(const std::string& name) {
    const auto wideName = Wide(name);
    // A key without subkeys is deleted in one step with all its values, so that no process finds only some of them.
    if (RegDeleteKeyExW(key_.Get(), wideName.c_str(), KEY_WOW64_64KEY, 0) == ERROR_SUCCESS)
        return 0;
    return ResultOf(RegDeleteTreeW(key_.Get(), wideName.c_str()));
}

void RegistryKeyWin::Flush() {
    RegFlushKey(key_.Get());
}

bool RegistryKeyWin::ChangedSinceLastAsked() {
    if (watching_ && WaitForSingleObject(changed_, 0) == WAIT_TIMEOUT)
        return false;
    // The next watch begins before the caller reads the key, so it misses no change that comes after the read.
    watching_ = WatchForNextChange();
    return true;
}

bool RegistryKeyWin::WatchForNextChange() {
    if (changed_ == nullptr)
        changed_ = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    // Without REG_NOTIFY_THREAD_AGNOSTIC the watch would end with the calling thread.
    constexpr DWORD kWhat = REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET | REG_NOTIFY_THREAD_AGNOSTIC;
    return changed_ != nullptr && RegNotifyChangeKeyValue(key_.Get(), TRUE, kWhat, changed_, TRUE) == ERROR_SUCCESS;
}

std::shared_ptr<RegistryKey> RegistryKey::OpenOrCreate(const std::string& path) {
    auto key = std::make_shared<RegistryKeyWin>();
    return key->OpenOrCreate(HKEY_LOCAL_MACHINE, path) == ERROR_SUCCESS ? key : nullptr;
}

bool RegistryKey::Preserves(const std::string& text) {
    const auto wide = Wide(text);
    return wide.find(L'\0') == std::wstring::npos && Narrow(wide.data(), wide.size()) == text;
}

}  // namespace VexaUtils
