#include "utils/sync/impl/win/SecurityAttributes.h"

// Needs <windows.h> first.
#include <aclapi.h>

#include <array>

#include "utils/platform/LastErrorKeeper.h"

namespace {

EXPLICIT_ACCESS_W Entry(PSID trustee, TRUSTEE_TYPE type, DWORD rights) {
    EXPLICIT_ACCESS_W entry{};
    entry.grfAccessPermissions = rights;
    entry.grfAccessMode = SET_ACCESS;
    entry.grfInheritance = NO_INHERITANCE;
    entry.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    entry.Trustee.TrusteeType = type;
    entry.Trustee.ptstrName = static_cast<LPWSTR>(trustee);
    return entry;
}

}  // namespace

SecurityAttributes::SecurityAttributes(DWORD everyonesRights, DWORD administratorsRights) {
    const platform::LastErrorKeeper lastError;
    if (!Build(everyonesRights, administratorsRights))
        Free();
}

SecurityAttributes::~SecurityAttributes() {
    const platform::LastErrorKeeper lastError;
    Free();
}

bool SecurityAttributes::Build(DWORD everyonesRights, DWORD administratorsRights) {
    SID_IDENTIFIER_AUTHORITY world = SECURITY_WORLD_SID_AUTHORITY;
    SID_IDENTIFIER_AUTHORITY nt = SECURITY_NT_AUTHORITY;
    if (!AllocateAndInitializeSid(&world, 1, SECURITY_WORLD_RID, 0, 0, 0, 0, 0, 0, 0, &everyone_) ||
        !AllocateAndInitializeSid(&nt, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0, 0, 0, 0,
                                  &administrators_))
        return false;

    std::array entries = {Entry(everyone_, TRUSTEE_IS_WELL_KNOWN_GROUP, everyonesRights),
                          Entry(administrators_, TRUSTEE_IS_GROUP, administratorsRights)};
    if (SetEntriesInAclW(static_cast<ULONG>(entries.size()), entries.data(), nullptr, &list_) != ERROR_SUCCESS)
        return false;

    descriptor_ = LocalAlloc(LPTR, SECURITY_DESCRIPTOR_MIN_LENGTH);
    if (descriptor_ == nullptr || !InitializeSecurityDescriptor(descriptor_, SECURITY_DESCRIPTOR_REVISION) ||
        !SetSecurityDescriptorDacl(descriptor_, TRUE, list_, FALSE))
        return false;

    attributes_.nLength = sizeof attributes_;
    attributes_.lpSecurityDescriptor = descriptor_;
    attributes_.bInheritHandle = FALSE;
    return true;
}

void SecurityAttributes::Free() {
    if (everyone_ != nullptr)
        FreeSid(everyone_);
    if (administrators_ != nullptr)
        FreeSid(administrators_);
    LocalFree(list_);
    LocalFree(descriptor_);
    everyone_ = nullptr;
    administrators_ = nullptr;
    list_ = nullptr;
    descriptor_ = nullptr;
}
