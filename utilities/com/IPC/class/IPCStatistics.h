// IPCStatistics: running figures of one duration of the measured round trips.
#pragma once

#include <cstdint>

/// A plain value; whoever shares one guards it. Samples and figures are seconds.
class IPCStatistics {
  public:
    /// Adds a sample (Welford's method: the mean and the deviation need no stored samples and do not drift).
    void Add(double sample);

    std::uint32_t Count() const { return count_; }
    double Last() const { return last_; }
    double Max() const { return max_; }
    double Min() const { return min_; }
    double Mean() const { return mean_; }
    /// Of the population, not of a sample of it.
    double StdDev() const { return stdDev_; }

  private:
    std::uint32_t count_ = 0;
    double last_ = 0;
    double max_ = 0;
    double min_ = 0;
    double mean_ = 0;
    double sumSquares_ = 0;
    double stdDev_ = 0;
};
