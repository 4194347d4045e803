// The changes of CProtocolManager: it adds, removes, renames, starts and stops instances, on a client's command or
// because the settings database has changed. The line of changes lets only one change happen at a time.

#include <algorithm>
#include <list>

#include "protocols/KivProtocolManager/class/ProtocolManager.h"
#include "protocols/KivProtocolManager/class/SettingsRules.h"
#include "protocols/control/ControlMessages.h"
#include "utils/logging/Logger.h"

using Change = CProtocol::Change;
using Which = InstanceTable::Which;

std::int32_t CProtocolManager::AddProtocol(const std::string& name, std::uint32_t type) {
    const kivsync::Turn turn(changes_);
    if (name.empty() || table_.IsTaken(name))
        return kManagerFailure;
    const bool isInDatabase = db_->IsInstanceExist(name);
    if (!isInDatabase && db_->AddInstance(name, type) != 0) {
        KIV_LOG(Logging::Error, "Cannot add instance %s", name.c_str());
        return kManagerFailure;
    }
    table_.Add(MakeInstance(name), isInDatabase);
    AddProtocolNotify(name);
    KIV_LOG(Logging::Warning, "Add instance %s", name.c_str());
    return 0;
}

std::int32_t CProtocolManager::StartProtocol(const std::string& name) {
    const kivsync::Turn turn(changes_);
    FollowNoteOf(name);
    const auto instance = GetProtocol(name);
    return instance ? StartProtocol(instance) : kManagerFailure;
}

std::int32_t CProtocolManager::StartProtocol(const InstancePtr& instance) {
    if (!table_.MayStart(instance))
        return kManagerFailure;
    Change change(*instance);
    const auto name = instance->Name();
    SetPortOwner(*db_, *instance);
    if (instance->IsRunning()) {
        KIV_LOG(Logging::Warning, "Protocol %s is already running", name.c_str());
        return 0;
    }
    KIV_LOG(Logging::Warning, "Start protocol %s", name.c_str());
    if (instance->Start(CProtocol::kDefaultStartTimeout) != 0) {
        KIV_LOG(Logging::Error, "Cannot start protocol %s", name.c_str());
        return kManagerFailure;
    }
    KIV_LOG(Logging::Warning, "Protocol %s status is %d ", name.c_str(), static_cast<int>(instance->GetStatus()));
    if (!instance->IsRunning() || !instance->IsConnected()) {
        KIV_LOG(Logging::Error, "Started protocol %s stalled", name.c_str());
        return kManagerFailure;
    }
    // People search their logs for this text.
    KIV_LOG(Logging::Info, "int32_t CProtocolManager::StartProtocol(std::shared_ptr<CProtocol> Protocol)");
    instance->GetClientCount();
    KIV_LOG(Logging::Warning, "Started protocol %s", name.c_str());
    change.Settle();
    if (StartProtocolNotify(name) == 0)
        return 0;
    KIV_LOG(Logging::Error, "Start Protocol %s Notify failure", name.c_str());
    return kManagerFailure;
}

std::int32_t CProtocolManager::StopProtocol(const std::string& name) {
    KIV_LOG(Logging::Warning, "Stop protocol %s", name.c_str());
    const kivsync::Turn turn(changes_);
    const auto [noted, isRemoved] = table_.FindNoted(name);
    if (noted && FollowNote(noted) == 0 && isRemoved && !table_.Find(name))
        return 0;  // stopped, and dropped because the database has removed it
    const auto instance = GetProtocol(name);
    if (!instance)
        return kManagerFailure;
    Change change(*instance);
    if (!instance->IsRunning()) {
        instance->SetStopped();  // it may be meant to run: from now on the monitor leaves it alone
        return 0;
    }
    if (instance->GetUse() == CProtocol::Use::Others) {
        KIV_LOG(Logging::Error, "Cannot stop %s because it is still in use!", name.c_str());
        return kManagerInUse;
    }
    if (instance->Stop() != 0) {
        KIV_LOG(Logging::Error, "Cannot stop protocol %s", name.c_str());
        return kManagerFailure;
    }
    KIV_LOG(Logging::Warning, "Stopped protocol %s", name.c_str());
    change.Settle();
    StopProtocolNotify(name);
    return 0;
}

