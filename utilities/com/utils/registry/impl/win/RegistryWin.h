// VexaUtils::RegistryWin: Registry with the ANSI functions of Windows.
#pragma once

#include <string>

#include "utils/registry/Registry.h"
#include "utils/registry/impl/win/RegistryHandle.h"

namespace VexaUtils {

class RegistryWin : public Registry {
  public:
    explicit RegistryWin(const std::string& relativePath);

    bool ValueExists(const std::string& name) override;
    std::int32_t GetUint32(const std::string& name, std::uint32_t& value) override;
    std::int32_t GetString(const std::string& name, std::string& value) override;
    std::int32_t SetUint32(const std::string& name, std::uint32_t value) override;
    std::int32_t SetString(const std::string& name, const std::string& value) override;
    std::int32_t Open() override;
    std::int32_t Close() override;

  private:
    std::string path_;  // below HKEY_LOCAL_MACHINE
    RegistryHandle key_;
};

}  // namespace VexaUtils
