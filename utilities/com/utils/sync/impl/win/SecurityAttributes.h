// SecurityAttributes: who may open a named object of the service. Each listed account or group gets its listed rights;
// all others get none.
//
//     SecurityAttributes attributes({{EveryoneSid(), SYNCHRONIZE}, {AdministratorsSid(), MUTEX_ALL_ACCESS}});
//     CreateMutexA(attributes.Get(), FALSE, name);
#pragma once

#include <windows.h>

#include <string>
#include <vector>

/// The security identifier of an account or a group, in the system's binary form; empty when the system knows none.
using Sid = std::vector<BYTE>;

Sid EveryoneSid();
Sid AdministratorsSid();
Sid SystemSid();
/// The account that this process runs under.
Sid OwnAccountSid();
/// Finds an account or group by its name (`Users`, `MACHINE\operators`) or by its identifier as text (`S-1-5-32-545`).
/// Does not check that an account with that identifier exists. Asks other machines for a name that this one does not
/// know.
Sid FindSid(const std::string& name);

struct AccessGrant {
    Sid sid;
    DWORD rights;
};

/// Owns the security descriptor that the attributes point to, so it must live as long as the call that uses them. When
/// the system cannot build the descriptor, or a Sid is empty, the attributes are all zero. Leaves the last-error code
/// unchanged.
class SecurityAttributes {
  public:
    /// When an account has several grants, the last one counts.
    explicit SecurityAttributes(std::vector<AccessGrant> grants);
    ~SecurityAttributes();
    SecurityAttributes(const SecurityAttributes&) = delete;
    SecurityAttributes& operator=(const SecurityAttributes&) = delete;

    SECURITY_ATTRIBUTES* Get() { return &attributes_; }

  private:
    bool Build(std::vector<AccessGrant>& grants);
    void Free();

    SECURITY_ATTRIBUTES attributes_{};
    PACL list_ = nullptr;
    PSECURITY_DESCRIPTOR descriptor_ = nullptr;
};
