// The database server: sessions, batches, what its observers hear, and the settings that the process takes from it.
#include "support/Observer.h"
#include "unit/vexadb/DatabaseTest.h"
#include "utils/class/GlobalSettings.h"

using namespace VexaDB;

namespace {

class DatabaseServer : public DatabaseTest {
  protected:
    ~DatabaseServer() override { server->Stop(); }
    std::uint32_t Number(SessionId session, const std::string& instance, const std::string& setting) {
        std::uint32_t value = kMissing;
        server->GetUint32(session, instance, setting, value);
        return value;
    }
    std::string Text(SessionId session, const std::string& instance, const std::string& setting) {
        std::string value = "none";
        server->GetString(session, instance, setting, value);
        return value;
    }
    static constexpr std::uint32_t kMissing = 0xDEAD;
    const std::shared_ptr<VexaDBServer> server = std::make_shared<VexaDBServer>();
};

TEST_F(DatabaseServer, AnAddedInstanceHasItsSettings) {
    EXPECT_EQ(server->AddInstance(0, "Line 1", kSampleProtocol), 0);
    const Lines stored{
        R"(0\_kiv_name="Line 1")",        R"(0\emultype="none")", R"(0\enabled=1)", R"(0\hardware=0)", R"(0\owner=0)",
        R"(0\protocol="sampleprotocol")", R"(0\type=7)"};
    EXPECT_NE(server->AddInstance(0, "Line 1", kModbus), 0);
    EXPECT_NE(server->AddInstance(0, "", kModbus), 0);
    EXPECT_NE(server->AddInstance(0, "Line 2", 8), 0);
    EXPECT_EQ(Dump(), stored);
    EXPECT_EQ(server->SetUint32(0, "Line 1", "owner", 0xFFFFFFFF), 0);
    EXPECT_EQ(server->SetString(0, "text", "x"), 0);
    EXPECT_EQ(server->RenameInstance(0, "Line 1", "Line 2"), 0);
    EXPECT_EQ(server->RemoveInstance(0, "Line 2"), 0);
    EXPECT_EQ(Dump(), Lines{"text=\"x\""});
    for (const auto& entry : log->All())
        EXPECT_EQ(entry->Level(), Logging::Notice);
    EXPECT_EQ(Logged(), (Lines{"VexaDB Add instance Line 1", "VexaDB SetUin32 instance Line 1 setting:owner value:-1",
                               "VexaDB SetString instance  setting:text value:x",
                               "VexaDB Rename instance Line 1 to Line 2", "VexaDB Remove instance Line 2"}));
}

TEST_F(DatabaseServer, ABatchDoesWhatTheDatabaseDoesForItsSessionOnlyUntilCommitted) {
    SessionId session = 0;
    server->OpenSession(session);
    server->SetUint32(0, "global", 1);
    EXPECT_EQ(server->Batch(session), 0);
    const auto use = [&](SessionId in) {
        EXPECT_EQ(server->AddInstance(in, "A", kModbus), 0);
        EXPECT_EQ(server->AddInstance(in, "a", kModbus), 0);  // another name: letter case matters
        EXPECT_NE(server->AddInstance(in, "A", kModbus), 0);
        EXPECT_EQ(server->SetUint32(in, "global", 2), 0);
        EXPECT_NE(server->SetString(in, "A", "type", "a number's text"), 0);
        EXPECT_NE(server->SetUint32(in, "A", "protocol", 1), 0);
        EXPECT_NE(server->SetUint32(in, "B", "n", 1), 0);
        EXPECT_NE(server->SetString(in, "A", "_KIV_name", "B"), 0);
        EXPECT_EQ(server->SetString(in, "_kiv_name", "the database's"), 0);
        EXPECT_NE(server->RenameInstance(in, "A", "a"), 0);
        EXPECT_NE(server->RenameInstance(in, "B", "C"), 0);
        EXPECT_EQ(server->RenameInstance(in, "A", "B"), 0);
        EXPECT_NE(server->RemoveInstance(in, "A"), 0);
        EXPECT_EQ(server->RemoveInstance(in, "a"), 0);
        EXPECT_EQ(Number(in, "B", "protocol"), kMissing);
        EXPECT_EQ(Text(in, "B", "_kiv_NAME") + Text(in, "a", "_kiv_name") + Text(in, "", "_kiv_name"),
                  "Bnonethe database's");
        EXPECT_EQ(Number(in, "B", "type"), kModbus);
        Lines names;
        EXPECT_EQ(server->GetInstances(in, names), 0);
        EXPECT_EQ(names, Lines{"B"});
    };
    use(session);
    EXPECT_EQ(Dump(), Lines{"global=1"});
    EXPECT_EQ(server->Reset(session), 0);
    EXPECT_EQ(server->Commit(session), 0);
    EXPECT_EQ(Dump(), Lines{"global=1"});
    use(0);

    // A change outside a batch is not part of a commit.
    EXPECT_EQ(server->SetUint32(session, "global", 1), 0);
    EXPECT_EQ(server->SetUint32(0, "global", 2), 0);
    EXPECT_EQ(server->Commit(session), 0);

    // Closing the service's session only resets it.
    EXPECT_EQ(server->Batch(kServiceSession), 0);
    EXPECT_EQ(server->RemoveInstance(kServiceSession, "B"), 0);
    EXPECT_EQ(server->CloseSession(kServiceSession), 0);
    EXPECT_EQ(server->Commit(kServiceSession), 0);
    EXPECT_TRUE(server->IsInstanceExist(kServiceSession, "B"));

    // A second Batch drops the recorded changes. A change that fails ends the commit, which returns 0 even so.
    EXPECT_EQ(server->Batch(session), 0);
    EXPECT_EQ(server->SetUint32(session, "dropped", 1), 0);
    EXPECT_EQ(server->Batch(session), 0);
    EXPECT_EQ(server->SetUint32(session, "first", 1), 0);
    EXPECT_EQ(server->RemoveInstance(session, "B"), 0);
    EXPECT_EQ(server->SetUint32(session, "never", 1), 0);
    EXPECT_EQ(server->RemoveInstance(0, "B"), 0);
    EXPECT_EQ(server->Commit(session), 0);
    EXPECT_EQ(Dump(), (Lines{"_kiv_name=\"the database's\"", "first=1", "global=2"}));
    EXPECT_TRUE(log->Contains("Commit of session 1 ended at its change 2 of 3, the rest is dropped"));
}

TEST_F(DatabaseServer, ObserversHearOfEveryCommittedChangeInOrder) {
    Lines heard, heardBySecond;
    const auto into = [](Lines& lines) {
        return std::make_shared<Observer>([&lines](const auto& change) {
            if (change != "follow")
                lines.push_back(change);
        });
    };
    const auto first = into(heard), second = into(heardBySecond);
    server->AddObserver(first);
    server->AddObserver(second);
    server->Start();
    EXPECT_EQ(server->Batch(0), 0);
    EXPECT_EQ(server->AddInstance(0, "A", kModbus), 0);
    EXPECT_EQ(server->RenameInstance(0, "A", "B"), 0);
    EXPECT_EQ(heard, Lines{});
    EXPECT_EQ(server->Commit(0), 0);
    Lines changes{"A.enabled 0>1",
                  "A.hardware 0>0",
                  "A.owner 0>0",
                  "A.emultype >none",
                  "type A 2",
                  "A.type 0>2",
                  "A.protocol >ModbusProtocol",
                  "renamed A B"};
    EXPECT_EQ(heard, changes);
    server->RemoveObserver(first);
    EXPECT_EQ(server->SetUint32(0, "global", 3), 0);
    EXPECT_EQ(server->RemoveInstance(0, "B"), 0);
    server->Stop();
    EXPECT_EQ(server->AddInstance(0, "C", kModbus), 0);
    EXPECT_EQ(heard, changes);
    changes.push_back("removed B");
    EXPECT_EQ(heardBySecond, changes);

    server->AddObserver(std::make_shared<Observer>([](const std::string& change) {
        if (change == "renamed C D")
            throw std::bad_alloc();
    }));
    server->Start();
    EXPECT_THROW(server->RenameInstance(0, "C", "D"), std::bad_alloc);
    EXPECT_EQ(server->RemoveInstance(0, "D"), 0) << "does not wait for a turn that never ends";
}

TEST_F(DatabaseServer, EverySettingOfTheProcessHasItsKey) {
    constexpr std::uint32_t kFirst = 101;
    const struct {
        const char *key, *title;
        std::uint32_t GlobalSettings::*field;
    } settings[] = {{"ipctimeout", "IPC timeout", &GlobalSettings::ipcTimeout},
                    {"vexadbipctimeout", "VExa DB IPC timeout", &GlobalSettings::vexaDbIpcTimeout},
                    {"cclinkipctimeout", "CCLink IPC timeout", &GlobalSettings::cclinkIpcTimeout},
                    {"eipipctimeout", "Ethernet/IP IPC timeout", &GlobalSettings::eipIpcTimeout},
                    {"modbusipctimeout", "Modbus IPC timeout", &GlobalSettings::modbusIpcTimeout},
                    {"profinetipctimeout", "Profinet IPC timeout", &GlobalSettings::profinetIpcTimeout},
                    {"managerclientipctimeout", "Manager IPC timeout", &GlobalSettings::managerClientIpcTimeout},
                    {"starttimeout", "Start timeout", &GlobalSettings::startTimeout},
                    {"stoptimeout", "Stop timeout", &GlobalSettings::stopTimeout},
                    {"monitorwaittime", "Monitoring wait time", &GlobalSettings::monitorWaitTime}};
    const auto own = VexaDBServer::GetInstance();
    auto value = kFirst;
    for (const auto& setting : settings)
        EXPECT_EQ(own->SetUint32(0, setting.key, value++), 0);
    EXPECT_EQ(own->SetUint32(0, "ipcmeasurelog", 1) + own->SetUint32(0, "ipcstatenabled", 0), 0);
    GlobalSettings::LoadSettings();
    value = kFirst;
    for (const auto& setting : settings) {
        EXPECT_TRUE(log->Contains("General " + std::string(setting.title) + " set to " + std::to_string(value)));
        EXPECT_EQ(GlobalSettings::Get().*setting.field, value++) << setting.key;
    }
    EXPECT_TRUE(GlobalSettings::Get().ipcMeasureLog && !GlobalSettings::Get().ipcStatEnabled);
    EXPECT_EQ(own->SetUint32(0, "ipcmeasurelog", 0) + own->SetUint32(0, "ipcstatenabled", 2), 0);
    GlobalSettings::LoadSettings();
    EXPECT_TRUE(!GlobalSettings::Get().ipcMeasureLog && GlobalSettings::Get().ipcStatEnabled);
    GlobalSettings::Set({});
}

}  // namespace
