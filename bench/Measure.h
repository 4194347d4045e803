// Measuring on a machine that does other things too. What is to be compared is measured in turns, a block of calls
// each, for several rounds; the figure of a round is the median of its calls, and the result the median of the rounds.
// What disturbs one round then disturbs all that is compared in it, or is no median.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace bench {

using Samples = std::vector<double>;

/// The median, and the quartiles below and above it.
struct Spread {
    double low = 0;
    double median = 0;
    double high = 0;
};
Spread SpreadOf(Samples samples);

/// The sample that the given share (0 to 1) of the samples does not exceed.
double Quantile(Samples samples, double share);

/// Element by element.
Samples Ratios(const Samples& values, const Samples& limits);

/// How thorough a run is.
struct Effort {
    int rounds;
    int calls;  // of each operation in a round
};

struct Operation {
    std::string name;
    std::function<void()> run;
};

/// For each operation, in order, the median duration of every round in microseconds.
std::vector<Samples> MeasureInTurns(const std::vector<Operation>& operations, const Effort& effort);

/// The duration of one run in microseconds.
double Microseconds(const std::function<void()>& run);

/// Throws std::runtime_error, which ends the benchmark, unless `succeeded`: a failed call is no measurement.
void Require(bool succeeded, const std::string& what);

/// Tries until it succeeds, for two minutes at most.
void Await(const std::function<bool()>& condition, const std::string& what);

}  // namespace bench
