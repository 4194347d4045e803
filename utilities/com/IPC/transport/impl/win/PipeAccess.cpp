#include "IPC/transport/impl/win/PipeAccess.h"

#include "utils/logging/Logger.h"
#include "utils/registry/Registry.h"

namespace {

constexpr DWORD kClientRights = GENERIC_READ | GENERIC_WRITE;

}  // namespace

std::optional<std::string> AccessGroup() {
    const auto tuning = VexaUtils::Registry::Make(VexaUtils::kTuningKey);
    if (tuning->Open() != 0 || !tuning->ValueExists(kAccessGroupValue))
        return std::nullopt;
    std::string name;
    return tuning->GetString(kAccessGroupValue, name) == 0 ? name : std::string();
}

std::vector<AccessGrant> PipeAccess(const std::string& serverName) {
    const auto group = AccessGroup();
    if (!group)
        return {{EveryoneSid(), kClientRights}, {AdministratorsSid(), GENERIC_ALL}};
    std::vector<AccessGrant> grants;
    if (auto sid = FindSid(*group); !sid.empty())
        grants.push_back({std::move(sid), kClientRights});
    else
        KIV_LOG(Logging::Error, "Cannot find %s \"%s\", administrators alone may connect server:%s", kAccessGroupValue,
                group->c_str(), serverName.c_str());
    // After the group, since the last grant counts: these keep all rights, even if one of them is the group.
    for (auto& sid : {SystemSid(), AdministratorsSid(), OwnAccountSid()})
        grants.push_back({sid, GENERIC_ALL});
    return grants;
}
