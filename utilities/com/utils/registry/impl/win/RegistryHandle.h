// RegistryHandle: owns an open registry key. Closing it leaves the thread's last-error code unchanged.
//
//     RegistryHandle key;
//     if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, key.Receive()) == ERROR_SUCCESS) { ... key.Get() ... }
#pragma once

#include <windows.h>

#include <cstdint>

namespace VexaUtils {

/// The result of an operation that made this call of the system: 0 success, -1 failure.
inline std::int32_t ResultOf(LSTATUS status) {
    return status == ERROR_SUCCESS ? 0 : -1;
}

class RegistryHandle {
  public:
    RegistryHandle() = default;
    ~RegistryHandle() { Close(); }
    RegistryHandle(const RegistryHandle&) = delete;
    RegistryHandle& operator=(const RegistryHandle&) = delete;

    HKEY Get() const { return key_; }
    /// Closes the current key. Returns the place where a call of the system puts a new key.
    HKEY* Receive() {
        Close();
        return &key_;
    }
    /// Closes the current key. ERROR_SUCCESS, also when there is none, or the error of RegCloseKey.
    LSTATUS Close() {
        if (key_ == nullptr)
            return ERROR_SUCCESS;
        const DWORD lastError = GetLastError();
        const LSTATUS result = RegCloseKey(key_);
        SetLastError(lastError);
        key_ = nullptr;
        return result;
    }

  private:
    HKEY key_ = nullptr;
};

}  // namespace VexaUtils
