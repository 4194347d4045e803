// VexaDB::VexaStore: what the two stores have in common: their observers, the two kinds of settings, which setting is
// none, and which name cannot be stored.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "utils/VexaDB/class/VexaDBInterface.h"

namespace VexaDB {

/// The value of a table that holds its instance's name. It is no setting of the instance: GetString gives the name,
/// GetInstanceSettings does not list it, and no store sets it through SetUint32 or SetString (they fail with -1),
/// whatever its letter case, since the instance would lose its name by it.
inline constexpr const char* kNameValue = "_kiv_name";

/// Not locked: the database server serializes the calls.
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
    /// A setting, of either kind; nothing when it is missing.
    virtual std::optional<SettingEntry> Read(const std::string& instance, const std::string& setting) = 0;
    /// Sets a setting, made when it is missing. What it was so far, empty when it is new; nothing when it was not set,
    /// as when it has the other kind.
    virtual std::optional<SettingEntry> Write(const std::string& instance, const SettingEntry& setting) = 0;

    /// False, with a line in the log, for a name that the registry would give back as another: the instance could never
    /// be found again. The line is one of the operation, "Class::Method".
    static bool IsUsableName(const char* operation, const std::string& name);
    static bool IsNameOf(const std::string& instance, const std::string& setting);

    /// Tells every observer, in registration order, each with its own copies of the strings. 0, so that a change which
    /// was made can end with it.
    template <class... Parameters, class... Arguments>
    std::int32_t Notify(void (VexaDBOpObserver::*change)(Parameters...), const Arguments&... arguments) {
        for (const auto& observer : observers_)
            (observer.get()->*change)(arguments...);
        return 0;
    }

  private:
    /// Write, but for the instance's name.
    std::optional<SettingEntry> Replace(const std::string& instance, const SettingEntry& setting);
    /// The setting when it has that kind, else nothing.
    std::optional<SettingEntry> Find(const std::string& instance, const std::string& setting, SettingKind kind);

    std::vector<std::shared_ptr<VexaDBOpObserver>> observers_;
};

}  // namespace VexaDB
