#include "protocols/kivctl/impl/win/FolderAccess.h"

#include <windows.h>

// This needs <windows.h> before it.
#include <aclapi.h>

#include <array>
#include <memory>

#include "protocols/kivctl/Failure.h"

namespace kivctl {

namespace {

/// The rights to change a file or a folder. Those to write and append to a file are, for a folder, the rights to add
/// files and folders.
constexpr DWORD kChanges = FILE_WRITE_DATA | FILE_APPEND_DATA | FILE_DELETE_CHILD | DELETE | WRITE_DAC | WRITE_OWNER |
                           GENERIC_WRITE | GENERIC_ALL;

struct Group {
    WELL_KNOWN_SID_TYPE type;
    const char* name;
};
constexpr Group kOrdinaryUsers[] = {{WinWorldSid, "Everyone"},
                                    {WinAuthenticatedUserSid, "Authenticated Users"},
                                    {WinBuiltinUsersSid, "Users"},
                                    {WinInteractiveSid, "INTERACTIVE"}};

bool Allows(ACL* list, WELL_KNOWN_SID_TYPE group) {
    std::array<BYTE, SECURITY_MAX_SID_SIZE> sid{};
    DWORD size = sizeof sid;
    if (!CreateWellKnownSid(group, nullptr, sid.data(), &size))
        return false;
    void* entry = nullptr;
    for (DWORD index = 0; GetAce(list, index, &entry); ++index) {
        // A conditional entry (callback) has the same layout up to and including its SID.
        const auto* const header = static_cast<ACE_HEADER*>(entry);
        const bool allows =
            header->AceType == ACCESS_ALLOWED_ACE_TYPE || header->AceType == ACCESS_ALLOWED_CALLBACK_ACE_TYPE;
        if (!allows || (header->AceFlags & INHERIT_ONLY_ACE) != 0)
            continue;
        auto* const allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
        if ((allowed->Mask & kChanges) != 0 && EqualSid(&allowed->SidStart, sid.data()))
            return true;
    }
    return false;
}

std::vector<std::string> WhoMayChange(const std::string& path) {
    ACL* list = nullptr;
    PSECURITY_DESCRIPTOR read = nullptr;
    const auto error = GetNamedSecurityInfoA(path.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                             &list, nullptr, &read);
    const std::unique_ptr<void, decltype(&LocalFree)> descriptor(read, &LocalFree);
    if (error != ERROR_SUCCESS)
        throw Failure(kRefused,
                      "The permissions of " + path + " cannot be read: error " + std::to_string(error) +
                          ". The service is not installed in a folder whose permissions are unknown.",
                      static_cast<std::int32_t>(error));
    std::vector<std::string> groups;
    for (const auto& [type, name] : kOrdinaryUsers)
        // Without an access control list everyone has all rights.
        if (list == nullptr ? type == WinWorldSid : Allows(list, type))
            groups.emplace_back(name);
    return groups;
}

}  // namespace

std::vector<OpenToUsers> FindOpenToUsers(const std::vector<std::string>& paths) {
    std::vector<OpenToUsers> found;
    for (const auto& path : paths)
        if (auto groups = WhoMayChange(path); !groups.empty())
            found.push_back({path, std::move(groups)});
    return found;
}

}  // namespace kivctl
