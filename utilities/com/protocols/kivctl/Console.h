// The output of kivctl: sentences, tables and JSON on the standard output. Only Progress calls these functions from
// another thread than main's.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "protocols/kivctl/Options.h"

namespace kivctl {

using Json = nlohmann::ordered_json;

enum class Colour { Plain, Good, Warning, Bad };

/// Prints text of the machine's narrow code page, which all texts in kivctl have, as in the requests; only JSON is
/// UTF-8. The colour shows on a console, unless NO_COLOR is set.
void Print(std::string_view text, Colour colour = Colour::Plain);
/// Prints UTF-8 text.
void PrintUtf8(std::string_view text);
/// Prints UTF-8 text with its line feeds as they are, without carriage returns, for programs that read it.
void PrintUnix(std::string_view text);
/// Prints text of the narrow code page on the standard error output, after all that was printed before.
void PrintError(std::string_view text);
void PrintLine(std::string_view text, Colour colour = Colour::Plain);
/// Writes out what the C library still buffers of the standard output.
void Flush();
/// Prints the value indented. Its texts must be UTF-8: pass them through ToUtf8 first.
void PrintJson(const Json& value);

/// The arguments on the command line, without the program's name. Throws Failure for an argument with a character that
/// the narrow code page lacks.
std::vector<std::string> Arguments();

std::string ToUtf8(const std::string& narrow);
/// Empty when the text is not UTF-8, or when the narrow code page lacks one of its characters.
std::optional<std::string> FromUtf8(const std::string& utf8);

/// Prints what a command did: the sentence, or with --json the command's only document: `fields` with the sentence as
/// "message".
void Say(const Options& options, const std::string& sentence);
void Say(const Options& options, const std::string& sentence, const Json& fields);

/// Whether the standard error output is a terminal, so that a person may see the progress of a command there.
bool HasWatcher();
/// Replaces the text that the last call wrote on the terminal's line; an empty text clears the line.
void ShowProgress(const std::string& text);
/// Columns: the environment variable COLUMNS, else the width of the console behind the standard output; 0 when there is
/// neither.
std::size_t TerminalWidth();
/// Clears the console; where the output is not a console, prints an empty line.
void BeginScreen();

/// Rows of text below headings. Each column is as wide as its widest cell.
class Table {
  public:
    explicit Table(std::vector<std::string> headings) : headings_(std::move(headings)) {}

    /// Takes one cell for each heading; an empty cell prints as "-". The colour applies to the cell in
    /// `colouredColumn`.
    void AddRow(std::vector<std::string> cells, Colour colour = Colour::Plain, std::size_t colouredColumn = 0);
    /// Prints lines of at most `width` characters; 0 means no limit. While the table is too wide, leaves out the next
    /// column of `spare`; after that cuts the last column.
    void Print(std::size_t width = 0, const std::vector<std::size_t>& spare = {}) const;

  private:
    static constexpr std::size_t kGap = 2;
    struct Row {
        std::vector<std::string> cells;
        Colour colour;
        std::size_t colouredColumn;
    };
    std::size_t WidthOf(std::size_t column) const;
    std::vector<std::size_t> Fitting(std::size_t width, const std::vector<std::size_t>& spare) const;

    std::vector<std::string> headings_;
    std::vector<Row> rows_;
};

/// Prints the table, or with --json the list.
void Print(const Table& table, const Json& list, const Options& options);

}  // namespace kivctl
