// InstanceTable: the manager's instances, with a note on each whose removal or rename in the settings database the
// manager has still to follow.
#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "protocols/KivProtocolManager/class/Protocol.h"
#include "utils/sync/Guarded.h"

/// Owned by the manager. Any thread may read the table and note what the database did; a thread that changes the table
/// has the turn in the line of changes. No two instances in the table ever have the same name.
class InstanceTable {
  public:
    using InstancePtr = std::shared_ptr<CProtocol>;
    /// An instance and its new name.
    using Renaming = std::pair<InstancePtr, std::string>;

    /// A removal or rename of an instance in the database. The database does not undo it when the instance is in use,
    /// so the note stays until the manager can follow it.
    struct Note {
        std::string name;      // the instance's name in the database; after a removal, the last one there
        bool removed = false;  // true: removed; false: renamed
        bool tried = false;    // an attempt to follow the note has failed

        bool operator==(const Note&) const = default;
    };

    /// The instance of exactly that name; empty when there is none.
    InstancePtr Find(const std::string& name);
    /// All instances, in the order of their addition.
    std::vector<InstancePtr> All();
    /// Whether an instance other than `except` has the name or is to get it.
    bool IsTaken(const std::string& name, const InstancePtr& except = {});
    /// Whether the process is the running child of an instance with another name.
    bool IsOwnedByAnother(std::uint64_t processId, const std::string& name);

    /// With `isToStart`, the service's start also starts this instance, if that start is still in progress.
    void Add(const InstancePtr& instance, bool isToStart);
    void Remove(const InstancePtr& instance);
    /// Renames all of them in one step. A note that asked for the new name is deleted.
    void Rename(const std::vector<Renaming>& renamings);
    /// Whether the instance is in the table and the table is not closed.
    bool MayStart(const InstancePtr& instance);
    /// From now on no instance may start.
    void Close() { state_.Lock()->closed = true; }
    void Clear();

    // Called from the database's notices, in the order of its commits.
    /// Notes the removal with the instance that has the name, and takes the name off those to come.
    void NoteRemoved(const std::string& name);
    /// True when the instance is still to come: its name there is changed, and the manager has nothing left to follow.
    bool NoteRenamed(const std::string& oldName, const std::string& newName);

    /// The instances with a note: all, or only those whose note nobody has tried to follow.
    enum class Which { Untried, All };
    std::vector<InstancePtr> Noted(Which which);
    std::optional<Note> NoteOf(const InstancePtr& instance);
    /// The instance with a note that has the name or is to get it, and whether that note is a removal; empty when there
    /// is none.
    std::pair<InstancePtr, bool> FindNoted(const std::string& name);
    /// Marks the note as tried, unless the instance has another note by now.
    void SetTried(const InstancePtr& instance, const Note& note);
    /// For a removed instance whose name the database has again: the note becomes a rename to that name, and is deleted
    /// when the instance has that name already.
    void TakeRemovalBack(const InstancePtr& instance);

    // The names to come: the database's instances that the starting service has not taken up yet.
    void SetNamesToCome(const std::vector<std::string>& names);
    /// The first name to come, which stays in the list; nothing when the list is empty and the start is over.
    std::optional<std::string> NextToCome();
    /// Moves the instance from the names to come to the table; false when its name is not the first to come any more.
    bool TakeUp(const InstancePtr& instance);
    /// Removes the instance from the table. Its name in the database, if it still has one, becomes the first to come.
    void GiveBack(const InstancePtr& instance);

  private:
    struct Entry {
        InstancePtr instance;
        std::optional<Note> note = std::nullopt;

        /// Whether the instance has this name in the database.
        bool IsKnownAs(const std::string& name) const {
            return note ? !note->removed && note->name == name : instance->Name() == name;
        }
    };
    struct State {
        std::vector<Entry> entries;
        std::deque<std::string> toCome;
        bool starting = false;
        bool closed = false;

        template <class Condition>
        Entry* FindIf(Condition condition) {
            const auto found = std::ranges::find_if(entries, condition);
            return found == entries.end() ? nullptr : &*found;
        }
        Entry* Find(const InstancePtr& instance) {
            return FindIf([&](const Entry& entry) { return entry.instance == instance; });
        }
    };
    static InstancePtr InstanceOf(const Entry* entry) { return entry == nullptr ? nullptr : entry->instance; }

    kivsync::Guarded<State> state_;  // taken before the instances' own locks; never held during a wait
};
