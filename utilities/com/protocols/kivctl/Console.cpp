#include "protocols/kivctl/Console.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <numeric>
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

void Say(const Options& options, const std::string& sentence) {
    Say(options, sentence, Json::object());
}

void Say(const Options& options, const std::string& sentence, const Json& fields) {
    if (!options.json)
        return PrintLine(sentence);
    auto document = fields;
    document["message"] = ToUtf8(sentence);
    PrintJson(document);
}

void Table::AddRow(std::vector<std::string> cells, Colour colour, std::size_t colouredColumn) {
    for (auto& cell : cells)
        if (cell.empty())
            cell.assign(1, '-');
    rows_.push_back({std::move(cells), colour, colouredColumn});
}

std::size_t Table::WidthOf(std::size_t column) const {
    auto width = headings_[column].size();
    for (const auto& row : rows_)
        width = std::max(width, row.cells[column].size());
    return width;
}

std::vector<std::size_t> Table::Fitting(std::size_t width, const std::vector<std::size_t>& spare) const {
    std::vector<std::size_t> columns(headings_.size());
    std::iota(columns.begin(), columns.end(), std::size_t{0});
    for (const auto column : spare) {
        std::size_t needed = 0;
        for (const auto kept : columns)
            needed += WidthOf(kept) + kGap;
        if (width == 0 || needed <= width + kGap)
            break;
        std::erase(columns, column);
    }
    return columns;
}

void Table::Print(std::size_t width, const std::vector<std::size_t>& spare) const {
    const auto columns = Fitting(width, spare);
    const auto printRow = [&](const Row& row) {
        std::size_t at = 0;
        for (const auto column : columns) {
            auto cell = row.cells[column];
            const bool isLast = column == columns.back();
            constexpr std::string_view cut = "...";
            if (isLast && width != 0 && at + cell.size() > width && at + cut.size() < width)
                cell = cell.substr(0, width - at - cut.size()).append(cut);
            if (!isLast)
                cell.resize(WidthOf(column), ' ');
            at += cell.size() + kGap;
            kivctl::Print(cell, column == row.colouredColumn ? row.colour : Colour::Plain);
            kivctl::Print(isLast ? "\n" : std::string(kGap, ' '));
        }
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
