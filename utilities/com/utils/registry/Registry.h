// VexaUtils::Registry: the values of one registry key below the product's main key, such as the tuning values.
//
//     auto tuning = VexaUtils::Registry::Make(VexaUtils::kTuningKey);
//     std::uint32_t delay = 0;
//     if (tuning->Open() == 0 && tuning->GetUint32("fpgadelayedstart", delay) == 0) { ... }
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace VexaUtils {

/// The product's main key below HKEY_LOCAL_MACHINE, with its closing backslash.
inline constexpr const char* kProductKey = "SOFTWARE\\Quenlar\\Torvik\\";
/// The key of the tuning values, relative to the product's main key. The settings database is the same key.
inline constexpr const char* kTuningKey = "Runtime\\Settings\\vexa";
/// The path of that key below HKEY_LOCAL_MACHINE.
inline std::string TuningKeyPath() {
    return std::string(kProductKey) + kTuningKey;
}

/// Call Make, Open, any reads, and then Close or the destructor. Results: 0 on success, -1 on failure; a failed read
/// leaves its output unchanged. Used by one thread at a time. The setters and Close are there for other programs.
class Registry {
  public:
    /// Closes the key.
    virtual ~Registry() = default;
    virtual bool ValueExists(const std::string& name) = 0;
    virtual std::int32_t GetUint32(const std::string& name, std::uint32_t& value) = 0;
    /// Reads a text of at most 255 characters; fails for a longer one.
    virtual std::int32_t GetString(const std::string& name, std::string& value) = 0;
    /// The two setters need a key that is open for writing. Open opens it for reading only, so they fail with -1.
    [[nodiscard]] virtual std::int32_t SetUint32(const std::string& name, std::uint32_t value) = 0;
    [[nodiscard]] virtual std::int32_t SetString(const std::string& name, const std::string& value) = 0;
    /// Opens the key for reading, in the 64-bit view.
    [[nodiscard]] virtual std::int32_t Open() = 0;
    virtual std::int32_t Close() = 0;

    /// An object for the key `relativePath` below the product's main key. The key is not open yet.
    static std::shared_ptr<Registry> Make(const std::string& relativePath);
};

}  // namespace VexaUtils
