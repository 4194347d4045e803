// SecurityAttributes: who may open a named object of the service. Each account or group that is listed gets its rights,
// nobody else any.
//
//     SecurityAttributes attributes({{EveryoneSid(), SYNCHRONIZE}, {AdministratorsSid(), MUTEX_ALL_ACCESS}});
//     CreateMutexA(attributes.Get(), FALSE, name);
#pragma once

#include <windows.h>

#include <string>
#include <vector>

/// The identifier of an account or a group, as the system's functions take it; empty when the system does not know it.
using Sid = std::vector<BYTE>;

Sid EveryoneSid();
Sid AdministratorsSid();
Sid SystemSid();
/// The account that this process runs under.
Sid OwnAccountSid();
/// The account or group of a name, as in `Users` or `MACHINE\\operators`, or of an identifier that is written out
/// (`S-1-5-32-545`; whether it belongs to somebody is not looked up). Asks other machines for names that this one does
/// not know.
Sid FindSid(const std::string& name);

struct AccessGrant {
    Sid sid;
    DWORD rights;
};

/// Owns the security descriptor that its attributes point at, so it lives at least as long as the call that uses them.
/// When the system cannot build the descriptor, or an identifier is empty, the attributes are all zero. Leaves the last
/// error as it was.
class SecurityAttributes {
  public:
    /// Of several grants for one account the last counts.
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
