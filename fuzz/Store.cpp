// Any keys and values in the database's registry key, a repair that is cut short after any number of writes, and the
// next start. Then the tables must be in order, and everything that is listed must be readable.
#include <algorithm>

#include "Fuzz.h"
#include "support/Doubles.h"
#include "utils/VexaDB/class/VexaRegistryDB.h"
#include "utils/registry/RegistryKey.h"

using VexaUtils::RegistryKey;
using VexaUtils::RegistryValue;

namespace {

constexpr std::size_t kLongestName = 12;

void Fill(RegistryKey& database, FuzzedDataProvider& input) {
    while (input.remaining_bytes() > 0) {
        const auto id = input.ConsumeRandomLengthString(kLongestName);
        const auto table = id.empty() ? nullptr : database.CreateSubkey(id);
        auto& key = table ? *table : database;
        const auto name = input.ConsumeBool() ? "_kiv_name" : input.ConsumeRandomLengthString(kLongestName);
        if (input.ConsumeBool())
            key.SetText(name, input.ConsumeRandomLengthString(kLongestName));
        else
            key.SetNumber(name, input.ConsumeIntegral<std::uint32_t>());
    }
}

void RequireOrder(RegistryKey& database) {
    std::vector<std::string> ids;
    Require(database.Subkeys(ids) == 0);
    for (const auto& id : ids) {
        RegistryValue name;
        Require(std::all_of(id.begin(), id.end(), [](char c) { return c >= '0' && c <= '9'; }));
        Require(database.OpenSubkey(id)->Query("_kiv_name", name) == VexaUtils::Reading::Found);
        Require(name.kind == VexaUtils::ValueKind::Text);
    }
}

void RequireReadable(VexaDB::VexaRegistryDB& store) {
    std::vector<std::string> names;
    Require(store.GetInstances(names) == 0 && names.front().empty());
    for (const auto& name : names) {
        std::vector<VexaDB::SettingEntry> settings;
        Require(store.IsInstanceExist(name) && store.GetInstanceSettings(name, settings) == 0);
        for (const auto& setting : settings) {
            std::uint32_t number = 0;
            std::string text;
            const bool isNumber = setting.kind == VexaDB::SettingKind::Number;
            Require((store.GetUint32(name, setting.name, number) == 0) == isNumber);
            Require((store.GetString(name, setting.name, text) == 0) == !isNumber);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    DroppingSink::Install();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const auto writesUntilKilled = input.ConsumeIntegral<std::uint8_t>();
    RegistryHost::Reset();
    const auto database = RegistryKey::OpenOrCreate("Software\\Quenlar\\Torvik\\Runtime\\Settings\\vexa");
    Fill(*database, input);
    RegistryHost::Inject({.writes = writesUntilKilled});
    VexaDB::VexaRegistryDB killed;
    RegistryHost::Inject({});
    VexaDB::VexaRegistryDB restarted;
    RequireOrder(*database);
    RequireReadable(restarted);
    return 0;
}
