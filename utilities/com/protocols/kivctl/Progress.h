// Progress: shows on the terminal what a command waits for.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

#include "protocols/kivctl/Options.h"

namespace kivctl {

/// Shows "WHAT, 12 s of 50 s" on one line of the terminal, from a second after its construction until its destruction,
/// which clears the line. Shows nothing with --json, or when the standard error output is not a terminal.
class Progress {
  public:
    /// `limitMs` is how long the wait may last, 0 when that is unknown.
    Progress(const Options& options, std::string what, std::uint32_t limitMs);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

  private:
    void Show();

    const std::string what_;
    const std::uint32_t limitMs_;
    std::mutex lock_;  // guards done_
    std::condition_variable changed_;
    bool done_ = false;
    std::thread thread_;
};

}  // namespace kivctl
