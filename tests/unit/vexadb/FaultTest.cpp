// The settings database on a registry that fails or stores a changed text.
#include "support/Doubles.h"
#include "unit/vexadb/DatabaseTest.h"
#include "utils/VexaDB/class/VexaDBSession.h"
#include "utils/VexaDB/class/VexaRegistryDB.h"

using namespace VexaDB;

namespace {

class RegistryFaults : public DatabaseTest {
  protected:
    ~RegistryFaults() override { RegistryHost::Reset(); }
    static constexpr unsigned kReadsOfAnyOperation = 20;
};

TEST_F(RegistryFaults, ANameThatTheCodePageCannotCarryIsRefusedBeforeAnythingIsWritten) {
    const auto server = std::make_shared<VexaDBServer>();
    SessionId inBatch = 0;
    server->AddInstance(kServiceSession, "A", kModbus);
    server->OpenSession(inBatch);
    server->Batch(inBatch);
    const auto before = Dump();
    RegistryHost::Inject({.lostCharacters = "\xFC"});
    for (const auto session : {kServiceSession, inBatch}) {
        EXPECT_NE(server->AddInstance(session, "M\xFCller", kModbus), 0);
        EXPECT_NE(server->RenameInstance(session, "A", "M\xFCller"), 0);
    }
    EXPECT_EQ(Dump(), before);
    EXPECT_EQ(log->Count("Instance name M\xFCller is refused"), 4u);

    outside->CreateSubkey("x\xFC");  // cannot be opened by the name under which it is listed
    EXPECT_EQ(server->AddInstance(kServiceSession, "B", kModbus), 0);
    EXPECT_TRUE(log->Contains("Cannot read table x of the settings database"));
}

TEST_F(RegistryFaults, ANameStaysTakenWhicheverReadFails) {
    outside->CreateSubkey("5")->SetText("_kiv_name", "B");
    for (unsigned reads = 0; reads < kReadsOfAnyOperation; ++reads) {
        RegistryHost::Inject({.reads = reads});
        VexaRegistryDB store;
        EXPECT_NE(store.AddInstance("B"), 0) << reads;
        RegistryHost::Inject({});
        EXPECT_EQ(store.SetUint32("", "n", 1), 0);
        EXPECT_NE(store.AddInstance("B"), 0) << reads;
    }
    EXPECT_EQ(Dump(), (Lines{"n=1", "5\\_kiv_name=\"B\""}));
}

TEST_F(RegistryFaults, WhatCannotBeReadIsNotWrittenOverAndNotTakenForMissing) {
    const auto server = std::make_shared<VexaDBServer>();
    VexaDBSession session(server);
    session.AddInstance("A", kModbus);
    const auto before = Dump();
    for (unsigned reads = 0; reads < kReadsOfAnyOperation; ++reads) {
        RegistryHost::Inject({.reads = reads});
        EXPECT_NE(session.SetUint32("A", "protocol", 1), 0) << reads;
        RegistryHost::Inject({.reads = reads});
        EXPECT_EQ(session.ReadNumber("A", "type").value_or(kModbus), kModbus) << reads;
        RegistryHost::Inject({.reads = reads});
        EXPECT_EQ(session.ReadText("A", "protocol").value_or("ModbusProtocol"), "ModbusProtocol") << reads;
    }
    EXPECT_EQ(session.SetUint32("A", "type", kModbus), 0);  // now the store must read its tables again
    RegistryHost::Inject({.reads = 0});
    EXPECT_FALSE(session.ReadNumber("A", "type") || session.ReadNumber("", "n") || session.ReadText("gone", "s"));
    RegistryHost::Inject({});
    EXPECT_EQ(Dump(), before);
    EXPECT_EQ(session.ReadNumber("A", "protocol"), 0u) << "a text is no number";
    EXPECT_EQ(session.ReadNumber("", "n"), 0u);
    EXPECT_EQ(session.ReadText("gone", "s"), "");
}

}  // namespace
