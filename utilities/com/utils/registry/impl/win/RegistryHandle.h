// RegistryHandle: an open registry key that is closed on every path, without disturbing the thread's last error.
//
//     RegistryHandle key;
//     if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, key.Receive()) == ERROR_SUCCESS) { ... key.Get() ... }
#pragma once

#include <windows.h>

namespace VexaUtils {

class RegistryHandle {
  public:
    RegistryHandle() = default;
    ~RegistryHandle() { Close(); }
    RegistryHandle(const RegistryHandle&) = delete;
    RegistryHandle& operator=(const RegistryHandle&) = delete;

    HKEY Get() const { return key_; }
    /// Closes what is held and gives the place for a call to put a new key in.
    HKEY* Receive() {
        Close();
        return &key_;
    }
    /// ERROR_SUCCESS, also when nothing was held, or the error of the call.
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
