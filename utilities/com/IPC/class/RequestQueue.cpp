#include "IPC/class/RequestQueue.h"

#include <algorithm>
#include <utility>

#include "utils/sync/WaitAny.h"

std::shared_ptr<RequestQueue> RequestQueue::Make() {
    auto queue = std::make_shared<RequestQueue>();
    queue->closed_ = kivsync::Event::Make(kivsync::Reset::Manual, kivsync::Initially::Clear);
    queue->ready_ = kivsync::Event::Make(kivsync::Reset::Auto, kivsync::Initially::Clear);
    return queue->closed_ && queue->ready_ ? queue : nullptr;
}

bool RequestQueue::State::IsReady(const Lane& lane) const {
    const auto& first = lane.entries.front();
    return !lane.busy && (first.kind == Kind::Question || first.number == *changes.begin());
}

RequestQueue::Lane* RequestQueue::State::NextLane() {
    Lane* oldest = nullptr;
    for (auto& [connection, lane] : lanes) {
        if (IsReady(lane) && (oldest == nullptr || lane.entries.front().number < oldest->entries.front().number))
            oldest = &lane;
    }
    return oldest;
}

void RequestQueue::Push(const std::shared_ptr<IPC>& request, Kind kind) {
    bool wake = false;
    {
        auto state = state_.Lock();
        if (state->closed)
            return;
        const auto number = state->next++;
        if (kind == Kind::Change)
            state->changes.insert(number);
        state->lanes[request->Connection()].entries.push_back({request, number, kind});
        wake = state->waiting > 0;
    }
    // After the lock: the woken thread takes it at once.
    if (wake)
        ready_->Set();
}

std::shared_ptr<IPC> RequestQueue::Take() {
    for (bool announced = false;;) {
        std::shared_ptr<IPC> request;
        bool wakeAnother = false;
        {
            auto state = state_.Lock();
            state->waiting -= std::exchange(announced, false) ? 1 : 0;
            if (state->closed)
                return {};
            if (auto* const lane = state->NextLane()) {
                lane->busy = true;
                request = lane->entries.front().request;
                // Several pushes may have set the event once, and one Done may let two requests come.
                wakeAnother = state->waiting > 0 && state->NextLane() != nullptr;
            } else {
                announced = true;
                ++state->waiting;
            }
        }
        if (wakeAnother)
            ready_->Set();
        if (request)
            return request;
        kivsync::WaitAny({closed_.get(), ready_.get()}, kivsync::kInfinite);
    }
}

void RequestQueue::Done(const IPC& request) {
    auto state = state_.Lock();
    const auto found = state->lanes.find(request.Connection());
    if (found == state->lanes.end())
        return;  // closed meanwhile
    auto& lane = found->second;
    state->changes.erase(lane.entries.front().number);
    lane.entries.pop_front();
    lane.busy = false;
    if (lane.entries.empty())
        state->lanes.erase(found);
}

void RequestQueue::Close() {
    {
        auto state = state_.Lock();
        state->closed = true;
        state->lanes.clear();
        state->changes.clear();
    }
    closed_->Set();
}

bool RequestQueue::HasNothingOf(const std::weak_ptr<IPCServerClient>& connection) {
    return !state_.Lock()->lanes.contains(connection);
}

bool RequestQueue::WantsThread() {
    auto state = state_.Lock();
    const auto isReady = [&](const auto& entry) { return state->IsReady(entry.second); };
    const auto ready = std::count_if(state->lanes.begin(), state->lanes.end(), isReady);
    return static_cast<std::size_t>(ready) > state->waiting;
}
