#include "utils/VexaDB/class/VexaStore.h"

#include <algorithm>

#include "utils/logging/Logger.h"
#include "utils/registry/RegistryKey.h"

namespace VexaDB {

std::int32_t VexaStore::AddObserver(const std::shared_ptr<VexaDBOpObserver>& observer) {
    observers_.push_back(observer);
    return 0;
}

std::int32_t VexaStore::RemoveObserver(const std::shared_ptr<VexaDBOpObserver>& observer) {
    const auto found = std::find(observers_.begin(), observers_.end(), observer);
    if (found != observers_.end())
        observers_.erase(found);
    return 0;
}

bool VexaStore::IsUsableName(const std::string& name) {
    if (VexaUtils::RegistryKey::Preserves(name))
        return true;
    KIV_LOG(Logging::Error, "Instance name %s is refused: the code page of this machine cannot carry it", name.c_str());
    return false;
}

bool VexaStore::IsNameOf(const std::string& instance, const std::string& setting) {
    return !instance.empty() && IsSameSetting(setting, kNameValue);
}

}  // namespace VexaDB
