#include "utils/logging/Logger.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <utility>

#include "utils/logging/FileSink.h"
#include "utils/logging/LogSettings.h"
#include "utils/logging/SinkFactory.h"
#include "utils/platform/LastErrorKeeper.h"

namespace Logging {

namespace {

constexpr std::size_t kFormatBufferSize = 512;

std::shared_ptr<ISink> MakeSink(const LogSettings& settings) {
    if (settings.type == kConsoleType)
        return MakeConsoleSink();
    if (settings.type == kFileType)
        return std::make_shared<FileSink>(settings.File(), settings.UsesColor(), settings.Rotation());
    return MakeEventTracingSink();
}

template <typename List, typename Value>
bool Passes(const List& filter, const Value& value) {
    return filter.empty() || std::find(filter.begin(), filter.end(), value) != filter.end();
}

}  // namespace

/// The two locks are never held together.
struct Logger::State {
    std::mutex formatLock;  // guards formatBuffer until the entry has copied the text
    std::array<char, kFormatBufferSize> formatBuffer{};

    std::mutex lock;  // guards the rest, and lets one thread at a time write to the sink
    std::shared_ptr<ISink> sink;
    std::vector<std::uint32_t> enabledLevels;
    std::vector<std::string> moduleFilter;
    bool disabled = false;

    std::atomic<bool> active{false};  // there is a sink, and logging is not disabled; read first, without the lock

    /// Call it with `lock` held.
    void Update() { active = sink != nullptr && !disabled; }
};

Logger::Logger(std::shared_ptr<ISink> sink) : state_(std::make_shared<State>()) {
    SetSink(std::move(sink));
}

Logger::Logger() : state_(std::make_shared<State>()) {
    const auto settings = LogSettings::Read();
    const auto levels = settings.Levels();
    state_->sink = MakeSink(settings);
    if (state_->sink == nullptr)
        state_->enabledLevels = {Error};
    else if (levels)
        state_->enabledLevels = *levels;
    state_->Update();
    if (!levels)
        Log(Warning, __FILE__, __LINE__, KIV_FUNCTION_NAME, "Unknown %s %s, info is used", kLogLevelValue,
            settings.level->c_str());
}

void Logger::Log(std::uint32_t level, const char* file, std::uint32_t line, const char* function, const char* format,
                 ...) noexcept {
    if (!state_->active)
        return;
    const platform::LastErrorKeeper lastError;
    try {
        std::shared_ptr<LogEntry> entry;
        {
            const std::lock_guard guard(state_->formatLock);
            auto& buffer = state_->formatBuffer;
            std::va_list arguments;
            va_start(arguments, format);
            if (std::vsnprintf(buffer.data(), buffer.size(), format, arguments) < 0)
                buffer.front() = '\0';
            va_end(arguments);
            lastError.Restore();  // the entry must record the caller's last error
            entry = std::make_shared<LogEntry>(level, buffer.data(), file, line, function);
        }

        const std::lock_guard guard(state_->lock);
        if (!state_->active || !Passes(state_->moduleFilter, entry->ModulePath()) ||
            !Passes(state_->enabledLevels, level))
            return;
        state_->sink->Write(entry);
    } catch (...) {
        // A log call must not fail in its caller; the entry is lost.
    }
}

void Logger::SetSink(std::shared_ptr<ISink> sink) {
    const std::lock_guard guard(state_->lock);
    state_->sink.swap(sink);
    state_->Update();
}

void Logger::SetEnabledLevels(std::vector<std::uint32_t> levels) {
    const std::lock_guard guard(state_->lock);
    state_->enabledLevels = std::move(levels);
}

void Logger::SetModuleFilter(std::vector<std::string> modules) {
    const std::lock_guard guard(state_->lock);
    state_->moduleFilter = std::move(modules);
}

void Logger::SetDisabled(bool disabled) {
    const std::lock_guard guard(state_->lock);
    state_->disabled = disabled;
    state_->Update();
}

}  // namespace Logging
