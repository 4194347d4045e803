#include "utils/sync/impl/win/SecurityAttributes.h"

// These need <windows.h> before them.
#include <aclapi.h>
#include <sddl.h>

#include "utils/platform/LastErrorKeeper.h"
#include "utils/platform/impl/win/Handle.h"

namespace {

Sid WellKnownSid(WELL_KNOWN_SID_TYPE type) {
    Sid sid(SECURITY_MAX_SID_SIZE);
    DWORD size = SECURITY_MAX_SID_SIZE;
    sid.resize(CreateWellKnownSid(type, nullptr, sid.data(), &size) ? size : 0);
    return sid;
}

Sid CopyOf(PSID sid) {
    const auto* const bytes = static_cast<const BYTE*>(sid);
    return {bytes, bytes + GetLengthSid(sid)};
}

EXPLICIT_ACCESS_W Entry(AccessGrant& grant) {
    EXPLICIT_ACCESS_W entry{};
    entry.grfAccessPermissions = grant.rights;
    entry.grfAccessMode = SET_ACCESS;
    entry.grfInheritance = NO_INHERITANCE;
    entry.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    entry.Trustee.TrusteeType = TRUSTEE_IS_UNKNOWN;
    entry.Trustee.ptstrName = reinterpret_cast<LPWSTR>(grant.sid.data());
    return entry;
}

}  // namespace

Sid EveryoneSid() {
    return WellKnownSid(WinWorldSid);
}

Sid AdministratorsSid() {
    return WellKnownSid(WinBuiltinAdministratorsSid);
}

Sid SystemSid() {
    return WellKnownSid(WinLocalSystemSid);
}

Sid OwnAccountSid() {
    HANDLE opened = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened))
        return {};
    const UniqueHandle token(opened);
    DWORD size = 0;
    GetTokenInformation(token.Get(), TokenUser, nullptr, 0, &size);
    std::vector<BYTE> user(size);
    if (size == 0 || !GetTokenInformation(token.Get(), TokenUser, user.data(), size, &size))
        return {};
    return CopyOf(reinterpret_cast<TOKEN_USER*>(user.data())->User.Sid);
}

Sid FindSid(const std::string& name) {
    PSID written = nullptr;
    // ConvertStringSidToSid also accepts two-letter abbreviations, but these may be names of accounts.
    if (name.starts_with("S-1-") && ConvertStringSidToSidA(name.c_str(), &written)) {
        auto sid = CopyOf(written);
        LocalFree(written);
        return sid;
    }
    constexpr DWORD kLongestDomain = 256;  // with the terminator
    Sid sid(SECURITY_MAX_SID_SIZE);
    std::vector<char> domain(kLongestDomain);
    DWORD size = SECURITY_MAX_SID_SIZE, domainSize = kLongestDomain;
    SID_NAME_USE use = SidTypeUnknown;
    // The system would find a domain under the empty name. Domains, computers and deleted accounts are not accepted.
    if (name.empty() ||
        !LookupAccountNameA(nullptr, name.c_str(), sid.data(), &size, domain.data(), &domainSize, &use) ||
        (use != SidTypeUser && use != SidTypeGroup && use != SidTypeAlias && use != SidTypeWellKnownGroup))
        return {};
    return CopyOf(sid.data());
}

SecurityAttributes::SecurityAttributes(std::vector<AccessGrant> grants) {
    const platform::LastErrorKeeper lastError;
    if (!Build(grants))
        Free();
}

SecurityAttributes::~SecurityAttributes() {
    const platform::LastErrorKeeper lastError;
    Free();
}

bool SecurityAttributes::Build(std::vector<AccessGrant>& grants) {
    std::vector<EXPLICIT_ACCESS_W> entries;
    for (auto& grant : grants) {
        if (grant.sid.empty())
            return false;
        entries.push_back(Entry(grant));
    }
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
    LocalFree(list_);
    LocalFree(descriptor_);
    list_ = nullptr;
    descriptor_ = nullptr;
}
