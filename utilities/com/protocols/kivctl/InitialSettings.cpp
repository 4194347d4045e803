#include "protocols/kivctl/InitialSettings.h"

#include <utility>

#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Failure.h"
#include "utils/logging/LogSettings.h"
#include "utils/registry/Registry.h"

namespace kivctl {

namespace {

using namespace VexaUtils;

constexpr const char* kRestartDelay = "restartdelay";  // a database-wide setting

RegistryValue Text(std::string text) {
    return {ValueKind::Text, 0, std::move(text)};
}

RegistryValue Number(std::uint32_t number) {
    return {ValueKind::Number, number, {}};
}

std::vector<NamedRegistryValue> InitialSettings() {
    return {{Logging::kLogTypeValue, Text(Logging::kFileType)},
            {Logging::kLogFileValue, Text(Logging::LogSettings().File())},
            {Logging::kLogColorValue, Number(0)},
            {Logging::kLogMaxSizeValue, Number(10)},  // MiB
            {Logging::kLogKeepValue, Number(5)},
            {Logging::kLogLevelValue, Text("info")},
            {kRestartDelay, Number(1000)}};  // ms
}

bool Write(RegistryKey& key, const NamedRegistryValue& setting) {
    const auto& [name, value] = setting;
    return (value.kind == ValueKind::Text ? key.SetText(name, value.text) : key.SetNumber(name, value.number)) == 0;
}

}  // namespace

std::vector<NamedRegistryValue> WriteInitialSettings() {
    const auto key = RegistryKey::OpenOrCreate(TuningKeyPath());
    std::vector<NamedRegistryValue> written;
    for (const auto& setting : InitialSettings()) {
        RegistryValue present;
        const auto reading = key ? key->Query(setting.name, present) : Reading::Failed;
        if (reading == Reading::Found)
            continue;
        // The value may exist when the read fails, so it must not be overwritten.
        if (reading == Reading::Failed || !Write(*key, setting))
            throw Failure(kRefused, "The setting " + setting.name + " cannot be written to the registry");
        written.push_back(setting);
    }
    return written;
}

}  // namespace kivctl
