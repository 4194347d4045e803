// UniqueHandle: owns one kernel object handle.
//
//     const UniqueHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
//     if (!event) { /* GetLastError() tells why */ }
#pragma once

#include <windows.h>

#include "utils/platform/LastErrorKeeper.h"

/// The destructor closes the handle unless it is null or INVALID_HANDLE_VALUE (the two values that Win32 uses for
/// "none"), and leaves the last-error code unchanged. Can be moved, not copied.
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

    /// Returns the handle without closing it; the caller owns it now.
    HANDLE Release() {
        const HANDLE handle = handle_;
        handle_ = nullptr;
        return handle;
    }

    /// Closes the current handle and takes ownership of another one.
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
