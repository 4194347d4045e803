// Statistics of the measured round trips of this process.
#include <algorithm>
#include <array>
#include <cmath>

#include "IPC/class/IPC.h"
#include "utils/logging/Logger.h"
#include "utils/sync/Guarded.h"

namespace {

constexpr double kMillisecondsPerSecond = 1000.0;
constexpr std::uint32_t kPrintInterval = 100;  // samples

/// Statistics of one of the durations of a round trip. All values are in seconds.
struct IPCStatistics {
    std::uint32_t count = 0;
    double max = 0;
    double min = 0;
    double mean = 0;
    double sumSquares = 0;
    double stdDev = 0;  // population standard deviation

    /// Welford's method: mean and deviation need no stored samples, and rounding errors do not add up.
    void Add(double sample) {
        ++count;
        max = count == 1 ? sample : std::max(max, sample);
        min = count == 1 ? sample : std::min(min, sample);
        const double oldMean = mean;
        mean = oldMean + (sample - oldMean) / count;
        sumSquares += (sample - mean) * (sample - oldMean);
        stdDev = std::sqrt(sumSquares / count);
    }
};

constexpr std::array kTitles{"Request", "Reply  ", "Total  "};

kivsync::Guarded<std::array<IPCStatistics, kTitles.size()>> statistics;  // one per title; its lock is taken last

}  // namespace

void IPC::CalculateStats(double request, double reply, double total, bool log) {
    if (log)
        KIV_LOG(Logging::Info, "IPC measurement : request %fms - reply %fms - total %fms",
                request * kMillisecondsPerSecond, reply * kMillisecondsPerSecond, total * kMillisecondsPerSecond);
    auto figures = statistics.Lock();
    for (std::size_t i = 0; const auto sample : {request, reply, total})
        (*figures)[i++].Add(sample);
}

void IPC::PrintStats(bool force) {
    const auto now = *statistics.Lock();
    for (std::size_t i = 0; const auto& [count, max, min, mean, sumSquares, stdDev] : now) {
        const auto* const title = kTitles[i++];
        if (count != 0 && (force || count % kPrintInterval == 0))
            KIV_LOG(Logging::Info, "%s : Cnt %u - Mean %fms - Min %fms - Max %fms - StdDev %fms", title, count,
                    mean * kMillisecondsPerSecond, min * kMillisecondsPerSecond, max * kMillisecondsPerSecond,
                    stdDev * kMillisecondsPerSecond);
    }
}
