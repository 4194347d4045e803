// Logging::EtwSink: sends entries to the system's event tracing, through a provider library that is installed
// separately.
#pragma once

#include <string>

#include "utils/logging/ISink.h"
#include "utils/platform/impl/win/Handle.h"
#include "utils/platform/impl/win/Module.h"

namespace Logging {

inline constexpr const wchar_t* kEtwProviderLibrary = L"EtwVexaProviderX64.dll";

/// Until Open has succeeded, entries are lost. A Verbose message is sent line by line; an unfinished line waits for its
/// rest, and an Error entry discards it.
class EtwSink : public ISink {
  public:
    EtwSink();

    void Write(const std::shared_ptr<LogEntry>& entry) override;
    /// Loads the provider library; -1 when it is missing or lacks an entry point.
    std::int32_t Open() override;
    std::int32_t Close() override;

  private:
    /// The provider's entry points take the process tag and the message, both zero-terminated.
    using EntryPoint = void(const char* processTag, const char* message);

    static void Send(EntryPoint* entryPoint, const std::string& message);
    void SendLines(const std::string& text);

    const UniqueHandle mutex_;  // exists as long as the sink does; no thread locks it
    Module provider_;
    EntryPoint* info_ = nullptr;
    EntryPoint* warning_ = nullptr;
    EntryPoint* message_ = nullptr;
    EntryPoint* error_ = nullptr;
    std::string lineBuffer_;
};

}  // namespace Logging
