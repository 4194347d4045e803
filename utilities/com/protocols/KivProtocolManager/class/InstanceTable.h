// InstanceTable: the manager's instances, and what the settings database has told of them that is still to be followed.
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

/// Owned by the manager. Any thread asks and notes; whoever changes the table has the turn in the line of changes. No
/// two instances of it ever have one name.
class InstanceTable {
  public:
    using InstancePtr = std::shared_ptr<CProtocol>;
    /// An instance and the name it is to get.
    using Renaming = std::pair<InstancePtr, std::string>;

    /// What the database did with an instance. A removal or rename of an instance in use is not undone there, so the
    /// note stays until it can be followed.
    struct Note {
        std::string name;      // the instance's in the database; of a removed one the last it had there
        bool removed = false;  // else it was renamed
        bool tried = false;    // to follow it, in vain

        bool operator==(const Note&) const = default;
    };

    /// The instance of exactly that name; empty when there is none.
    InstancePtr Find(const std::string& name);
    /// In the order in which they came.
    std::vector<InstancePtr> All();
    /// An instance other than `except` has the name, or is to get it.
    bool IsTaken(const std::string& name, const InstancePtr& except = {});
    /// The process is the child of an instance other than the one of that name.
    bool IsOwnedByAnother(std::uint64_t processId, const std::string& name);

    /// One that `isToStart` is started with the others if the service itself is still starting.
    void Add(const InstancePtr& instance, bool isToStart);
    void Remove(const InstancePtr& instance);
    /// Gives all of them their new names in one step. A note that asked for that is done with.
    void Rename(const std::vector<Renaming>& renamings);
    /// The instance is in the table, and the table is not closed.
    bool MayStart(const InstancePtr& instance);
    /// Nothing is started any more.
    void Close() { state_.Lock()->closed = true; }
    void Clear();

    // From the database's notices, in the order of its commits.
    void NoteRemoved(const std::string& name);
    /// True when the instance is still to come: then nothing is left to follow.
    bool NoteRenamed(const std::string& oldName, const std::string& newName);

    /// The instances with a note: those that nobody has tried to follow, or all.
    enum class Which { Untried, All };
    std::vector<InstancePtr> Noted(Which which);
    std::optional<Note> NoteOf(const InstancePtr& instance);
    /// The instance that has a note, and has the name or is to get it, and whether it was removed; empty when there is
    /// none.
    std::pair<InstancePtr, bool> FindNoted(const std::string& name);
    /// Not if the database has told something else since.
    void SetTried(const InstancePtr& instance, const Note& note);
    /// The database has the removed instance's name again.
    void TakeRemovalBack(const InstancePtr& instance);

    // The names of the database's instances that the starting service has not taken up yet.
    void SetNamesToCome(const std::vector<std::string>& names);
    /// The next of them, which stays the next one; nothing when there is none, and the service's start is over.
    std::optional<std::string> NextToCome();
    /// The next name's instance comes into the table; false when that is not its name any more.
    bool TakeUp(const InstancePtr& instance);
    /// The instance leaves the table, and its name in the database, if it has one, is the next one to come.
    void GiveBack(const InstancePtr& instance);

  private:
    struct Entry {
        InstancePtr instance;
        std::optional<Note> note = std::nullopt;

        /// The name is the instance's in the database.
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

    kivsync::Guarded<State> state_;  // before the instances' own locks; never held while anything is waited for
};
