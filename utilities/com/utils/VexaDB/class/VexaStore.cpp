#include "utils/VexaDB/class/VexaStore.h"

#include <algorithm>
#include <string_view>

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

bool VexaStore::IsNameValue(const std::string& setting) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    const std::string_view name = kNameValue;
    return std::equal(setting.begin(), setting.end(), name.begin(), name.end(),
                      [&](char a, char b) { return lower(a) == b; });
}

}  // namespace VexaDB
