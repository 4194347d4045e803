#include "IPC/transport/impl/win/ServerWinPipePool.h"

#include <algorithm>
#include <utility>

#include "IPC/transport/impl/win/PipeAccess.h"
#include "utils/logging/Logger.h"
#include "utils/platform/Deadline.h"

namespace {

constexpr std::uint32_t kRetryMs = 250;  // between two attempts to make an instance wait again

}  // namespace

ServerWinPipePool::ServerWinPipePool(std::string serverName, std::size_t count)
    : serverName_(std::move(serverName)),
      securityAttributes_(PipeAccess(serverName_)),
      interruptEvent_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
    while (instances_.size() < count)
        instances_.push_back(std::make_unique<ServerWinPipeInstance>(serverName_, securityAttributes_.Get()));
}

std::int32_t ServerWinPipePool::Init() {
    return interruptEvent_ && MakeReady() > 0 ? 0 : -1;
}

std::size_t ServerWinPipePool::MakeReady() {
    const auto isReady = [](const auto& instance) { return instance->MakeReady(); };
    const auto end = std::stable_partition(instances_.begin(), instances_.end(), isReady);
    return static_cast<std::size_t>(end - instances_.begin());
}

UniqueHandle ServerWinPipePool::Accept(std::uint32_t timeoutMs) {
    const platform::Deadline deadline(timeoutMs);
    for (;;) {
        const auto leftMs = deadline.LeftMs();
        const auto ready = MakeReady();
        const std::uint32_t waitMs = ready == instances_.size() ? leftMs : std::min(leftMs, kRetryMs);
        std::vector<HANDLE> events;
        for (std::size_t i = 0; i < ready; ++i)
            events.push_back(instances_[i]->GetWaitEvent());
        events.push_back(interruptEvent_.Get());  // last, since the wait returns the first signalled event
        const DWORD index = WaitForMultipleObjects(static_cast<DWORD>(events.size()), events.data(), FALSE, waitMs);
        if (index < ready) {
            // The wait returns the first signalled event: the other instances move forward, so that none is left out.
            const auto taken = instances_.begin() + static_cast<std::ptrdiff_t>(index);
            std::rotate(taken, taken + 1, instances_.end());
            if (auto pipe = instances_.back()->TakeConnection())
                return pipe;
        } else if (index == ready) {
            return {};
        } else if (index != WAIT_TIMEOUT || waitMs == leftMs) {
            KIV_LOG(Logging::Error, "Timeout in wait for client connect timeout:%d server:%s",
                    static_cast<int>(timeoutMs), serverName_.c_str());
            return {};
        }
    }
}
