// The registry access over the real registry, looked at with plain Win32 calls.
#include <windows.h>

#include "unit/vexadb/DatabaseTest.h"
#include "utils/VexaDB/class/VexaRegistryDB.h"
#include "utils/registry/ProductFolder.h"
#include "utils/registry/Registry.h"

using VexaUtils::RegistryKey;
using VexaUtils::RegistryValue;
using namespace std::string_literals;

namespace {

class RealRegistry : public DatabaseTest {
  protected:
    static constexpr const wchar_t* kDatabase = L"Software\\Quenlar\\Torvik\\Runtime\\Settings\\vexa";

    static void SetRaw(const wchar_t* name, DWORD type, const void* data, DWORD size) {
        ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, kDatabase, name, type, data, size), ERROR_SUCCESS);
    }
    /// Type and bytes of a value below the database key.
    static std::pair<DWORD, std::string> Raw(const wchar_t* subkey, const wchar_t* name) {
        const auto path = std::wstring(kDatabase) + subkey;
        DWORD type = 0, size = 0;
        RegGetValueW(HKEY_LOCAL_MACHINE, path.c_str(), name, RRF_RT_ANY | RRF_NOEXPAND, &type, nullptr, &size);
        std::string data(size, '\0');
        RegGetValueW(HKEY_LOCAL_MACHINE, path.c_str(), name, RRF_RT_ANY | RRF_NOEXPAND, nullptr, data.data(), &size);
        return {type, data};
    }
};

TEST_F(RealRegistry, TheDatabaseWritesNumbersAndTextsOfTheRegistrysOwnTypes) {
    VexaDB::VexaRegistryDB store;
    EXPECT_EQ(store.AddInstance("A"), 0);
    EXPECT_EQ(store.SetUint32("A", "n", 0x01020304), 0);
    EXPECT_EQ(store.SetString("A", "s", "xy"), 0);
    EXPECT_EQ(store.SetString("", "empty", ""), 0);
    EXPECT_EQ(Raw(L"\\0", L"_kiv_name"), std::make_pair(DWORD{REG_SZ}, "A\0\0\0"s));
    EXPECT_EQ(Raw(L"\\0", L"n"), std::make_pair(DWORD{REG_DWORD}, "\4\3\2\1"s));
    EXPECT_EQ(Raw(L"\\0", L"s"), std::make_pair(DWORD{REG_SZ}, "x\0y\0\0\0"s));
    EXPECT_EQ(Raw(L"", L"empty"), std::make_pair(DWORD{REG_SZ}, "\0\0"s));
}

TEST_F(RealRegistry, OddValuesAreToldApartAndNeverRead) {
    const ULONGLONG number = 7;
    const std::wstring longText(70000, L'x');
    SetRaw(L"expand", REG_EXPAND_SZ, L"%a%", 8);
    SetRaw(L"quad", REG_QWORD, &number, sizeof number);
    SetRaw(L"short", REG_DWORD, &number, 2);
    SetRaw(L"long", REG_SZ, longText.c_str(), static_cast<DWORD>((longText.size() + 1) * sizeof(wchar_t)));
    SetRaw(L"unended", REG_SZ, L"abc", 5);  // two characters and half of a third
    SetRaw(L"nul", REG_SZ, L"a\0b", 8);
    SetRaw(L"nothing", REG_SZ, nullptr, 0);
    const std::pair<const char*, std::string> texts[] = {
        {"long", std::string(70000, 'x')}, {"unended", "ab"}, {"nul", "a"}, {"nothing", ""}};
    VexaDB::VexaRegistryDB store;
    std::string text;
    for (const auto& [name, expected] : texts) {
        EXPECT_EQ(store.GetString("", name, text), 0) << name;
        EXPECT_EQ(text, expected) << name;
    }
    std::uint32_t value = 0;
    for (const auto* name : {"expand", "quad", "short"}) {
        EXPECT_EQ(store.GetUint32("", name, value) + store.GetString("", name, text), -2) << name;
        EXPECT_EQ(store.SetUint32("", name, 1) + store.SetString("", name, "x"), -2) << name;
    }
    std::vector<VexaDB::SettingEntry> settings;
    EXPECT_EQ(store.GetInstanceSettings("", settings), 0);
    EXPECT_EQ(settings.size(), std::size(texts));
}

