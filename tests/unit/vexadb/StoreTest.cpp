// The two stores: one contract, and the persistent one's life in the registry.
#include "utils/VexaDB/class/VexaMemoryDB.h"
#include "utils/VexaDB/class/VexaRegistryDB.h"

#include "unit/vexadb/DatabaseTest.h"

using namespace VexaDB;

namespace {

class StoreContract : public DatabaseTest, public ::testing::WithParamInterface<bool> {};

TEST_P(StoreContract, InstancesAndSettings) {
    std::shared_ptr<VexaDBInterface> store = std::make_shared<VexaRegistryDB>();
    if (!GetParam())
        store = std::make_shared<VexaMemoryDB>(store);
    EXPECT_EQ(store->AddInstance("A"), 0);
    EXPECT_NE(store->AddInstance("A"), 0);
    EXPECT_EQ(store->AddInstance("a"), 0);  // names are compared exactly
    EXPECT_EQ(store->SetUint32("A", "n", 7), 0);
    EXPECT_EQ(store->SetString("A", "s", "x"), 0);
    EXPECT_EQ(store->SetString("A", "s", ""), 0);
    EXPECT_NE(store->SetString("A", "n", "x"), 0);
    EXPECT_NE(store->SetUint32("A", "s", 1), 0);
    EXPECT_NE(store->SetUint32("B", "n", 1), 0);
    EXPECT_NE(store->SetString("A", "_KIV_name", "B"), 0);
    EXPECT_NE(store->RenameInstance("A", "a"), 0);
    EXPECT_NE(store->RenameInstance("A", "A"), 0);
    EXPECT_NE(store->RenameInstance("B", "C"), 0);
    EXPECT_EQ(store->RenameInstance("A", "B"), 0);
    EXPECT_NE(store->RemoveInstance("A"), 0);

    std::uint32_t number = 99;
    std::string text = "untouched";
    EXPECT_NE(store->GetUint32("B", "s", number), 0);
    EXPECT_NE(store->GetString("B", "n", text), 0);
    EXPECT_EQ(text + std::to_string(number), "untouched99");
    EXPECT_EQ(store->GetUint32("B", "n", number), 0);
    EXPECT_EQ(store->GetString("B", "s", text), 0);
    EXPECT_EQ(text + std::to_string(number), "7");
    std::vector<SettingEntry> settings;
    EXPECT_NE(store->GetInstanceSettings("A", settings), 0);
    ASSERT_EQ(store->GetInstanceSettings("B", settings), 0);
    ASSERT_EQ(settings.size(), 2u);
    EXPECT_TRUE(settings[0].name == "n" && settings[0].kind == SettingKind::Number && settings[0].number == 7);
    EXPECT_TRUE(settings[1].name == "s" && settings[1].kind == SettingKind::String);
    EXPECT_EQ(store->RemoveInstance("a"), 0);
    EXPECT_TRUE(store->IsInstanceExist("B"));
    EXPECT_FALSE(store->IsInstanceExist("b"));
    EXPECT_EQ(Names(*store), (Lines{"", "B"}));
}
INSTANTIATE_TEST_SUITE_P(Stores, StoreContract, ::testing::Bool(),
                         [](const auto& store) { return store.param ? "Registry" : "Memory"; });

using RegistryStore = DatabaseTest;

TEST_F(RegistryStore, TablesTakeTheFirstFreeIdAndKeepIt) {
    VexaRegistryDB store;
    for (const auto* name : {"A", "B", "C"})
        EXPECT_EQ(store.AddInstance(name), 0);
    EXPECT_EQ(store.SetString("B", "s", "x"), 0);
    EXPECT_EQ(store.RemoveInstance("A"), 0);
    EXPECT_EQ(store.RenameInstance("B", "D"), 0);
    EXPECT_EQ(store.AddInstance("E"), 0);
    EXPECT_EQ(store.SetUint32("", "global", 1), 0);
    EXPECT_EQ(Dump(),
              (Lines{"global=1", "0\\_kiv_name=\"E\"", "1\\_kiv_name=\"D\"", "1\\s=\"x\"", "2\\_kiv_name=\"C\""}));
    EXPECT_EQ(Names(store), (Lines{"", "E", "D", "C"}));
    EXPECT_NE(store.RemoveInstance(""), 0);
    EXPECT_NE(store.RenameInstance("", "X"), 0);
    EXPECT_NE(store.RenameInstance("C", ""), 0);
}

TEST_F(RegistryStore, OldTablesAreRepairedAtConstruction) {
    outside->CreateSubkey("0")->SetText("_kiv_name", "sound");
    outside->CreateSubkey("2")->SetNumber("type", 2);
    outside->CreateSubkey("Line 1")->SetNumber("type", 1);
    outside->CreateSubkey("Line 1")->CreateSubkey("extra");
    outside->CreateSubkey("old")->SetText("_kiv_name", "Line 2");
    VexaRegistryDB store;
    EXPECT_EQ(Dump(), (Lines{"0\\_kiv_name=\"sound\"", "1\\_kiv_name=\"Line 1\"", "1\\type=1", "2\\_kiv_name=\"2\"",
                             "2\\type=2", "3\\_kiv_name=\"Line 2\""}));
    EXPECT_TRUE(outside->OpenSubkey("1")->OpenSubkey("extra"));
    EXPECT_EQ(Logged(), (Lines{"Fixing old table 2 without name field", "Fixing old table Line 1 without name field",
                               "Fixing old table Line 1 using name as id", "Fixing old table old using name as id"}));
    EXPECT_EQ(Names(store), (Lines{"", "sound", "Line 1", "2", "Line 2"}));
    EXPECT_EQ(Logged(), Lines{});
}

TEST_F(RegistryStore, ChangesFromOutsideAreSeen) {
    VexaRegistryDB store;
    EXPECT_EQ(store.AddInstance("A"), 0);
    EXPECT_FALSE(store.IsInstanceExist("B"));
    outside->CreateSubkey("5")->SetText("_kiv_name", "B");
    EXPECT_TRUE(store.IsInstanceExist("B"));
    EXPECT_NE(store.AddInstance("B"), 0);
    outside->OpenSubkey("0")->SetText("_kiv_name", "A2");
    EXPECT_NE(store.SetUint32("A", "n", 1), 0);
    outside->CreateSubkey("7")->SetText("_kiv_name", "A2");
    EXPECT_EQ(store.SetUint32("A2", "n", 1), 0);  // of two tables with one name the first one counts
    EXPECT_EQ(Dump(), (Lines{"0\\_kiv_name=\"A2\"", "0\\n=1", "5\\_kiv_name=\"B\"", "7\\_kiv_name=\"A2\""}));
    outside->DeleteSubkey("7");
    outside->DeleteSubkey("5");
    EXPECT_FALSE(store.IsInstanceExist("B"));
    outside->CreateSubkey("1");
    EXPECT_EQ(store.AddInstance("C"), 0);  // takes "2"
    Logged();
    EXPECT_EQ(Names(store), (Lines{"", "A2", "1", "C"}));
    EXPECT_EQ(Names(store), (Lines{"", "A2", "1", "C"}));
    EXPECT_EQ(Logged(), (Lines{"Old table????", "Old table????"}));
    EXPECT_EQ(store.SetUint32("1", "n", 1), 0);
}

}  // namespace
