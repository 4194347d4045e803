// Measuring on a machine that also does other work. Operations that are to be compared run in turns, for several
// rounds. The figure of a round is the median of its calls, and the result is the median of the rounds. So a
// disturbance either affects all operations of a round alike, or does not change the median.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace bench {

using Samples = std::vector<double>;

/// The value that the given share (0 to 1) of the samples does not exceed. Throws std::runtime_error without samples.
double Quantile(Samples samples, double share);

/// Throws std::runtime_error with `what` unless `succeeded`, which ends the benchmark: a failed call is no measurement.
void Require(bool succeeded, const std::string& what);

/// What is measured.
struct Operation {
    std::string name;
    std::function<bool()> run;  // false, a failure, ends the benchmark
};

/// Runs the operation once. The duration in microseconds.
double Measure(const Operation& operation);

/// For each operation, in order, the median duration of every round in microseconds. In a round each operation runs
/// `calls` times, after a few runs that do not count. With one call per round there are no such runs, so that each
/// operation finds the state that the operation before it left.
std::vector<Samples> MeasureInTurns(const std::vector<Operation>& operations, int rounds, int calls);

/// The figures of a run, as a table for people or as JSON for machines.
class Report {
  public:
    /// Adds a figure. With `others`, which come from the same rounds, the report also has the ratios of the values to
    /// them.
    void Add(const std::string& group, const std::string& name, const std::string& unit, const Samples& values,
             const Samples& others = {}, const std::string& nameOfOthers = "");

    void PrintTable() const;
    void PrintJson() const;

  private:
    struct Figure {
        std::string group, name, unit;
        Samples values, ratios;  // ratios is empty when there is nothing to compare with
        std::string ratioTo;
    };
    std::vector<Figure> figures_;
};

// The groups of measurements; `quick` makes fewer calls and rounds.

/// Single calls against the bare echo.
void MeasureLatency(bool quick, Report& report);
/// Requests per second, and the time of an event, with one client and with many.
void MeasureFramework(bool quick, Report& report);
/// The database in this process, with few and with many instances.
void MeasureDatabase(bool quick, Report& report);
/// Start-up of one and of many instances, questions beside a slow instance, and the memory and threads of an idle
/// manager.
void MeasureManager(bool quick, Report& report);

}  // namespace bench
