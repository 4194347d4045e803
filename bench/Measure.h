// Measuring on a machine that does other things too. What is to be compared is measured in turns, for several rounds;
// the figure of a round is the median of its calls, and the result the median of the rounds. What disturbs one round
// then disturbs all that is compared in it, or is no median.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace bench {

using Samples = std::vector<double>;

/// The sample that the given share (0 to 1) of the samples does not exceed.
double Quantile(Samples samples, double share);

/// Throws std::runtime_error, which ends the benchmark, unless `succeeded`: a failed call is no measurement.
void Require(bool succeeded, const std::string& what);

struct Operation {
    std::string name;
    std::function<bool()> run;  // whether it succeeded, which it has to
};

/// The duration of one run in microseconds.
double Measure(const Operation& operation);

/// For each operation, in order, the median duration of every round in microseconds. Each runs `calls` times in a
/// round, and a few times before that which do not count; with one call a round, each runs once and the next one meets
/// the state that it leaves.
std::vector<Samples> MeasureInTurns(const std::vector<Operation>& operations, int rounds, int calls);

/// The figures of a run, as a table for people or as JSON for machines.
class Report {
  public:
    /// With `others`, of the same rounds, what counts is the ratio of the values to them.
    void Add(const std::string& group, const std::string& name, const std::string& unit, const Samples& values,
             const Samples& others = {}, const std::string& nameOfOthers = "");

    void PrintTable() const;
    void PrintJson() const;

  private:
    struct Figure {
        std::string group, name, unit;
        Samples values, ratios;  // no ratios when there is nothing to compare with
        std::string ratioTo;
    };
    std::vector<Figure> figures_;
};

/// The groups of measurements; `quick` takes fewer calls and rounds.
/// Single calls against the bare echo.
void MeasureLatency(bool quick, Report& report);
/// Requests per second and events, with one client and with many.
void MeasureFramework(bool quick, Report& report);
/// The database in this process, with few and with many instances.
void MeasureDatabase(bool quick, Report& report);
/// Start-up of one and of many instances, a slow one among others, and what a manager at rest takes.
void MeasureManager(bool quick, Report& report);

}  // namespace bench
