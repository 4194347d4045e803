// kivsync::Line: a fair lock. Those who want it stand in line, and have their turn in the order in which they came.
//
//     kivsync::Line::Place place(line);  // drawn here, perhaps with another lock held that decides the order
//     place.AwaitTurn();
//     ...                                // nobody else is here until `place` goes
#pragma once

#include <cstdint>
#include <set>
#include <thread>

#include "utils/sync/Guarded.h"

namespace kivsync {

/// Any thread. Not recursive: a thread that has the turn and awaits another one waits for ever, so ask IsHeldHere.
class Line {
  public:
    /// Drawn by its construction and left by its destruction, also before its turn came. Used by one thread.
    class Place {
      public:
        explicit Place(Line& line);
        ~Place();
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;

        /// Returns when every place drawn before this one was left.
        void AwaitTurn();

      private:
        Line& line_;
        const std::uint64_t number_;
    };

    /// The calling thread has the turn.
    bool IsHeldHere();

  private:
    struct Waiting {
        std::set<std::uint64_t> places;  // the first one has the turn
        std::uint64_t next = 0;
        std::thread::id holder;  // whoever awaited the turn of the first place
    };

    std::uint64_t Draw();

    Guarded<Waiting> waiting_;
};

/// A place in the line whose turn has come: the lock itself, for a scope.
class Turn {
  public:
    explicit Turn(Line& line) : place_(line) { place_.AwaitTurn(); }

  private:
    Line::Place place_;
};

}  // namespace kivsync
