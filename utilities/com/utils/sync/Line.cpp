#include "utils/sync/Line.h"

namespace kivsync {

Line::Place::Place(Line& line) : line_(line), number_(line.Draw()) {}

Line::Place::~Place() {
    {
        auto waiting = line_.waiting_.Lock();
        if (number_ == *waiting->places.begin())
            waiting->holder = {};
        waiting->places.erase(number_);
    }
    line_.waiting_.NotifyAll();
}

void Line::Place::AwaitTurn() {
    auto waiting = line_.waiting_.Lock();
    waiting.Wait([&] { return *waiting->places.begin() == number_; });
    waiting->holder = std::this_thread::get_id();
}

std::uint64_t Line::Draw() {
    auto waiting = waiting_.Lock();
    waiting->places.insert(waiting->next);
    return waiting->next++;
}

bool Line::IsHeldHere() {
    return waiting_.Lock()->holder == std::this_thread::get_id();
}

}  // namespace kivsync
