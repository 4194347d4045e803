// SecurityAttributes: who may open a named object of the service. Everyone gets one set of rights, administrators
// another one, nobody else any.
//
//     SecurityAttributes attributes(SYNCHRONIZE, MUTEX_ALL_ACCESS);
//     CreateMutexA(attributes.Get(), FALSE, name);
#pragma once

#include <windows.h>

/// Owns the security descriptor that its attributes point at, so it lives at least as long as the call that uses them.
/// When the system cannot build the descriptor, the attributes are all zero. Leaves the last error as it was.
class SecurityAttributes {
  public:
    SecurityAttributes(DWORD everyonesRights, DWORD administratorsRights);
    ~SecurityAttributes();
    SecurityAttributes(const SecurityAttributes&) = delete;
    SecurityAttributes& operator=(const SecurityAttributes&) = delete;

    SECURITY_ATTRIBUTES* Get() { return &attributes_; }

  private:
    bool Build(DWORD everyonesRights, DWORD administratorsRights);
    void Free();

    SECURITY_ATTRIBUTES attributes_{};
    PSID everyone_ = nullptr;
    PSID administrators_ = nullptr;
    PACL list_ = nullptr;
    PSECURITY_DESCRIPTOR descriptor_ = nullptr;
};
