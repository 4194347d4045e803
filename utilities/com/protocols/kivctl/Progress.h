// Progress: tells whoever watches a command what it waits for.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

#include "protocols/kivctl/Options.h"

namespace kivctl {

/// From a second after its construction on, shows "WHAT, 12 s of 50 s" on one line of the terminal, which is empty
/// again after its destruction. Shows nothing with --json, or when nobody watches.
class Progress {
  public:
    /// `limitMs`: how long it takes at most; 0 when nobody knows.
    Progress(const Options& options, std::string what, std::uint32_t limitMs);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

  private:
    void Show();

    const std::string what_;
    const std::uint32_t limitMs_;
    std::mutex lock_;  // of done_
    std::condition_variable changed_;
    bool done_ = false;
    std::thread thread_;
};

}  // namespace kivctl
