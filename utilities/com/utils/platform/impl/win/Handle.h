// UniqueHandle: owns one kernel object handle.
//
//     const UniqueHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
//     if (!event) { /* GetLastError() tells why */ }
#pragma once

#include <windows.h>

#include "utils/platform/LastErrorKeeper.h"

/// Closes a handle that is neither null nor INVALID_HANDLE_VALUE (the two values by which Win32 says "none"), and
/// leaves the last error as it was. Moved, never copied.
class UniqueHandle {
  public:
    UniqueHandle() = default;
    explicit UniqueHandle(HANDLE handle) : handle_(handle) {}
    UniqueHandle(UniqueHandle&& other) noexcept : handle_(other.Release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other)
            Reset(other.Release());
        return *this;
    }
    ~UniqueHandle() { Reset(); }

    explicit operator bool() const { return handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE; }
    HANDLE Get() const { return handle_; }

    /// Gives the handle away, unclosed.
    HANDLE Release() {
        const HANDLE handle = handle_;
        handle_ = nullptr;
        return handle;
    }

    /// Closes the handle held and takes over another one.
    void Reset(HANDLE handle = nullptr) {
        if (*this) {
            const platform::LastErrorKeeper lastError;
            CloseHandle(handle_);
        }
        handle_ = handle;
    }

  private:
    HANDLE handle_ = nullptr;
};
