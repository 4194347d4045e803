// What kivctl prints: sentences, tables and JSON on the standard output.
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

/// Prints in colour when the output is a console and NO_COLOR is not set. Within kivctl text is in the machine's narrow
/// code page, as the wire carries it; JSON is UTF-8.
void Print(std::string_view text, Colour colour = Colour::Plain);
/// Text in UTF-8.
void PrintUtf8(std::string_view text);
/// The same for programs that want a line feed alone at the end of a line.
void PrintUnix(std::string_view text);
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

/// What a command did: the sentence for a person, or with --json the command's one document, `fields` and the sentence
/// as its "message".
void Say(const Options& options, const std::string& sentence);
void Say(const Options& options, const std::string& sentence, const Json& fields);

/// Whether a person watches the standard error output, and so may be told how far a command is.
bool HasWatcher();
/// Puts the text in place of the last such text of the standard error output's line; an empty one leaves the line
/// empty.
void ShowProgress(const std::string& text);
/// The columns of the terminal that the standard output goes to, or what the environment's COLUMNS says; 0 when the
/// output goes elsewhere.
std::size_t TerminalWidth();
/// Empties the terminal's screen; between two screens that go elsewhere, prints an empty line.
void BeginScreen();

/// Rows of text under a heading, each column as wide as its widest cell.
class Table {
  public:
    explicit Table(std::vector<std::string> headings) : headings_(std::move(headings)) {}

    /// One cell a heading; a cell that is empty prints as "-". The colour is that of `colouredColumn`.
    void AddRow(std::vector<std::string> cells, Colour colour = Colour::Plain, std::size_t colouredColumn = 0);
    /// Within `width` columns, if it is not 0: leaves out the columns of `spare`, one after another, until the others
    /// fit, and cuts the last one.
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

/// What a command lists: the table, or with --json the list.
void Print(const Table& table, const Json& list, const Options& options);

}  // namespace kivctl
