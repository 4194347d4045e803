#include "IPC/transport/impl/win/ServerWinPipePool.h"

#include <algorithm>
#include <utility>

#include "IPC/transport/impl/win/PipeAccess.h"
#include "utils/logging/Logger.h"
#include "utils/platform/Deadline.h"

namespace {

constexpr std::uint32_t kRetryMs = 250;  // between two attempts to make a lost instance wait again

}  // namespace

ServerWinPipePool::ServerWinPipePool(std::string serverName, std::size_t count)
    : serverName_(std::move(serverName)),
      securityAttributes_(PipeAccess(serverName_)),
      interruptEvent_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
    while (instances_.size() < count)
        instances_.push_back(std::make_unique<ServerWinPipeInstance>(serverName_, securityAttributes_.Get()));
}

std::int32_t ServerWinPipePool::Init() {
    MakeAllReady();
    return interruptEvent_ && !ready_.empty() ? 0 : -1;
}

bool ServerWinPipePool::MakeAllReady() {
    ready_.clear();
    for (const auto& instance : instances_) {
        if (instance->MakeReady())
            ready_.push_back(instance.get());
    }
    return ready_.size() == instances_.size();
}

UniqueHandle ServerWinPipePool::Accept(std::uint32_t timeoutMs) {
    const platform::Deadline deadline(timeoutMs);
    for (;;) {
        const auto leftMs = deadline.LeftMs();
        const std::uint32_t waitMs = MakeAllReady() ? leftMs : std::min(leftMs, kRetryMs);
        std::vector<HANDLE> events;
        for (const auto* instance : ready_)
            events.push_back(instance->GetWaitEvent());
        events.push_back(interruptEvent_.Get());  // last: of several signalled events the wait returns the first
        const DWORD index = WaitForMultipleObjects(static_cast<DWORD>(events.size()), events.data(), FALSE, waitMs);
        if (index < ready_.size()) {
            if (auto pipe = TakeConnection(*ready_[index]))
                return pipe;
        } else if (index == ready_.size()) {
            return {};
        } else if (index != WAIT_TIMEOUT || waitMs == leftMs) {
            KIV_LOG(Logging::Error, "Timeout in wait for client connect timeout:%d server:%s",
                    static_cast<int>(timeoutMs), serverName_.c_str());
            return {};
        }
    }
}

UniqueHandle ServerWinPipePool::TakeConnection(const ServerWinPipeInstance& instance) {
    // The wait prefers the first of several: the next one is another's turn, so that no client is left waiting.
    const auto taken = std::find_if(instances_.begin(), instances_.end(),
                                    [&](const auto& candidate) { return candidate.get() == &instance; });
    std::rotate(taken, taken + 1, instances_.end());
    return instances_.back()->TakeConnection();
}

void ServerWinPipePool::Interrupt() {
    SetEvent(interruptEvent_.Get());
}
