// A log sink that keeps its entries, so that tests can check them.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <string_view>

#include "utils/logging/Logger.h"

/// Any thread.
class CaptureSink : public Logging::ISink {
    static auto Holds(std::string_view text) {
        return [text](const auto& entry) { return entry->Message().find(text) != std::string::npos; };
    }

  public:
    void Write(const std::shared_ptr<Logging::LogEntry>& entry) override {
        const std::lock_guard guard(lock_);
        entries_.push_back(entry);
        changed_.notify_all();
    }
    std::int32_t Open() override { return 0; }
    std::int32_t Close() override { return 0; }

    std::vector<std::shared_ptr<Logging::LogEntry>> All() const {
        const std::lock_guard guard(lock_);
        return entries_;
    }
    std::vector<std::string> Messages() const {
        std::vector<std::string> messages;
        for (const auto& entry : All())
            messages.push_back(entry->Message());
        return messages;
    }
    /// How many messages contain the text.
    std::size_t Count(std::string_view text) const {
        const std::lock_guard guard(lock_);
        return static_cast<std::size_t>(std::count_if(entries_.begin(), entries_.end(), Holds(text)));
    }
    bool Contains(std::string_view text) const { return Count(text) != 0; }
    /// Waits until a message contains the text; false when none does within `timeoutMs`.
    bool WaitFor(std::string_view text, unsigned timeoutMs) {
        std::unique_lock guard(lock_);
        std::size_t seen = 0;  // each entry is checked once only: a test may log thousands
        return changed_.wait_for(guard, std::chrono::milliseconds(timeoutMs), [&] {
            const auto from = static_cast<std::ptrdiff_t>(std::min(seen, entries_.size()));
            seen = entries_.size();
            return std::any_of(entries_.begin() + from, entries_.end(), Holds(text));
        });
    }
    void Clear() {
        const std::lock_guard guard(lock_);
        entries_.clear();
    }

  private:
    mutable std::recursive_mutex lock_;
    std::condition_variable_any changed_;
    std::vector<std::shared_ptr<Logging::LogEntry>> entries_;
};

/// Captures everything that the process logs, at every level, while this object lives; afterwards nothing is logged.
class LogCapture {
  public:
    LogCapture() {
        Logging::Logger::GetInstance()->SetEnabledLevels({});
        Logging::Logger::GetInstance()->SetSink(sink_);
    }
    ~LogCapture() { Logging::Logger::GetInstance()->SetSink(nullptr); }
    LogCapture(const LogCapture&) = delete;
    CaptureSink* operator->() const { return sink_.get(); }

  private:
    const std::shared_ptr<CaptureSink> sink_ = std::make_shared<CaptureSink>();
};
