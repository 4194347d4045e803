#include "Measure.h"

#include <windows.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "utils/platform/Platform.h"

namespace bench {

namespace {

constexpr double kNanosecondsPerMicrosecond = 1000.0;
constexpr int kWarmUpCalls = 5;
constexpr ULONGLONG kPatienceMs = 120000;
constexpr DWORD kPollMs = 5;

}  // namespace

double Quantile(Samples samples, double share) {
    Require(!samples.empty(), "a figure has samples");
    std::sort(samples.begin(), samples.end());
    const auto index = std::ceil(share * static_cast<double>(samples.size())) - 1;
    return samples[static_cast<std::size_t>(std::max(index, 0.0))];
}

Spread SpreadOf(Samples samples) {
    return {Quantile(samples, 0.25), Quantile(samples, 0.5), Quantile(samples, 0.75)};
}

Samples Ratios(const Samples& values, const Samples& limits) {
    Samples ratios;
    std::transform(values.begin(), values.end(), limits.begin(), std::back_inserter(ratios),
                   [](double value, double limit) { return value / limit; });
    return ratios;
}

double Microseconds(const std::function<void()>& run) {
    const auto begin = platform::MonotonicNanoseconds();
    run();
    return static_cast<double>(platform::MonotonicNanoseconds() - begin) / kNanosecondsPerMicrosecond;
}

std::vector<Samples> MeasureInTurns(const std::vector<Operation>& operations, const Effort& effort) {
    std::vector<Samples> results(operations.size());
    for (int round = 0; round < effort.rounds; ++round) {
        for (std::size_t index = 0; index < operations.size(); ++index) {
            for (int call = 0; call < kWarmUpCalls; ++call)
                operations[index].run();
            Samples calls;
            for (int call = 0; call < effort.calls; ++call)
                calls.push_back(Microseconds(operations[index].run));
            results[index].push_back(SpreadOf(std::move(calls)).median);
        }
    }
    return results;
}

void Require(bool succeeded, const std::string& what) {
    if (!succeeded)
        throw std::runtime_error("failed: " + what);
}

void Await(const std::function<bool()>& condition, const std::string& what) {
    const auto deadline = GetTickCount64() + kPatienceMs;
    while (!condition()) {
        Require(GetTickCount64() < deadline, what);
        Sleep(kPollMs);
    }
}

}  // namespace bench
