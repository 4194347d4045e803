// VexaUtils::RegistryKey: one open registry key with its values and subkeys, as the settings database needs it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace VexaUtils {

enum class ValueKind { Number, Text, Other };  // REG_DWORD, REG_SZ, anything else

/// The result of a read. Missing: there is no such value. Failed: there may be such a value or not.
enum class [[nodiscard]] Reading{Found, Missing, Failed};

struct RegistryValue {
    ValueKind kind = ValueKind::Other;
    std::uint32_t number = 0;  // for ValueKind::Number
    std::string text;          // for ValueKind::Text, in the narrow code page
};

struct NamedRegistryValue {
    std::string name;
    RegistryValue value;
};

/// Results: 0 on success, -1 on failure. Names are not case-sensitive. Keys are opened in the 64-bit view; the
/// destructor closes the key. Used by one thread at a time.
class RegistryKey {
  public:
    virtual ~RegistryKey() = default;

    /// Lists the names of the subkeys, or the values, in the system's order.
    [[nodiscard]] virtual std::int32_t Subkeys(std::vector<std::string>& names) = 0;
    [[nodiscard]] virtual std::int32_t Values(std::vector<NamedRegistryValue>& values) = 0;

    /// Reads one value with its kind; `value` is unchanged unless the result is Found.
    virtual Reading Query(const std::string& name, RegistryValue& value) = 0;
    [[nodiscard]] virtual std::int32_t SetNumber(const std::string& name, std::uint32_t number) = 0;
    [[nodiscard]] virtual std::int32_t SetText(const std::string& name, const std::string& text) = 0;
    /// Deletes a value. 0 also when there is no such value.
    [[nodiscard]] virtual std::int32_t DeleteValue(const std::string& name) = 0;

    /// Opens a subkey; empty when it is missing or cannot be opened.
    virtual std::shared_ptr<RegistryKey> OpenSubkey(const std::string& name) = 0;
    /// Creates a subkey, or opens the existing one; empty on failure.
    virtual std::shared_ptr<RegistryKey> CreateSubkey(const std::string& name) = 0;
    /// Renames a subkey in one step; it keeps its values and subkeys. -1 also when the new name exists already.
    [[nodiscard]] virtual std::int32_t RenameSubkey(const std::string& oldName, const std::string& newName) = 0;
    /// Deletes a subkey with everything below it.
    [[nodiscard]] virtual std::int32_t DeleteSubkey(const std::string& name) = 0;
    /// Asks the system to write the key to disk now instead of later.
    virtual void Flush() = 0;

    /// False when no process has changed the key's values or anything below the key since the last call. True when that
    /// is uncertain, and at the first call.
    virtual bool ChangedSinceLastAsked() = 0;

    /// Opens a key below HKEY_LOCAL_MACHINE, and creates it when it is missing; empty on failure.
    static std::shared_ptr<RegistryKey> OpenOrCreate(const std::string& path);

    /// Whether a text reads back unchanged after it was set. False for a text that is invalid in the process's narrow
    /// code page, such as half of a two-byte character, and for a text with a NUL inside. Any thread.
    static bool Preserves(const std::string& text);
};

}  // namespace VexaUtils
