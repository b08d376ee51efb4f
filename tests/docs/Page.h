#pragma once

#include <string>
#include <vector>

namespace Kalt::Vemo::Test {

/// A row of a table, and the line of the page that it stands on.
struct PageRow {
    int line = 0;
    std::vector<std::string> cells;
};

/// A fenced block or a table of a page.
struct PagePart {
    int line = 0;                      ///< the first line of the part, counted from 1
    std::string language;              ///< of a block: the first word behind its fence
    std::string name;                  ///< of a block: the rest of that line, the name of a file
    std::string text;                  ///< of a block: its lines
    std::vector<std::string> heading;  ///< of a table: the cells of its first line
    std::vector<PageRow> rows;         ///< of a table: the lines below

    bool isTable() const { return !heading.empty(); }
};

/// The fenced blocks and the tables of a page, in order. Fails the test for a fence that is not closed.
std::vector<PagePart> partsOf(const std::string& page);

/// The texts between backticks of a cell.
std::vector<std::string> codeSpans(const std::string& cell);

/// The lines of a text, without their line feeds.
std::vector<std::string> linesOf(const std::string& text);

/// A text without blanks at its ends.
std::string trimmed(const std::string& text);

}  // namespace Kalt::Vemo::Test
