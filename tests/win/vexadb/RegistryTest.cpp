// The settings database in the real registry, checked with plain Win32 calls.
#include <windows.h>

#include "unit/vexadb/DatabaseTest.h"
#include "utils/VexaDB/class/VexaRegistryDB.h"

using namespace std::string_literals;

namespace {

class RealRegistry : public DatabaseTest {
  protected:
    using TypeAndBytes = std::pair<DWORD, std::string>;

    static void SetRaw(const wchar_t* name, DWORD type, const void* data, std::size_t size) {
        const auto bytes = static_cast<DWORD>(size);
        ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, kDatabase, name, type, data, bytes), ERROR_SUCCESS);
    }
    /// A value below the database key.
    static TypeAndBytes Raw(const wchar_t* subkey, const wchar_t* name) {
        const auto path = std::wstring(kDatabase) + subkey;
        DWORD type = 0, size = 100;
        std::string data(size, '\0');
        RegGetValueW(HKEY_LOCAL_MACHINE, path.c_str(), name, RRF_RT_ANY, &type, data.data(), &size);
        return {type, data.substr(0, size)};
    }

    static constexpr const wchar_t* kDatabase = L"Software\\Quenlar\\Torvik\\Runtime\\Settings\\vexa";
    VexaDB::VexaRegistryDB store;
};

TEST_F(RealRegistry, TheDatabaseWritesNumbersAndTextsOfTheRegistrysOwnTypes) {
    EXPECT_EQ(store.AddInstance("A"), 0);
    EXPECT_EQ(store.SetUint32("A", "n", 0x01020304), 0);
    EXPECT_EQ(store.SetString("", "empty", ""), 0);
    EXPECT_EQ(Raw(L"\\0", L"_kiv_name"), TypeAndBytes(REG_SZ, "A\0\0\0"s));
    EXPECT_EQ(Raw(L"\\0", L"n"), TypeAndBytes(REG_DWORD, "\4\3\2\1"s));
    EXPECT_EQ(Raw(L"", L"empty"), TypeAndBytes(REG_SZ, "\0\0"s));
    EXPECT_EQ(store.AddInstance("T\xC3\xBCr"), 0);
    EXPECT_NE(store.AddInstance("A\0B"s), 0);
    EXPECT_EQ(Names(store), (Lines{"", "A", "T\xC3\xBCr"}));
}

TEST_F(RealRegistry, OddValuesAreToldApartAndNeverRead) {
    const std::wstring longText(70000, L'x');
    SetRaw(L"expand", REG_EXPAND_SZ, L"%a%", 8);
    SetRaw(L"short", REG_DWORD, L"7", 2);
    SetRaw(L"long", REG_SZ, longText.c_str(), (longText.size() + 1) * sizeof(wchar_t));
    SetRaw(L"unended", REG_SZ, L"abc", 5);  // two characters and half of a third
    SetRaw(L"nul", REG_SZ, L"a\0b", 8);
    SetRaw(L"nothing", REG_SZ, nullptr, 0);
    const std::pair<const char*, std::string> texts[] = {
        {"long", std::string(70000, 'x')}, {"unended", "ab"}, {"nul", "a"}, {"nothing", ""}};
    std::string text;
    for (const auto& [name, expected] : texts) {
        EXPECT_EQ(store.GetString("", name, text), 0) << name;
        EXPECT_EQ(text, expected) << name;
    }
    std::uint32_t value = 0;
    for (const auto* name : {"expand", "short"}) {
        EXPECT_EQ(store.GetUint32("", name, value) + store.GetString("", name, text), -2) << name;
        EXPECT_EQ(store.SetUint32("", name, 1) + store.SetString("", name, "x"), -2) << name;
    }
    std::vector<VexaDB::SettingEntry> settings;
    EXPECT_EQ(store.GetInstanceSettings("", settings), 0);
    EXPECT_EQ(settings.size(), std::size(texts));
}

}  // namespace
