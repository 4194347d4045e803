#include "protocols/kivctl/Console.h"

#include <algorithm>
#include <utility>

namespace kivctl {

void PrintLine(std::string_view text, Colour colour) {
    Print(text, colour);
    Print("\n");
}

void PrintJson(const Json& value) {
    constexpr int indent = 2;
    PrintUtf8(value.dump(indent, ' ', false, Json::error_handler_t::replace) + "\n");
}

void Table::AddRow(std::vector<std::string> cells, Colour colour, std::size_t colouredColumn) {
    for (auto& cell : cells)
        if (cell.empty())
            cell.assign(1, '-');
    rows_.push_back({std::move(cells), colour, colouredColumn});
}

void Table::Print() const {
    constexpr std::size_t kGap = 2;
    std::vector<std::size_t> widths;
    for (std::size_t column = 0; column < headings_.size(); ++column) {
        auto width = headings_[column].size();
        for (const auto& row : rows_)
            width = std::max(width, row.cells[column].size());
        widths.push_back(width);
    }
    const auto printRow = [&](const Row& row) {
        for (std::size_t column = 0; column < widths.size(); ++column) {
            kivctl::Print(row.cells[column], column == row.colouredColumn ? row.colour : Colour::Plain);
            if (column + 1 < widths.size())
                kivctl::Print(std::string(widths[column] - row.cells[column].size() + kGap, ' '));
        }
        kivctl::Print("\n");
    };
    printRow({headings_, Colour::Plain, 0});
    for (const auto& row : rows_)
        printRow(row);
}

void Print(const Table& table, const Json& list, const Options& options) {
    if (options.json)
        PrintJson(list);
    else
        table.Print();
}

}  // namespace kivctl
