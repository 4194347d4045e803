// The helpers that the fuzz targets share.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdlib>
#include <memory>

#include "protocols/KivProtocolManager/class/IServiceHost.h"
#include "utils/logging/ISink.h"
#include "utils/logging/Logger.h"

inline constexpr std::uint32_t kPatienceMs = 20000;  // the wait for a result that must come for every input

/// Checks what must hold for every input: the fuzzer keeps an input that ends the process.
inline void Require(bool holds) {
    if (!holds)
        std::abort();
}

/// Drops every log line after it was formatted.
class DroppingSink : public Logging::ISink {
  public:
    void Write(const std::shared_ptr<Logging::LogEntry>&) override {}
    std::int32_t Open() override { return 0; }
    std::int32_t Close() override { return 0; }

    static void Install() {
        Logging::Logger::GetInstance()->SetEnabledLevels({});
        Logging::Logger::GetInstance()->SetSink(std::make_shared<DroppingSink>());
    }
};

/// A console that shows nothing.
class QuietHost : public IServiceHost {
  public:
    bool InServiceMode() const override { return false; }
    void SetState(ServiceState) override {}
    void SignalReady() override {}
    void ResetReady() override {}
    void PrintMessage(const std::wstring&) override {}
};