TEST_F(RealRegistry, KeysAreRenamedDeletedAndWatched) {
    EXPECT_TRUE(outside->ChangedSinceLastAsked());
    EXPECT_FALSE(outside->ChangedSinceLastAsked());
    const auto table = outside->CreateSubkey("name");
    EXPECT_TRUE(outside->ChangedSinceLastAsked());
    EXPECT_FALSE(outside->ChangedSinceLastAsked());
    table->CreateSubkey("below")->SetNumber("n", 3);
    EXPECT_TRUE(outside->ChangedSinceLastAsked());
    SetRaw(L"global", REG_DWORD, "\0\0\0", 4);
    EXPECT_TRUE(outside->ChangedSinceLastAsked());
    EXPECT_FALSE(outside->ChangedSinceLastAsked());

    outside->CreateSubkey("taken");
    EXPECT_EQ(outside->RenameSubkey("name", "taken"), -1);
    EXPECT_EQ(outside->RenameSubkey("name", "1"), 0);
    EXPECT_FALSE(outside->OpenSubkey("name"));
    RegistryValue value;
    EXPECT_EQ(outside->OpenSubkey("1")->OpenSubkey("below")->Query("n", value), 0);
    EXPECT_EQ(outside->DeleteSubkey("1"), 0);
    Lines names;
    EXPECT_EQ(outside->Subkeys(names), 0);
    EXPECT_EQ(names, Lines{"taken"});

    // A key that is gone answers -1 and, being in doubt, that it changed.
    const auto gone = outside->OpenSubkey("taken");
    EXPECT_EQ(outside->DeleteSubkey("taken"), 0);
    EXPECT_EQ(gone->SetNumber("n", 1), -1);
    EXPECT_TRUE(gone->ChangedSinceLastAsked() && gone->ChangedSinceLastAsked());
}

TEST_F(RealRegistry, TuningValuesAreReadFromTheDatabasesKeyAndNotWritten) {
    const std::string fits(255, 'a');
    outside->SetNumber("fpgadelayedstart", 1234);
    outside->SetText("fits", fits);
    outside->SetText("long", fits + 'a');
    SetRaw(L"unended", REG_SZ, L"ab", 4);
    const auto tuning = VexaUtils::Registry::Make(VexaUtils::kTuningKey);
    std::uint32_t number = 9;
    std::string text = "untouched";
    EXPECT_EQ(tuning->GetUint32("fpgadelayedstart", number), -1);
    EXPECT_FALSE(tuning->ValueExists("fpgadelayedstart"));
    EXPECT_EQ(tuning->Open(), 0);
    EXPECT_TRUE(tuning->ValueExists("FpgaDelayedStart"));
    EXPECT_EQ(tuning->GetString("long", text), -1);
    EXPECT_EQ(tuning->GetUint32("fits", number), -1);
    EXPECT_EQ(text + std::to_string(number), "untouched9");
    EXPECT_EQ(tuning->GetUint32("fpgadelayedstart", number), 0);
    EXPECT_EQ(number, 1234u);
    EXPECT_EQ(tuning->GetString("fits", text), 0);
    EXPECT_EQ(text, fits);
    EXPECT_EQ(tuning->GetString("unended", text), 0);
    EXPECT_EQ(text, "ab");
    EXPECT_EQ(tuning->SetUint32("fpgadelayedstart", 1), -1);
    EXPECT_EQ(tuning->SetString("fits", "b"), -1);
    EXPECT_EQ(tuning->Close(), 0);
    EXPECT_EQ(VexaUtils::Registry::Make("no such key")->Open(), -1);
}

TEST_F(RealRegistry, TheInstallationFolderIsTheRegisteredOneOrTheProgramsOwn) {
    const auto product = RegistryKey::OpenOrCreate("Software\\Quenlar\\Torvik");
    EXPECT_EQ(product->SetText("INSTALLDIR", "C:\\Product"), 0);
    EXPECT_EQ(VexaUtils::InstallationFolder(), "C:\\Product\\");
    EXPECT_EQ(product->SetText("INSTALLDIR", "C:\\Product/"), 0);
    EXPECT_EQ(VexaUtils::InstallationFolder(), "C:\\Product/");
    EXPECT_EQ(RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, L"Software\\Quenlar\\Torvik", L"INSTALLDIR"), ERROR_SUCCESS);
    char program[MAX_PATH];
    GetModuleFileNameA(nullptr, program, MAX_PATH);
    const auto folder = VexaUtils::InstallationFolder();
    EXPECT_EQ(folder + "win_vexadb.exe", program);
}

}  // namespace
