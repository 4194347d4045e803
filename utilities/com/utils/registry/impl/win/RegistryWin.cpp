#include "utils/registry/impl/win/RegistryWin.h"

#include <array>

namespace VexaUtils {

namespace {

constexpr REGSAM kReadAccess = KEY_READ | KEY_WOW64_64KEY;
static_assert(kReadAccess == 0x20119);

constexpr std::size_t kStringBufferSize = 256;

}  // namespace

RegistryWin::RegistryWin(const std::string& relativePath) : path_(kProductKey + relativePath) {
    if (path_.back() == '\\')
        path_.pop_back();  // the relative path is empty: it is the main key itself
}

bool RegistryWin::ValueExists(const std::string& name) {
    return key_.Get() != nullptr &&
           RegQueryValueExA(key_.Get(), name.c_str(), nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
}

std::int32_t RegistryWin::GetUint32(const std::string& name, std::uint32_t& value) {
    DWORD number = 0;
    DWORD size = sizeof number;
    if (key_.Get() == nullptr ||
        RegGetValueA(key_.Get(), nullptr, name.c_str(), RRF_RT_REG_DWORD, nullptr, &number, &size) != ERROR_SUCCESS)
        return -1;
    value = number;
    return 0;
}

std::int32_t RegistryWin::GetString(const std::string& name, std::string& value) {
    std::array<char, kStringBufferSize> text{};
    DWORD size = static_cast<DWORD>(text.size());
    if (key_.Get() == nullptr ||
        RegGetValueA(key_.Get(), nullptr, name.c_str(), RRF_RT_REG_SZ, nullptr, text.data(), &size) != ERROR_SUCCESS)
        return -1;
    text.back() = '\0';
    value = text.data();
    return 0;
}

std::int32_t RegistryWin::SetUint32(const std::string& name, std::uint32_t value) {
    if (key_.Get() == nullptr)
        return -1;
    return ResultOf(
        RegSetValueExA(key_.Get(), name.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof value));
}

std::int32_t RegistryWin::SetString(const std::string& name, const std::string& value) {
    if (key_.Get() == nullptr)
        return -1;
    // The size does not include a terminator; the readers of these values accept that.
    return ResultOf(RegSetValueExA(key_.Get(), name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                                   static_cast<DWORD>(value.size())));
}

std::int32_t RegistryWin::Open() {
    return ResultOf(RegOpenKeyExA(HKEY_LOCAL_MACHINE, path_.c_str(), 0, kReadAccess, key_.Receive()));
}

std::int32_t RegistryWin::Close() {
    return key_.Get() == nullptr ? -1 : ResultOf(key_.Close());
}

std::shared_ptr<Registry> Registry::Make(const std::string& relativePath) {
    return std::make_shared<RegistryWin>(relativePath);
}

}  // namespace VexaUtils
