// VexaUtils::RegistryKey: one open registry key with its values and subkeys, as the settings database needs it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace VexaUtils {

enum class ValueKind { Number, Text, Other };  // REG_DWORD, REG_SZ, anything else

/// What became of a read. Only Missing says that there is no such value; Failed says nothing about it.
enum class [[nodiscard]] Reading{Found, Missing, Failed};

struct RegistryValue {
    ValueKind kind = ValueKind::Other;
    std::uint32_t number = 0;  // of a Number
    std::string text;          // of a Text, in the narrow code page
};

struct NamedRegistryValue {
    std::string name;
    RegistryValue value;
};

/// Results: 0 success, -1 failure. Names compare without regard to letter case. Always the 64-bit view. Closed by the
/// destructor. Used by one thread at a time.
class RegistryKey {
  public:
    virtual ~RegistryKey() = default;

    /// Names of the subkeys and values, in the system's order.
    [[nodiscard]] virtual std::int32_t Subkeys(std::vector<std::string>& names) = 0;
    [[nodiscard]] virtual std::int32_t Values(std::vector<NamedRegistryValue>& values) = 0;

    /// Reads one value with its kind; `value` is untouched unless it was found.
    virtual Reading Query(const std::string& name, RegistryValue& value) = 0;
    [[nodiscard]] virtual std::int32_t SetNumber(const std::string& name, std::uint32_t number) = 0;
    [[nodiscard]] virtual std::int32_t SetText(const std::string& name, const std::string& text) = 0;
    /// Success also when there is no such value.
    [[nodiscard]] virtual std::int32_t DeleteValue(const std::string& name) = 0;

    /// Opens a subkey; empty when it is missing.
    virtual std::shared_ptr<RegistryKey> OpenSubkey(const std::string& name) = 0;
    /// Creates a subkey (or opens the one that is there); empty on failure.
    virtual std::shared_ptr<RegistryKey> CreateSubkey(const std::string& name) = 0;
    /// Gives a subkey another name, in one step: it keeps its values and subkeys. -1 when the new name is taken.
    [[nodiscard]] virtual std::int32_t RenameSubkey(const std::string& oldName, const std::string& newName) = 0;
    /// Deletes a subkey with everything below it.
    [[nodiscard]] virtual std::int32_t DeleteSubkey(const std::string& name) = 0;
    /// Asks the system to write the key to disk now, rather than in its own time.
    virtual void Flush() = 0;

    /// True when something below the key (its values, its subkeys or theirs) may have changed since the last call,
    /// by whichever process; the first call, and any case of doubt, answers true.
    virtual bool ChangedSinceLastAsked() = 0;

    /// Opens (creating it when missing) a key below HKEY_LOCAL_MACHINE; empty on failure.
    static std::shared_ptr<RegistryKey> OpenOrCreate(const std::string& path);

    /// Whether a text reads back as it was set. False for one that the process's narrow code page cannot carry, such as
    /// half of a character, and for one with a NUL inside. Any thread.
    static bool Preserves(const std::string& text);
};

}  // namespace VexaUtils
