#include "protocols/KivProtocolManager/class/InstanceTable.h"

InstanceTable::InstancePtr InstanceTable::Find(const std::string& name) {
    return InstanceOf(state_.Lock()->FindIf([&](const Entry& entry) { return entry.instance->Name() == name; }));
}

std::vector<InstanceTable::InstancePtr> InstanceTable::All() {
    auto state = state_.Lock();
    std::vector<InstancePtr> all;
    for (const auto& entry : state->entries)
        all.push_back(entry.instance);
    return all;
}

bool InstanceTable::IsTaken(const std::string& name, const InstancePtr& except) {
    return state_.Lock()->FindIf([&](const Entry& entry) {
        return entry.instance != except && (entry.IsKnownAs(name) || entry.instance->Name() == name);
    }) != nullptr;
}

bool InstanceTable::IsOwnedByAnother(std::uint64_t processId, const std::string& name) {
    return state_.Lock()->FindIf([&](const Entry& entry) {
        return entry.instance->Name() != name && entry.instance->IsRunning() &&
               entry.instance->ProcessId() == processId;
    }) != nullptr;
}

void InstanceTable::Add(const InstancePtr& instance, bool isToStart) {
    auto state = state_.Lock();
    state->entries.push_back({instance});
    if (const auto name = instance->Name(); isToStart && state->starting && !std::ranges::count(state->toCome, name))
        state->toCome.push_back(name);
}

void InstanceTable::Remove(const InstancePtr& instance) {
    std::erase_if(state_.Lock()->entries, [&](const Entry& entry) { return entry.instance == instance; });
}

void InstanceTable::Rename(const std::vector<Renaming>& renamings) {
    std::vector<std::shared_ptr<Process>> before;  // destroyed after the lock is released
    auto state = state_.Lock();
    for (const auto& [instance, name] : renamings) {
        before.push_back(instance->SetName(name));
        if (auto* const entry = state->Find(instance); entry != nullptr && entry->IsKnownAs(name))
            entry->note.reset();
    }
}

bool InstanceTable::MayStart(const InstancePtr& instance) {
    auto state = state_.Lock();
    return !state->closed && state->Find(instance) != nullptr;
}

void InstanceTable::Clear() {
    std::vector<Entry> entries;  // destroyed after the lock is released
    auto state = state_.Lock();
    entries.swap(state->entries);
    state->toCome.clear();
}

void InstanceTable::NoteRemoved(const std::string& name) {
    auto state = state_.Lock();
    std::erase(state->toCome, name);
    if (auto* const entry = state->FindIf([&](const Entry& one) { return one.IsKnownAs(name); }))
        entry->note = Note{name, true};
}

bool InstanceTable::NoteRenamed(const std::string& oldName, const std::string& newName) {
    auto state = state_.Lock();
    const auto next = std::ranges::find(state->toCome, oldName);
    const bool isToCome = next != state->toCome.end();
    if (isToCome)
        *next = newName;
    auto* const entry = state->FindIf([&](const Entry& one) { return one.IsKnownAs(oldName); });
    if (entry == nullptr)
        return isToCome;
    entry->note.reset();
    if (entry->instance->Name() != newName)
        entry->note = Note{newName};
    return false;
}

std::vector<InstanceTable::InstancePtr> InstanceTable::Noted(Which which) {
    auto state = state_.Lock();
    std::vector<InstancePtr> noted;
    for (const auto& entry : state->entries) {
        if (entry.note && (which == Which::All || !entry.note->tried))
            noted.push_back(entry.instance);
    }
    return noted;
}

std::optional<InstanceTable::Note> InstanceTable::NoteOf(const InstancePtr& instance) {
    auto state = state_.Lock();
    const auto* const entry = state->Find(instance);
    return entry != nullptr ? entry->note : std::nullopt;
}

std::pair<InstanceTable::InstancePtr, bool> InstanceTable::FindNoted(const std::string& name) {
    auto state = state_.Lock();
    const auto* const entry = state->FindIf(
        [&](const Entry& one) { return one.note && (one.note->name == name || one.instance->Name() == name); });
    return {InstanceOf(entry), entry != nullptr && entry->note->removed};
}

void InstanceTable::SetTried(const InstancePtr& instance, const Note& note) {
    auto state = state_.Lock();
    if (auto* const entry = state->Find(instance); entry != nullptr && entry->note == note)
        entry->note->tried = true;
}

void InstanceTable::TakeRemovalBack(const InstancePtr& instance) {
    auto state = state_.Lock();
    auto* const entry = state->Find(instance);
    if (entry == nullptr || !entry->note)
        return;
    entry->note->removed = false;
    if (entry->note->name == instance->Name())
        entry->note.reset();
}

void InstanceTable::SetNamesToCome(const std::vector<std::string>& names) {
    auto state = state_.Lock();
    state->toCome.assign(names.begin(), names.end());
    state->starting = true;
}

std::optional<std::string> InstanceTable::NextToCome() {
    auto state = state_.Lock();
    state->starting = !state->toCome.empty();
    return state->starting ? std::optional(state->toCome.front()) : std::nullopt;
}

bool InstanceTable::TakeUp(const InstancePtr& instance) {
    auto state = state_.Lock();
    if (state->toCome.empty() || state->toCome.front() != instance->Name())
        return false;
    state->toCome.pop_front();
    if (state->Find(instance) == nullptr)
        state->entries.push_back({instance});
    return true;
}

void InstanceTable::GiveBack(const InstancePtr& instance) {
    auto state = state_.Lock();
    const auto* const entry = state->Find(instance);
    if (entry == nullptr)
        return;
    if (!entry->note || !entry->note->removed)
        state->toCome.push_front(entry->note ? entry->note->name : instance->Name());
    std::erase_if(state->entries, [&](const Entry& one) { return one.instance == instance; });
}
