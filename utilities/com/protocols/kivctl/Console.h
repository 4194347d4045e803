// What kivctl prints: sentences, tables and JSON on the standard output.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "protocols/kivctl/Options.h"

namespace kivctl {

using Json = nlohmann::ordered_json;

enum class Colour { Plain, Good, Warning, Bad };

/// Prints in colour when the output is a console and NO_COLOR is not set. Within kivctl text is in the machine's narrow
/// code page, as the wire carries it; JSON is UTF-8.
void Print(std::string_view text, Colour colour = Colour::Plain);
/// Text in UTF-8.
void PrintUtf8(std::string_view text);
/// Goes to the standard error output.
void PrintError(std::string_view text);
void PrintLine(std::string_view text, Colour colour = Colour::Plain);
/// What was printed goes out now.
void Flush();
/// Text within it must have gone through ToUtf8.
void PrintJson(const Json& value);

/// The command line's words behind the program's name; throws Failure for one that the narrow code page cannot write.
std::vector<std::string> Arguments();

std::string ToUtf8(const std::string& narrow);
/// Empty when the text is no UTF-8, or when the narrow code page lacks one of its characters.
std::optional<std::string> FromUtf8(const std::string& utf8);

/// Rows of text under a heading, each column as wide as its widest cell.
class Table {
  public:
    explicit Table(std::vector<std::string> headings) : headings_(std::move(headings)) {}

    /// One cell a heading; a cell that is empty prints as "-". The colour is that of `colouredColumn`.
    void AddRow(std::vector<std::string> cells, Colour colour = Colour::Plain, std::size_t colouredColumn = 0);
    void Print() const;

  private:
    struct Row {
        std::vector<std::string> cells;
        Colour colour;
        std::size_t colouredColumn;
    };
    std::vector<std::string> headings_;
    std::vector<Row> rows_;
};

/// What a command lists: the table, or with --json the list.
void Print(const Table& table, const Json& list, const Options& options);

}  // namespace kivctl
