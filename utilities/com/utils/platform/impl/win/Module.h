// Module: owns one loaded library, and looks functions up in it.
#pragma once

#include <windows.h>

#include "utils/platform/LastErrorKeeper.h"

/// Looks a function up by its exported name; null when the library does not have it.
template <typename Function>
Function* FindFunction(HMODULE library, const char* name) {
    // Cast in two steps: compilers warn about a direct cast between different function types.
    return reinterpret_cast<Function*>(reinterpret_cast<void (*)()>(GetProcAddress(library, name)));
}

/// The destructor frees the library and leaves the last-error code unchanged. Empty (false) when the library could not
/// be loaded.
class Module {
  public:
    Module() = default;
    /// Searches the program's folder, the system folder and PATH, but not the current folder: a program that is started
    /// in another user's folder must not run code from it. The same holds for the libraries that this one needs. The
    /// search path of the process is not changed, since its child processes would inherit that.
    explicit Module(const wchar_t* fileName);
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;
    Module& operator=(Module&& other) noexcept {
        const HMODULE library = other.library_;
        other.library_ = nullptr;
        Free();
        library_ = library;
        return *this;
    }
    ~Module() { Free(); }

    explicit operator bool() const { return library_ != nullptr; }
    HMODULE Get() const { return library_; }

    void Free() {
        if (library_ == nullptr)
            return;
        const platform::LastErrorKeeper lastError;
        FreeLibrary(library_);
        library_ = nullptr;
    }

  private:
    HMODULE library_ = nullptr;
};
