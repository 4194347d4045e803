// VexaDB::VexaDBInterface: a store of instances, each with its table of settings.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "utils/VexaDB/class/VexaDBOpObserver.h"

namespace VexaDB {

/// The kind of a setting's value; the numbers are those on the wire.
enum class SettingKind : std::uint32_t { String = 0, Number = 1 };

/// One setting; `kind` says whether `number` or `text` holds its value.
struct SettingEntry {
    std::string name;
    SettingKind kind = SettingKind::String;
    std::uint32_t number = 0;
    std::string text;
};

/// Whether both names mean the same setting. As in the registry, letter case does not matter, here only for A to Z.
inline bool IsSameSetting(std::string_view one, std::string_view other) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return std::ranges::equal(one, other, {}, lower, lower);
}

/// The element of `settings` with that name; null when there is none.
inline const SettingEntry* FindSetting(const std::vector<SettingEntry>& settings, std::string_view name) {
    const auto found = std::ranges::find_if(settings, [name](const auto& s) { return IsSameSetting(s.name, name); });
    return found == settings.end() ? nullptr : &*found;
}

/// Results: 0 success, -1 failure: the instance or the setting is missing, the setting has the other kind, the name is
/// taken or cannot be stored, or the registry refuses. A failed read leaves its output untouched. SetUint32 and
/// SetString create a missing setting. The empty instance name addresses the database-wide settings. Not thread-safe:
/// the database server serializes the calls.
class VexaDBInterface {
  public:
    virtual ~VexaDBInterface() = default;
    [[nodiscard]] virtual std::int32_t AddInstance(const std::string& instance) = 0;
    [[nodiscard]] virtual std::int32_t RemoveInstance(const std::string& instance) = 0;
    [[nodiscard]] virtual std::int32_t RenameInstance(const std::string& oldName, const std::string& newName) = 0;
    [[nodiscard]] virtual std::int32_t SetUint32(const std::string& instance, const std::string& setting,
                                                 std::uint32_t value) = 0;
    [[nodiscard]] virtual std::int32_t SetString(const std::string& instance, const std::string& setting,
                                                 const std::string& value) = 0;
    virtual std::int32_t GetUint32(const std::string& instance, const std::string& setting, std::uint32_t& value) = 0;
    virtual std::int32_t GetString(const std::string& instance, const std::string& setting, std::string& value) = 0;
    [[nodiscard]] virtual std::int32_t GetInstances(std::vector<std::string>& instances) = 0;
    [[nodiscard]] virtual std::int32_t GetInstanceSettings(const std::string& instance,
                                                           std::vector<SettingEntry>& settings) = 0;
    virtual bool IsInstanceExist(const std::string& instance) = 0;
    virtual std::int32_t AddObserver(const std::shared_ptr<VexaDBOpObserver>& observer) = 0;
    virtual std::int32_t RemoveObserver(const std::shared_ptr<VexaDBOpObserver>& observer) = 0;
};

}  // namespace VexaDB
