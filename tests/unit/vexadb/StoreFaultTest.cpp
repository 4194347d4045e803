// The persistent store when the registry refuses, when the process is killed between two writes, and how often it asks.
#include <functional>

#include "support/RegistryHost.h"
#include "unit/vexadb/DatabaseTest.h"
#include "utils/VexaDB/class/VexaDBOperation.h"
#include "utils/VexaDB/class/VexaRegistryDB.h"

using namespace VexaDB;

namespace {

using StoreFault = DatabaseTest;

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

}  // namespace
