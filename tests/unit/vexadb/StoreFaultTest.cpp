// The persistent store when the registry refuses, when the process is killed between two writes, and how often it asks.
#include <functional>

#include "support/RegistryHost.h"
#include "unit/vexadb/DatabaseTest.h"
#include "utils/VexaDB/class/VexaDBOperation.h"
#include "utils/VexaDB/class/VexaRegistryDB.h"

using namespace VexaDB;

namespace {

using StoreFault = DatabaseTest;

TEST_F(StoreFault, AProcessKilledAtAnyWriteLeavesTheInstanceAsItWasOrAsItBecame) {
    const std::pair<std::function<std::int32_t(VexaRegistryDB&)>, Lines> changes[] = {
        {[](auto& store) { return store.RenameInstance("A", "B"); }, {"", "B", "Z"}},
        {[](auto& store) { return store.RemoveInstance("A"); }, {"", "Z"}},
        {[](auto& store) { return store.AddInstance("B"); }, {"", "A", "Z", "B"}},
    };
    for (const auto& [change, after] : changes) {
        bool done = false;
        for (unsigned writes = 0; !done; ++writes) {
            SCOPED_TRACE("towards " + after[1] + ", killed after writes: " + std::to_string(writes));
            Clear();
            VexaRegistryDB store;
            ASSERT_EQ(store.AddInstance("A"), 0);
            ASSERT_EQ(store.SetString("A", "s", "kept"), 0);
            ASSERT_EQ(store.AddInstance("Z"), 0);
            RegistryHost::AllowWrites(writes);
            done = change(store) == 0;
            RegistryHost::AllowWrites(RegistryHost::kUnlimited);
            VexaRegistryDB restarted;
            auto names = Names(restarted);
            if (!done && names.back() == "2")
                names.pop_back();  // the table an add had begun, which nobody was told of
            EXPECT_EQ(names, done ? after : (Lines{"", "A", "Z"}));
            std::string text;
            if (names[1] != "Z") {
                EXPECT_EQ(restarted.GetString(names[1], "s", text), 0);
                EXPECT_EQ(text, "kept");
            }
            ASSERT_LT(writes, 10u);
        }
    }
}

TEST_F(StoreFault, AnAddCutShortHarmsNobodyAndCanBeMadeAgain) {
    bool done = false;
    for (unsigned writes = 0; !done; ++writes) {
        SCOPED_TRACE("killed after writes: " + std::to_string(writes));
        Clear();
        const auto store = std::make_shared<VexaRegistryDB>();
        ASSERT_EQ(Operation::AddInstance("A", kSampleProtocol).Execute(store), 0);
        RegistryHost::AllowWrites(writes);
        done = Operation::AddInstance("B", 3).Execute(store) == 0;
        RegistryHost::AllowWrites(RegistryHost::kUnlimited);
        const auto restarted = std::make_shared<VexaRegistryDB>();
        std::string protocol;
        EXPECT_EQ(restarted->GetString("A", "protocol", protocol), 0);
        EXPECT_EQ(protocol, "sampleprotocol");
        EXPECT_EQ(restarted->RemoveInstance("B") == 0, writes > 1) << "from its name on, it is an instance";
        EXPECT_EQ(Operation::AddInstance("B", 3).Execute(restarted), 0);
        EXPECT_EQ(restarted->GetString("B", "protocol", protocol), 0);
        EXPECT_EQ(protocol, "EIPProtocol");
        ASSERT_LT(writes, 20u);
    }
}

TEST_F(StoreFault, ARepairCutShortIsCompletedByTheNextStart) {
    for (unsigned writes = 0; writes < 5; ++writes) {
        Clear();
        outside->CreateSubkey("Line 1")->SetNumber("type", 1);
        outside->CreateSubkey("Line 2")->SetNumber("type", 2);
        RegistryHost::AllowWrites(writes);
        VexaRegistryDB killed;
        RegistryHost::AllowWrites(RegistryHost::kUnlimited);
        VexaRegistryDB restarted;
        EXPECT_EQ(Dump(), (Lines{"0\\_kiv_name=\"Line 1\"", "0\\type=1", "1\\_kiv_name=\"Line 2\"", "1\\type=2"}));
    }
}

TEST_F(StoreFault, ASettingCostsTheSameHoweverManyInstancesThereAre) {
    const auto store = std::make_shared<VexaRegistryDB>();
    std::uint32_t number = 0;
    const auto costs = [&](const std::string& newInstance) {
        Names(*store);
        const auto before = RegistryHost::Calls();
        EXPECT_EQ(Operation::AddInstance(newInstance, kSampleProtocol).Execute(store), 0);
        EXPECT_EQ(store->SetUint32(newInstance, "owner", 1), 0);
        EXPECT_EQ(store->GetUint32(newInstance, "owner", number), 0);
        return RegistryHost::Calls() - before;
    };
    const auto alone = costs("alone");
    for (int i = 0; i < 200; ++i)
        ASSERT_EQ(store->AddInstance("Instance " + std::to_string(i)), 0);
    EXPECT_EQ(costs("one of many"), alone);
}

}  // namespace
