// kivsync::Line: a fair lock. Threads draw places in a line, and get the lock in the order of these places.
//
//     kivsync::Line::Place place(line);  // may be done under another lock, which then decides the order
//     place.AwaitTurn();
//     ...                                // holds the lock until `place` is destroyed
#pragma once

#include <cstdint>
#include <set>
#include <thread>

#include "utils/sync/Guarded.h"

namespace kivsync {

/// Any thread. Not recursive: a thread that holds the lock and awaits another turn waits for ever, so ask IsHeldHere.
class Line {
  public:
    /// The constructor draws the place, the destructor gives it up, also before its turn came. Used by one thread.
    class Place {
      public:
        explicit Place(Line& line);
        ~Place();
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;

        /// Returns when every place that was drawn before this one has been given up.
        void AwaitTurn();

      private:
        Line& line_;
        const std::uint64_t number_;
    };

    /// Whether the calling thread holds the lock.
    bool IsHeldHere();

  private:
    struct Waiting {
        std::set<std::uint64_t> places;  // it is the turn of the first one
        std::uint64_t next = 0;
        std::thread::id holder;  // the thread that holds the lock
    };

    std::uint64_t Draw();

    Guarded<Waiting> waiting_;
};

/// Holds the lock for a scope: draws a place and awaits its turn.
class Turn {
  public:
    explicit Turn(Line& line) : place_(line) { place_.AwaitTurn(); }

  private:
    Line::Place place_;
};

}  // namespace kivsync
