#include "Measure.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <iostream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "utils/platform/Platform.h"

namespace bench {

namespace {

constexpr int kNameWidth = 50;
constexpr int kNumberWidth = 12;
constexpr int kUnitWidth = 6;
constexpr double kQuartiles[] = {0.25, 0.5, 0.75};

nlohmann::json ToJson(const Samples& samples) {
    return {{"low", Quantile(samples, kQuartiles[0])},
            {"median", Quantile(samples, kQuartiles[1])},
            {"high", Quantile(samples, kQuartiles[2])}};
}

}  // namespace

double Quantile(Samples samples, double share) {
    Require(!samples.empty(), "a figure has samples");
    std::sort(samples.begin(), samples.end());
    const auto index = std::ceil(share * static_cast<double>(samples.size())) - 1;
    return samples[static_cast<std::size_t>(std::max(index, 0.0))];
}

double Measure(const Operation& operation) {
    constexpr double kNanoseconds = 1000;
    const auto begin = platform::MonotonicNanoseconds();
    const bool succeeded = operation.run();
    const auto end = platform::MonotonicNanoseconds();
    Require(succeeded, operation.name);
    return static_cast<double>(end - begin) / kNanoseconds;
}

std::vector<Samples> MeasureInTurns(const std::vector<Operation>& operations, int rounds, int calls) {
    std::vector<Samples> results(operations.size());
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t index = 0; index < operations.size(); ++index) {
            for (int call = 0; calls > 1 && call < 5; ++call)
                Measure(operations[index]);
            Samples durations;
            for (int call = 0; call < calls; ++call)
                durations.push_back(Measure(operations[index]));
            results[index].push_back(Quantile(std::move(durations), kQuartiles[1]));
        }
    }
    return results;
}

void Require(bool succeeded, const std::string& what) {
    if (!succeeded)
        throw std::runtime_error("failed: " + what);
}

void Report::Add(const std::string& group, const std::string& name, const std::string& unit, const Samples& values,
                 const Samples& others, const std::string& nameOfOthers) {
    Samples ratios;
    std::transform(others.begin(), others.end(), values.begin(), std::back_inserter(ratios),
                   [](double other, double value) { return value / other; });
    figures_.push_back({group, name, unit, values, ratios, nameOfOthers});
}

void Report::PrintTable() const {
    using std::setw;
    std::string group;
    std::cout << std::fixed;
    for (const auto& figure : figures_) {
        if (figure.group != group)
            std::cout << '\n'
                      << std::left << setw(kNameWidth + kUnitWidth) << figure.group << std::right << setw(kNumberWidth)
                      << "quartile" << setw(kNumberWidth) << "median" << setw(kNumberWidth) << "quartile"
                      << setw(kNumberWidth) << "ratio" << '\n';
        group = figure.group;
        std::cout << "  " << std::left << setw(kNameWidth - 2) << figure.name << setw(kUnitWidth) << figure.unit
                  << std::right << std::setprecision(1);
        for (const double share : kQuartiles)
            std::cout << setw(kNumberWidth) << Quantile(figure.values, share);
        if (!figure.ratios.empty())
            std::cout << std::setprecision(2) << setw(kNumberWidth) << Quantile(figure.ratios, kQuartiles[1]) << " x "
                      << figure.ratioTo;
        std::cout << '\n';
    }
}

void Report::PrintJson() const {
    auto list = nlohmann::json::array();
    for (const auto& figure : figures_) {
        nlohmann::json entry = {
            {"group", figure.group}, {"name", figure.name}, {"unit", figure.unit}, {"value", ToJson(figure.values)}};
        if (!figure.ratios.empty()) {
            entry["ratio"] = ToJson(figure.ratios);
            entry["ratioTo"] = figure.ratioTo;
        }
        list.push_back(std::move(entry));
    }
    std::cout << list.dump(2) << '\n';
}

}  // namespace bench
