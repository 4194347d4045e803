#include "protocols/kivctl/Progress.h"

#include <chrono>
#include <utility>

#include "protocols/kivctl/Console.h"

namespace kivctl {

Progress::Progress(const Options& options, std::string what, std::uint32_t limitMs)
    : what_(std::move(what)), limitMs_(limitMs) {
    if (!options.json && HasWatcher())
        thread_ = std::thread([this] { Show(); });
}

Progress::~Progress() {
    if (!thread_.joinable())
        return;
    {
        const std::lock_guard guard(lock_);
        done_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void Progress::Show() {
    constexpr std::chrono::seconds step(1);
    constexpr std::uint32_t msPerSecond = 1'000;
    std::unique_lock guard(lock_);
    for (auto passed = step; !changed_.wait_for(guard, step, [this] { return done_; }); passed += step)
        ShowProgress(what_ + ", " + std::to_string(passed.count()) + " s" +
                     (limitMs_ == 0 ? "" : " of " + std::to_string(limitMs_ / msPerSecond) + " s"));
    ShowProgress("");
}

}  // namespace kivctl
