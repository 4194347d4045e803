#include "IPC/class/RequestQueue.h"

#include <algorithm>

bool RequestQueue::State::IsReady(const Lane& lane) const {
    const auto number = lane.entries.front().number;
    return !lane.busy && (!changes.contains(number) || number == *changes.begin());
}

RequestQueue::Lane* RequestQueue::State::NextLane() {
    Lane* oldest = nullptr;
    for (auto& [connection, lane] : lanes) {
        if (IsReady(lane) && (oldest == nullptr || lane.entries.front().number < oldest->entries.front().number))
            oldest = &lane;
    }
    return oldest;
}

void RequestQueue::Push(const std::shared_ptr<IPC>& request, bool isChange) {
    {
        auto state = state_.Lock();
        if (state->closed)
            return;
        const auto number = state->next++;
        if (isChange)
            state->changes.insert(number);
        state->lanes[request->Connection()].entries.push_back({request, number});
    }
    state_.NotifyOne();  // without the lock, since the woken thread takes it at once
}

std::shared_ptr<IPC> RequestQueue::Take() {
    auto state = state_.Lock();
    Lane* lane = nullptr;
    ++state->waiting;
    state.Wait([&] { return state->closed || (lane = state->NextLane()) != nullptr; });
    --state->waiting;
    if (state->closed)
        return {};
    lane->busy = true;
    auto request = lane->entries.front().request;
    // One Done may make two requests ready, and wakes no thread itself: wake one for the second request.
    if (state->waiting > 0 && state->NextLane() != nullptr)
        state_.NotifyOne();
    return request;
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
    auto state = state_.Lock();
    state->closed = true;
    state->lanes.clear();
    state->changes.clear();
    state_.NotifyAll();
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