std::int32_t CProtocolManager::RestartProtocol(const std::string& name) {
    KIV_LOG(Logging::Warning, "Restart protocol %s", name.c_str());
    const kivsync::Turn turn(changes_);
    FollowNoteOf(name);
    const auto instance = GetProtocol(name);
    if (!instance)
        return kManagerFailure;
    Change change(*instance);
    if (instance->GetUse() == CProtocol::Use::Others) {
        KIV_LOG(Logging::Error, "Cannot restart %s because it is still in use!", name.c_str());
        return kManagerInUse;
    }
    if (instance->IsRunning()) {
        KIV_LOG(Logging::Warning, "Stop protocol %s", name.c_str());
        if (const auto stopped = instance->Stop(); stopped != 0) {
            KIV_LOG(Logging::Error, "Cannot stop protocol %s", name.c_str());
            return stopped;
        }
        change.Settle();
        StopProtocolNotify(name);
    }
    if (!table_.MayStart(instance))
        return kManagerFailure;
    SetPortOwner(*db_, *instance);
    if (const auto started = instance->Start(CProtocol::kDefaultStartTimeout); started != 0) {
        KIV_LOG(Logging::Error, "Cannot start protocol %s", name.c_str());
        return started;
    }
    change.Settle();
    StartProtocolNotify(name);
    KIV_LOG(Logging::Warning, "Restarted protocol %s", name.c_str());
    return 0;
}

std::int32_t CProtocolManager::ProcessRemoveProtocol(const std::string& name) {
    const kivsync::Turn turn(changes_);
    const auto [noted, isRemoved] = table_.FindNoted(name);
    if (noted && !isRemoved)
        FollowNote(noted);
    const auto instance = GetProtocol(name);
    if (!instance)
        return kManagerUnknownInstance;
    const Change change(*instance);
    KIV_LOG(Logging::Warning, "Remove instance %s client:%d", name.c_str(),
            static_cast<int>(instance->GetClientCount()));
    auto result = kManagerInUse;
    if (instance->GetUse() == CProtocol::Use::Others) {
        KIV_LOG(Logging::Error, "Cannot remove %s because it is still in use!", name.c_str());
    } else if (isRemoved && noted == instance) {
        result = RemoveProtocol(instance);  // the database has removed it already
    } else {
        // The database's notice of the removal leaves a note; FollowNotes then removes the instance from the table.
        result = db_->RemoveInstance(name);
        FollowNotes(Which::Untried);
    }
    KIV_LOG(Logging::Warning, "Removed instance %s", name.c_str());
    return result;
}

/// Stops and drops an instance that the database no longer has. One in use keeps running and stays in the table.
std::int32_t CProtocolManager::RemoveProtocol(const InstancePtr& instance) {
    const Change change(*instance);
    const auto name = instance->Name();
    if (instance->GetUse() == CProtocol::Use::Others)
        return kManagerInUse;
    if (instance->Stop() != 0) {
        KIV_LOG(Logging::Error, "Cannot stop protocol %s", name.c_str());
        return kManagerFailure;
    }
    table_.Remove(instance);
    return RemoveProtocolNotify(name);
}

std::int32_t CProtocolManager::RenameProtocol(const std::string& oldName, const std::string& newName) {
    const kivsync::Turn turn(changes_);
    FollowNoteOf(oldName);
    const auto instance = GetProtocol(oldName);
    if (!instance || !MayGetName(instance, newName))
        return kManagerFailure;
    return RenameProtocols({{instance, newName}});
}

/// Two instances of one name would end each other's children. Nobody could tell a child that served under the name of
/// one of the manager's own servers from that server.
bool CProtocolManager::MayGetName(const InstancePtr& instance, const std::string& name) {
    if (!name.empty() && !IsReservedName(name) && !table_.IsTaken(name, instance))
        return true;
    KIV_LOG_AS("CProtocolManager::RenameProtocol", Logging::Error, "Cannot rename instance %s to %s: %s",
               instance->Name().c_str(), name.c_str(),
               name.empty()           ? "an instance needs a name"
               : IsReservedName(name) ? "the manager itself serves under this name"
                                      : "another instance has this name");
    return false;
}

