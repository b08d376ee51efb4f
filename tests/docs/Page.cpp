#include "Page.h"

#include <gtest/gtest.h>

#include <regex>
#include <sstream>

namespace Kalt::Vemo::Test {
namespace {

constexpr const char* kFence = "```";

bool startsWith(const std::string& text, const std::string& start) {
    return text.rfind(start, 0) == 0;
}

/// The cells of a line of a table. A "|" within a cell is written "\|".
std::vector<std::string> cellsOf(const std::string& line) {
    std::vector<std::string> cells(1);
    for (std::size_t i = 1; i + 1 < line.size(); ++i) {
        if (line[i] == '\\' && line[i + 1] == '|') {
            cells.back() += line[++i];
        } else if (line[i] == '|') {
            cells.emplace_back();
        } else {
            cells.back() += line[i];
        }
    }
    for (std::string& cell : cells) {
        cell = trimmed(cell);
    }
    return cells;
}

/// The block whose fence is lines[first]; `end` becomes the index of the line after the block.
PagePart blockAt(const std::vector<std::string>& lines, std::size_t first, std::size_t& end) {
    PagePart block;
    block.line = static_cast<int>(first) + 1;
    std::istringstream words(lines[first].substr(std::string(kFence).size()));
    words >> block.language >> block.name;
    for (end = first + 1; end < lines.size() && !startsWith(lines[end], kFence); ++end) {
        block.text += lines[end] + "\n";
    }
    EXPECT_LT(end, lines.size()) << "the block in line " << block.line << " has no end";
    ++end;
    return block;
}

PagePart tableAt(const std::vector<std::string>& lines, std::size_t first, std::size_t& end) {
    PagePart table;
    table.line = static_cast<int>(first) + 1;
    table.heading = cellsOf(lines[first]);
    for (end = first + 2; end < lines.size() && startsWith(lines[end], "|"); ++end) {
        table.rows.push_back({static_cast<int>(end) + 1, cellsOf(lines[end])});
    }
    return table;
}

}  // namespace

std::vector<PagePart> partsOf(const std::string& page) {
    const std::vector<std::string> lines = linesOf(page);
    std::vector<PagePart> parts;
    for (std::size_t i = 0; i < lines.size();) {
        if (startsWith(lines[i], kFence)) {
            parts.push_back(blockAt(lines, i, i));
        } else if (startsWith(lines[i], "|")) {
            parts.push_back(tableAt(lines, i, i));
        } else {
            ++i;
        }
    }
    return parts;
}

std::vector<std::string> codeSpans(const std::string& cell) {
    static const std::regex span("`([^`]*)`");
    std::vector<std::string> result;
    for (std::sregex_iterator found(cell.begin(), cell.end(), span), end; found != end; ++found) {
        result.push_back((*found)[1]);
    }
    return result;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

}  // namespace Kalt::Vemo::Test
