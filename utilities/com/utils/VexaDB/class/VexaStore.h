// VexaDB::VexaStore: the common base of the two stores. It keeps the observers, checks the kind of a setting, protects
// the value that holds an instance's name, and refuses names that cannot be stored.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "utils/VexaDB/class/VexaDBInterface.h"

namespace VexaDB {

/// The value of a table that holds its instance's name, in any letter case. It is not a setting of the instance:
/// GetString reads it, but GetInstanceSettings does not list it, and SetUint32 and SetString refuse it with -1, because
/// the instance would lose its name.
inline constexpr const char* kNameValue = "_kiv_name";

/// Not thread-safe: the database server serializes the calls.
class VexaStore : public VexaDBInterface {
  public:
    std::int32_t SetUint32(const std::string& instance, const std::string& setting, std::uint32_t value) override;
    std::int32_t SetString(const std::string& instance, const std::string& setting, const std::string& value) override;
    std::int32_t GetUint32(const std::string& instance, const std::string& setting, std::uint32_t& value) override;
    std::int32_t GetString(const std::string& instance, const std::string& setting, std::string& value) override;
    std::int32_t AddObserver(const std::shared_ptr<VexaDBOpObserver>& observer) override {
        observers_.push_back(observer);
        return 0;
    }
    /// Removes the first entry of that observer; 0 also when there is none.
    std::int32_t RemoveObserver(const std::shared_ptr<VexaDBOpObserver>& observer) override;

  protected:
    /// The setting, of either kind; nothing when it is missing or cannot be read.
    virtual std::optional<SettingEntry> Read(const std::string& instance, const std::string& setting) = 0;
    /// Writes a setting, or creates it when it is missing. Returns the old setting, with 0 or the empty text when it is
    /// new; nothing when it was not written, for example because it has the other kind.
    virtual std::optional<SettingEntry> Write(const std::string& instance, const SettingEntry& setting) = 0;

    /// False for a name that the registry would return changed: the instance could never be found again. The log then
    /// has a line under the operation's name ("Class::Method").
    static bool IsUsableName(const char* operation, const std::string& name);
    /// Whether the setting is the value that holds the instance's name.
    static bool IsNameOf(const std::string& instance, const std::string& setting);

    /// Calls every observer in the order of registration, each with its own copies of the strings. Always 0, which a
    /// successful change returns.
    template <class... Parameters, class... Arguments>
    std::int32_t Notify(void (VexaDBOpObserver::*change)(Parameters...), const Arguments&... arguments) {
        for (const auto& observer : observers_)
            (observer.get()->*change)(arguments...);
        return 0;
    }

  private:
    /// Like Write, but refuses the value that holds the instance's name.
    std::optional<SettingEntry> Replace(const std::string& instance, const SettingEntry& setting);
    /// The setting when it has that kind, else nothing.
    std::optional<SettingEntry> Find(const std::string& instance, const std::string& setting, SettingKind kind);

    std::vector<std::shared_ptr<VexaDBOpObserver>> observers_;
};

}  // namespace VexaDB
