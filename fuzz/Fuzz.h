// What the fuzz targets have in common.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdlib>
#include <memory>

#include "protocols/KivProtocolManager/class/IServiceHost.h"
#include "utils/logging/ISink.h"
#include "utils/logging/Logger.h"

inline constexpr std::uint32_t kPatienceMs = 20000;  // for what must come whatever the input

/// What no input may break; the fuzzer keeps an input that ends the process.
inline void Require(bool holds) {
    if (!holds)
        std::abort();
}

/// Lets every log line be formatted, and drops it.
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
