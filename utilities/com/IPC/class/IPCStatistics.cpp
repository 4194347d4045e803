#include "IPC/class/IPCStatistics.h"

#include <cmath>
#include <mutex>

#include "IPC/class/IPC.h"
#include "utils/logging/Logger.h"

namespace {

constexpr double kMillisecondsPerSecond = 1000.0;
constexpr std::uint32_t kPrintInterval = 100;  // samples

struct RoundTripStatistics {
    IPCStatistics request;
    IPCStatistics reply;
    IPCStatistics total;
};

std::mutex statisticsLock;  // guards statistics; taken last, nothing else is taken under it
RoundTripStatistics statistics;

bool IsDue(const IPCStatistics& figures, bool force) {
    return figures.Count() != 0 && (force || figures.Count() % kPrintInterval == 0);
}

}  // namespace

void IPCStatistics::Add(double sample) {
    ++count_;
    last_ = sample;
    if (sample > max_ || count_ == 1)
        max_ = sample;
    if (sample < min_ || count_ == 1)
        min_ = sample;
    const double oldMean = mean_;
    mean_ = oldMean + (sample - oldMean) / count_;
    sumSquares_ += (sample - mean_) * (sample - oldMean);
    stdDev_ = std::sqrt(sumSquares_ / count_);
}

void IPC::CalculateStats(double request, double reply, double total, bool log) {
    if (log)
        KIV_LOG(Logging::Info, "IPC measurement : request %fms - reply %fms - total %fms",
                request * kMillisecondsPerSecond, reply * kMillisecondsPerSecond, total * kMillisecondsPerSecond);
    const std::scoped_lock guard(statisticsLock);
    statistics.request.Add(request);
    statistics.reply.Add(reply);
    statistics.total.Add(total);
}

void IPC::PrintStats(bool force) {
    RoundTripStatistics now;
    {
        const std::scoped_lock guard(statisticsLock);
        now = statistics;
    }
    const auto print = [force](const char* name, const IPCStatistics& figures) {
        if (IsDue(figures, force))
            KIV_LOG(Logging::Info, "%s : Cnt %u - Mean %fms - Min %fms - Max %fms - StdDev %fms", name, figures.Count(),
                    figures.Mean() * kMillisecondsPerSecond, figures.Min() * kMillisecondsPerSecond,
                    figures.Max() * kMillisecondsPerSecond, figures.StdDev() * kMillisecondsPerSecond);
    };
    print("Request", now.request);
    print("Reply  ", now.reply);
    print("Total  ", now.total);
}
