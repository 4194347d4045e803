// The figures of a run, as a table for people or as JSON for machines.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "Measure.h"

namespace bench {

struct Figure {
    std::string group;
    std::string name;
    std::string unit;
    Spread value;
    /// What counts: the value measured against something of the same run, named by `ratioTo`.
    std::optional<Spread> ratio;
    std::string ratioTo;
};

class Report {
  public:
    void Add(const std::string& group, const std::string& name, const std::string& unit, const Samples& values);
    void Add(const std::string& group, const std::string& name, const std::string& unit, const Samples& values,
             const Samples& ratios, const std::string& ratioTo);

    void PrintTable(std::ostream& output) const;
    void PrintJson(std::ostream& output) const;

  private:
    std::vector<Figure> figures_;
};

}  // namespace bench
