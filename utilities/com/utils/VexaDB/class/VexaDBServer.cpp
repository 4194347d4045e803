#include "utils/VexaDB/class/VexaDBServer.h"

#include <utility>

#include "utils/VexaDB/class/VexaMemoryDB.h"
#include "utils/VexaDB/class/VexaRegistryDB.h"
#include "utils/logging/Logger.h"

namespace VexaDB {

namespace {

kivsync::Guarded<std::weak_ptr<VexaDBServer>>& TheServer() {
    static kivsync::Guarded<std::weak_ptr<VexaDBServer>> server;
    return server;
}

}  // namespace

std::shared_ptr<VexaDBServer> VexaDBServer::GetInstance() {
    auto held = TheServer().Lock();
    auto server = held->lock();
    if (!server)
        *held = server = std::make_shared<VexaDBServer>();
    return server;
}

std::shared_ptr<VexaDBServer> VexaDBServer::GetExisting() {
    return TheServer().Lock()->lock();
}

VexaDBServer::VexaDBServer() : database_({std::make_shared<VexaRegistryDB>(), {}}), ipc_(*this) {
    sessions_.Lock()->open[kServiceSession];
}

void VexaDBServer::Start() {
    database_.Lock()->store->AddObserver(shared_from_this());
    static_cast<void>(ipc_.Start());
}

void VexaDBServer::Stop() {
    ipc_.Stop();
    database_.Lock()->store->RemoveObserver(shared_from_this());
}

template <class Body>
std::int32_t VexaDBServer::Write(SessionId session, Body change) {
    if (commits_.IsHeldHere()) {
        KIV_LOG(Logging::Error, "An observer may not change the settings database while it is told of a change");
        return -1;
    }
    Notices notices;
    Observers observers;
    std::optional<kivsync::Line::Place> place;  // drawn with the locks held, so the line has the order of the commits
    const auto result = WithSession(session, [&](Session& record) {
        auto database = database_.Lock();
        const auto status = change(record, database->store);
        notices = std::exchange(*notices_.Lock(), {});
        observers = database->observers;
        if (!notices.list.empty())
            place.emplace(commits_);
        return status;
    });
    if (!place)
        return result;
    place->AwaitTurn();
    for (const auto& notice : notices.list) {
        for (const auto& observer : observers)
            notice(*observer);
    }
    place.reset();
    for (const auto& observer : observers) {
        if (notices.mustFollow)
            observer->Follow();
    }
    return result;
}

std::int32_t VexaDBServer::CloseSession(SessionId session) {
    if (session == kServiceSession)
        return Reset(session);
    if (sessions_.Lock()->open.erase(session) != 0)
        return 0;
    KIV_LOG(Logging::Error, "Invalid Session");
    return -1;
}

std::int32_t VexaDBServer::Batch(SessionId session) {
    return WithSession(session, [&](Session& record) {
        record = Session{std::make_shared<VexaMemoryDB>(database_.Lock()->store), {}};
        return 0;
    });
}

std::int32_t VexaDBServer::Commit(SessionId session) {
    return Write(session, [&](Session& record, const auto& store) {
        const auto batch = std::exchange(record, Session{});
        const auto& operations = batch.batchOperations;
        const auto failed = std::find_if(operations.begin(), operations.end(),
                                         [&](const auto& operation) { return operation->Execute(store) != 0; });
        if (failed != operations.end())
            KIV_LOG(Logging::Error, "Commit of session %llu ended at its change %d of %d, the rest is dropped",
                    static_cast<unsigned long long>(session), static_cast<int>(failed - operations.begin()) + 1,
                    static_cast<int>(operations.size()));
        return 0;
    });
}

std::int32_t VexaDBServer::Change(SessionId session,
                                  const std::shared_ptr<const Operation::VexaDBOperation>& operation) {
    return Write(session, [&](Session& record, const auto& store) {
        if (!record.batchStore)
            return operation->Execute(store);
        record.batchOperations.push_back(operation);
        return operation->Execute(record.batchStore);
    });
}

}  // namespace VexaDB
