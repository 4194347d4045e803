#include "utils/logging/LogSettings.h"

#include <algorithm>

#include "utils/logging/LogLevel.h"
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
    if (tuning->GetUint32(kLogMaxSizeValue, number) == 0)
        settings.maxSize = number;
    if (tuning->GetUint32(kLogKeepValue, number) == 0)
        settings.keep = number;
    if (tuning->GetString(kLogLevelValue, text) == 0)
        settings.level = text;
    return settings;
}

std::string LogSettings::File() const {
    constexpr const char* kDefaultFile = "\\Quenlar Imaging\\log\\zebcom.log";
    return file ? *file : platform::EnvironmentVariable("PROGRAMDATA") + kDefaultFile;
}

LogRotation LogSettings::Rotation() const {
    constexpr std::uint64_t kMebibyte = 1'048'576;
    return {maxSize.value_or(0) * kMebibyte, std::min(keep.value_or(0), kMostOlderLogFiles)};
}

std::optional<std::vector<std::uint32_t>> LogSettings::Levels() const {
    using Levels = std::vector<std::uint32_t>;
    if (!level || level == "info")
        return Levels{};
    if (level == "warning")
        return Levels{Warning, Error, Fatal};
    if (level == "error")
        return Levels{Error, Fatal};
    return std::nullopt;
}

}  // namespace Logging
