#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "console/Terminal.h"

namespace Kalt::Vemo::Tool {

/// A cell of a printed table.
struct TableCell {
    std::string text;        ///< printable
    bool isAtRight = false;  ///< as numbers are
    std::string coloured;    ///< `text` with its colours; empty when it has none
};

using TableRow = std::vector<TableCell>;

inline constexpr std::size_t kNarrowestColumn = 4;

/// How a table is laid out.
struct TableLayout {
    /// The pieces of a horizontal line. Without a filling the line is left out.
    struct Rule {
        const char* left;
        const char* filling;
        const char* crossing;
        const char* right;
    };

    Rule top;
    Rule belowHeading;
    Rule bottom;
    const char* left;
    const char* between;
    const char* right;
    std::size_t (*widthOf)(std::string_view text);
};

/// A box of line characters, and one of ASCII characters: for terminals.
inline constexpr TableLayout kBoxLayout{{"┌─", "─", "─┬─", "─┐"},
                                        {"├─", "─", "─┼─", "─┤"},
                                        {"└─", "─", "─┴─", "─┘"},
                                        "│ ",
                                        " │ ",
                                        " │",
                                        displayWidth};
inline constexpr TableLayout kAsciiBoxLayout{{"+-", "-", "-+-", "-+"},
                                             {"+-", "-", "-+-", "-+"},
                                             {"+-", "-", "-+-", "-+"},
                                             "| ",
                                             " | ",
                                             " |",
                                             displayWidth};

/// A line below the heading and nothing else: for files and pipes.
inline constexpr TableLayout kUnderlinedLayout{
    {"", "", "", ""}, {"", "-", "  ", ""}, {"", "", "", ""}, "", "  ", "", displayWidth};

/// Columns alone, set in: for a table among other lines.
inline constexpr TableLayout kIndentedLayout{
    {"", "", "", ""}, {"", "", "", ""}, {"", "", "", ""}, "  ", "   ", "", characterCount};

/// Shrinks the widest of a table's columns until it fits into `available` columns of a terminal. No column
/// becomes narrower than kNarrowestColumn; a table of very many columns stays wider than the terminal.
///
/// @param widths as wide as the cells need it
std::vector<std::size_t> fittingWidths(const TableLayout& layout, std::vector<std::size_t> widths,
                                       std::size_t available);

/// Prints a heading and rows in aligned columns, without blanks at the ends of lines.
///
/// Requires: each row has as many cells as the heading.
void printTable(std::ostream& out, const TableLayout& layout, const TableRow& heading,
                const std::vector<TableRow>& rows);

}  // namespace Kalt::Vemo::Tool
