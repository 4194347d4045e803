// Module: owns one loaded library, and looks functions up in it.
#pragma once

#include <windows.h>

#include "utils/platform/LastErrorKeeper.h"

/// Looks a function up by its exported name; null when the library does not have it.
template <typename Function>
Function* FindFunction(HMODULE library, const char* name) {
    // By way of the most general function type: compilers warn of a direct cast between unlike signatures.
    return reinterpret_cast<Function*>(reinterpret_cast<void (*)()>(GetProcAddress(library, name)));
}

/// Frees the library, and leaves the last error as it was. Empty when the library could not be loaded.
class Module {
  public:
    Module() = default;
    /// Searches beside the program, in the system's folder and along PATH, but not in the current folder: whoever
    /// stands in somebody else's folder must not run what lies there. The same goes for the libraries that this one
    /// needs. Nothing is set for the process, since its children would inherit that.
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
