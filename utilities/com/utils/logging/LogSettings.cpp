#include "utils/logging/LogSettings.h"

#include "utils/platform/Platform.h"
#include "utils/registry/Registry.h"

namespace Logging {

LogSettings LogSettings::Read() {
    LogSettings settings;
    const auto tuning = VexaUtils::Registry::Make(VexaUtils::kTuningKey);
    if (tuning->Open() != 0)
        return settings;
    std::string text;
    std::uint32_t number = 0;
    if (tuning->GetString(kLogTypeValue, text) == 0)
        settings.type = text;
    if (tuning->GetString(kLogFileValue, text) == 0)
        settings.file = text;
    if (tuning->GetUint32(kLogColorValue, number) == 0)
        settings.color = number;
    return settings;
}

std::string LogSettings::File() const {
    constexpr const char* kDefaultFile = "\\Quenlar Imaging\\log\\zebcom.log";
    return file ? *file : platform::EnvironmentVariable("PROGRAMDATA") + kDefaultFile;
}

}  // namespace Logging
