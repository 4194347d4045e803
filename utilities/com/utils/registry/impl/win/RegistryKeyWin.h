// VexaUtils::RegistryKeyWin: RegistryKey with the UTF-16 functions of Windows. Callers pass and get names and texts in
// the process's narrow code page.
#pragma once

#include <string>

#include "utils/registry/RegistryKey.h"
#include "utils/registry/impl/win/RegistryHandle.h"

namespace VexaUtils {

class RegistryKeyWin : public RegistryKey {
  public:
    ~RegistryKeyWin() override;

    /// Opens the key below `parent`; ERROR_SUCCESS or the error of the call.
    LSTATUS Open(HKEY parent, const std::string& path);
    LSTATUS OpenOrCreate(HKEY parent, const std::string& path);

    std::int32_t Subkeys(std::vector<std::string>& names) override;
    std::int32_t Values(std::vector<NamedRegistryValue>& values) override;
    Reading Query(const std::string& name, RegistryValue& value) override;
    std::int32_t SetNumber(const std::string& name, std::uint32_t number) override;
    std::int32_t SetText(const std::string& name, const std::string& text) override;
    std::int32_t DeleteValue(const std::string& name) override;
    std::shared_ptr<RegistryKey> OpenSubkey(const std::string& name) override;
    std::shared_ptr<RegistryKey> CreateSubkey(const std::string& name) override;
    std::int32_t RenameSubkey(const std::string& oldName, const std::string& newName) override;
    std::int32_t DeleteSubkey(const std::string& name) override;
    void Flush() override;
    bool ChangedSinceLastAsked() override;

  private:
    bool WatchForNextChange();

    RegistryHandle key_;
    HANDLE changed_ = nullptr;  // auto-reset; the system signals it at the first change after a watch began
    bool watching_ = false;
};

}  // namespace VexaUtils
