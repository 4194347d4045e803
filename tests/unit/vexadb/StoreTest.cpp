// The persistent store in the registry.
#include "utils/VexaDB/class/VexaRegistryDB.h"

#include "unit/vexadb/DatabaseTest.h"

using namespace VexaDB;

namespace {

using RegistryStore = DatabaseTest;

TEST_F(RegistryStore, TablesTakeTheFirstFreeIdAndKeepIt) {
    VexaRegistryDB store;
    for (const auto* name : {"A", "B", "C"})
        EXPECT_EQ(store.AddInstance(name), 0);
    EXPECT_EQ(store.RemoveInstance("A"), 0);
    EXPECT_EQ(store.RenameInstance("B", "D"), 0);
    EXPECT_EQ(store.AddInstance("E"), 0);
    EXPECT_EQ(Dump(), (Lines{"0\\_kiv_name=\"E\"", "1\\_kiv_name=\"D\"", "2\\_kiv_name=\"C\""}));
    EXPECT_NE(store.RemoveInstance("") * store.RenameInstance("", "X") * store.RenameInstance("C", ""), 0);
    EXPECT_EQ(Names(store), (Lines{"", "E", "D", "C"}));
}

TEST_F(RegistryStore, TablesOfAnOlderLayoutAreRepaired) {
    outside->CreateSubkey("5")->SetNumber("n", 1);
    outside->CreateSubkey("old")->SetText("_kiv_name", "named");
    VexaRegistryDB store;
    EXPECT_EQ(Logged(), (Lines{"Fixing old table 5 without name field", "Fixing old table old using name as id"}));
    EXPECT_EQ(Dump(), (Lines{"0\\_kiv_name=\"named\"", "5\\_kiv_name=\"5\"", "5\\n=1"}));
    EXPECT_EQ(store.RemoveInstance("named"), 0);
    EXPECT_EQ(Names(store), (Lines{"", "5"}));
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
    EXPECT_EQ(store.SetUint32("A2", "n", 1), 0);  // of two tables with the same name the first one counts
    EXPECT_EQ(Dump(), (Lines{"0\\_kiv_name=\"A2\"", "0\\n=1", "5\\_kiv_name=\"B\"", "7\\_kiv_name=\"A2\""}));
    EXPECT_EQ(store.RenameInstance("A2", "A3"), 0);
    EXPECT_NE(store.AddInstance("A2"), 0);  // the second table of this name still has it
    EXPECT_EQ(store.RenameInstance("A2", "A4"), 0);
    EXPECT_EQ(store.RenameInstance("A3", "A2"), 0);
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

    // The store's own writes do not hide a name that another process has given.
    outside->CreateSubkey("8")->SetText("_kiv_name", "D");
    EXPECT_EQ(store.SetUint32("", "n", 1), 0);
    EXPECT_NE(store.AddInstance("D"), 0);
    outside->OpenSubkey("8")->SetText("_kiv_name", "E");
    EXPECT_EQ(store.SetUint32("", "n", 1), 0);
    EXPECT_NE(store.RenameInstance("C", "E"), 0);
    EXPECT_EQ(store.RenameInstance("C", "D"), 0);
}

}  // namespace
