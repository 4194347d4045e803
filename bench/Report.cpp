#include "Report.h"

#include <iomanip>
#include <nlohmann/json.hpp>

namespace bench {

namespace {

constexpr int kNameWidth = 52;
constexpr int kNumberWidth = 12;
constexpr int kUnitWidth = 8;
constexpr int kJsonIndent = 2;

nlohmann::json ToJson(const Spread& spread) {
    return {{"low", spread.low}, {"median", spread.median}, {"high", spread.high}};
}

}  // namespace

void Report::Add(const std::string& group, const std::string& name, const std::string& unit, const Samples& values) {
    figures_.push_back({group, name, unit, SpreadOf(values), std::nullopt, {}});
}

void Report::Add(const std::string& group, const std::string& name, const std::string& unit, const Samples& values,
                 const Samples& ratios, const std::string& ratioTo) {
    figures_.push_back({group, name, unit, SpreadOf(values), SpreadOf(ratios), ratioTo});
}

void Report::PrintTable(std::ostream& output) const {
    std::string group;
    output << std::fixed;
    for (const auto& figure : figures_) {
        if (figure.group != group) {
            group = figure.group;
            output << '\n'
                   << std::left << std::setw(kNameWidth) << group << std::right << std::setw(kNumberWidth) << "median"
                   << std::setw(kUnitWidth) << "" << std::setw(kNumberWidth) << "quartile" << std::setw(kNumberWidth)
                   << "quartile" << std::setw(kNumberWidth) << "ratio" << '\n';
        }
        output << "  " << std::left << std::setw(kNameWidth - 2) << figure.name << std::right << std::setprecision(1)
               << std::setw(kNumberWidth) << figure.value.median << ' ' << std::left << std::setw(kUnitWidth - 1)
               << figure.unit << std::right << std::setw(kNumberWidth) << figure.value.low << std::setw(kNumberWidth)
               << figure.value.high;
        if (figure.ratio)
            output << std::setprecision(2) << std::setw(kNumberWidth) << figure.ratio->median << " x "
                   << figure.ratioTo;
        output << '\n';
    }
}

void Report::PrintJson(std::ostream& output) const {
    auto list = nlohmann::json::array();
    for (const auto& figure : figures_) {
        nlohmann::json entry = {
            {"group", figure.group}, {"name", figure.name}, {"unit", figure.unit}, {"value", ToJson(figure.value)}};
        if (figure.ratio) {
            entry["ratio"] = ToJson(*figure.ratio);
            entry["ratioTo"] = figure.ratioTo;
        }
        list.push_back(std::move(entry));
    }
    output << list.dump(kJsonIndent) << '\n';
}

}  // namespace bench