/// Renames one instance, or in one step several that wait for each other's names.
std::int32_t CProtocolManager::RenameProtocols(const std::vector<InstanceTable::Renaming>& renamings) {
    constexpr const char* kFunction = "CProtocolManager::RenameProtocol";
    std::list<Change> changes;
    std::vector<std::string> oldNames;
    std::vector<InstancePtr> running;
    const auto startAgain = [&](const InstancePtr& instance) {
        if (std::find(running.begin(), running.end(), instance) == running.end() || instance->IsRunning())
            return;
        if (!table_.MayStart(instance) || instance->Start(CProtocol::kDefaultStartTimeout) != 0)
            KIV_LOG_AS(kFunction, Logging::Error, "Cannot start protocol %s", instance->Name().c_str());
    };
    for (const auto& [instance, newName] : renamings) {
        changes.emplace_back(*instance);
        oldNames.push_back(instance->Name());
        KIV_LOG_AS(kFunction, Logging::Warning, "Rename instance %s to %s", oldNames.back().c_str(), newName.c_str());
        if (instance->IsRunning())
            running.push_back(instance);
        if (instance->GetUse() == CProtocol::Use::Others)
            return kManagerInUse;
    }
    for (const auto& instance : running) {
        if (instance->Stop() == 0)
            continue;
        KIV_LOG_AS(kFunction, Logging::Error, "Cannot stop protocol %s", instance->Name().c_str());
        std::for_each(running.begin(), running.end(), startAgain);
        return kManagerFailure;
    }
    table_.Rename(renamings);
    for (auto& change : changes)
        change.Settle();
    for (std::size_t i = 0; i < renamings.size(); ++i)
        RenameProtocolNotify(oldNames[i], renamings[i].second);
    for (std::size_t i = 0; i < renamings.size(); ++i) {
        startAgain(renamings[i].first);
        KIV_LOG_AS(kFunction, Logging::Warning, "Renamed instance %s to %s", oldNames[i].c_str(),
                   renamings[i].second.c_str());
    }
    return 0;
}

void CProtocolManager::Follow() {
    if (changes_.IsHeldHere())
        return;  // one of the manager's own changes, which follows the notes itself
    const kivsync::Turn turn(changes_);
    FollowNotes(Which::Untried);
}

void CProtocolManager::FollowNotes(Which which) {
    for (const auto& instance : table_.Noted(which))
        FollowNote(instance);
}

void CProtocolManager::FollowNoteOf(const std::string& name) {
    if (const auto [instance, isRemoved] = table_.FindNoted(name); instance)
        FollowNote(instance);
}

/// The first attempt follows the note unless the instance is known to be in use. Every later attempt waits until the
/// instance is certainly free: a child that does not answer may be in use.
std::int32_t CProtocolManager::FollowNote(const InstancePtr& instance) {
    const auto note = table_.NoteOf(instance);
    if (!note)
        return 0;
    std::int32_t result = kManagerInUse;
    if (!note->tried || instance->GetUse() == CProtocol::Use::Free)
        result = note->removed ? FollowRemoval(instance, *note) : FollowRename(instance);
    if (result != 0)
        table_.SetTried(instance, *note);
    return result;
}

std::int32_t CProtocolManager::FollowRemoval(const InstancePtr& instance, const InstanceTable::Note& note) {
    const auto isThereAgain = db_->ReadExists(note.name);
    if (!isThereAgain)
        return kManagerFailure;
    if (!*isThereAgain || table_.IsTaken(note.name, instance))
        return RemoveProtocol(instance);
    table_.TakeRemovalBack(instance);
    return FollowNote(instance);
}

/// The new name may still belong to another instance, which itself waits for its removal or for its own new name.
std::int32_t CProtocolManager::FollowRename(const InstancePtr& instance) {
    std::vector<InstanceTable::Renaming> path;
    auto holder = instance;
    auto note = table_.NoteOf(instance);
    const bool tried = note && note->tried;
    while (note && !note->removed) {
        if (holder != instance && note->tried && holder->GetUse() != CProtocol::Use::Free)
            return kManagerInUse;
        path.emplace_back(holder, note->name);
        holder = table_.Find(note->name);
        if (holder == instance)
            return RenameProtocols(path);
        // Notices that arrive meanwhile may turn the path into a circle. Their thread follows them after this change.
        if (std::any_of(path.begin(), path.end(), [&](const auto& step) { return step.first == holder; }))
            return kManagerInUse;
        note = table_.NoteOf(holder);
    }
    if (note && FollowNote(holder) != 0)
        return kManagerInUse;
    for (auto last = path.rbegin(); last != path.rend(); ++last) {
        // MayGetName logs its refusal. Only the first attempt does that.
        if ((tried && table_.IsTaken(last->second, last->first)) || !MayGetName(last->first, last->second))
            return kManagerFailure;
        if (const auto result = RenameProtocols({*last}); result != 0)
            return result;
    }
    return 0;
}
