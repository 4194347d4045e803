// VexaDB::VexaStore: what the two stores have in common: their observers, which setting is none, and which name cannot
// be stored.
#pragma once

#include <memory>
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
    std::int32_t AddObserver(const std::shared_ptr<VexaDBOpObserver>& observer) override;
    /// Removes the first entry of that observer; 0 also when there is none.
    std::int32_t RemoveObserver(const std::shared_ptr<VexaDBOpObserver>& observer) override;

  protected:
    /// False, with a line in the log, for a name that the registry would give back as another: the instance could never
    /// be found again.
    static bool IsUsableName(const std::string& name);
    static bool IsNameOf(const std::string& instance, const std::string& setting);

    /// Tells every observer, in registration order, each with its own copies of the strings.
    template <class... Parameters, class... Arguments>
    void Notify(void (VexaDBOpObserver::*change)(Parameters...), const Arguments&... arguments) {
        for (const auto& observer : observers_)
            (observer.get()->*change)(arguments...);
    }

  private:
    std::vector<std::shared_ptr<VexaDBOpObserver>> observers_;
};

}  // namespace VexaDB
