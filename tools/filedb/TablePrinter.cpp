#include "TablePrinter.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include "Literals.h"
#include "Printable.h"
#include "TableMetaData.h"
#include "Terminal.h"

namespace Kalt::Vemo::Tool {

namespace {

std::string shown(const Cell& cell) {
    return cell ? printable(*cell) : Core::Database::Filedb::kNullWord;
}

std::string repeated(const std::string& text, std::size_t count) {
    std::string result;
    for (std::size_t i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

/// The pieces of a horizontal line: left end, filling, crossing, right end.
struct Rule {
    const char* left;
    const char* fill;
    const char* cross;
    const char* right;
};

/// What stands around and between the cells.
struct Frame {
    Rule top;
    Rule middle;
    Rule bottom;
    const char* left;
    const char* between;
    const char* right;
};

constexpr Frame kBox{
    {"┌─", "─", "─┬─", "─┐"}, {"├─", "─", "─┼─", "─┤"}, {"└─", "─", "─┴─", "─┘"}, "│ ", " │ ", " │"};
constexpr Frame kAsciiBox{
    {"+-", "-", "-+-", "-+"}, {"+-", "-", "-+-", "-+"}, {"+-", "-", "-+-", "-+"}, "| ", " | ", " |"};
constexpr Frame kNoBox{{"", "", "", ""}, {"", "-", "  ", ""}, {"", "", "", ""}, "", "  ", ""};

class Table {
public:
    explicit Table(const ResultSet& result)
        : result_(result), inBox_(isTerminal(STDOUT_FILENO)), colours_(STDOUT_FILENO) {
        frame_ = !inBox_ ? kNoBox : isUtf8Locale() ? kBox : kAsciiBox;
        for (std::size_t i = 0; i < result.columns.size(); ++i) {
            std::size_t width = displayWidth(printable(result.columns[i].name));
            for (const std::vector<Cell>& row : result.rows) {
                width = std::max(width, displayWidth(shown(row[i])));
            }
            widths_.push_back(width);
        }
    }

    void print() const {
        printRule(frame_.top);
        std::vector<std::string> line;
        for (std::size_t i = 0; i < widths_.size(); ++i) {
            const std::string name = printable(result_.columns[i].name);
            line.push_back(padded(colours_.heading(name), name, i));
        }
        printLine(line);
        printRule(frame_.middle);
        for (const std::vector<Cell>& row : result_.rows) {
            line.clear();
            for (std::size_t i = 0; i < widths_.size(); ++i) {
                const std::string text = shown(row[i]);
                line.push_back(padded(row[i] ? text : colours_.faint(text), text, i));
            }
            printLine(line);
        }
        printRule(frame_.bottom);
    }

private:
    // Numbers stand at the right.
    std::string padded(const std::string& painted, const std::string& text, std::size_t column) const {
        const std::string blanks(widths_[column] - displayWidth(text), ' ');
        const Column::Type type = result_.columns[column].type;
        const bool isNumber = type == Column::Type::kInteger || type == Column::Type::kReal;
        return isNumber ? blanks + painted : painted + blanks;
    }

    void printLine(const std::vector<std::string>& cells) const {
        std::string text = frame_.left;
        for (const std::string& cell : cells) {
            text += (&cell == &cells.front() ? "" : frame_.between) + cell;
        }
        text += frame_.right;
        if (!inBox_) {
            text.resize(text.find_last_not_of(' ') + 1);
        }
        std::cout << text << '\n';
    }

    void printRule(const Rule& rule) const {
        if (*rule.fill == '\0') {
            return;
        }
        std::string text = rule.left;
        for (std::size_t i = 0; i < widths_.size(); ++i) {
            text += (i == 0 ? "" : rule.cross) + repeated(rule.fill, widths_[i]);
        }
        std::cout << text << rule.right << '\n';
    }

    const ResultSet& result_;
    bool inBox_;
    Colours colours_;
    Frame frame_{};
    std::vector<std::size_t> widths_;
};

}  // namespace

void printTable(const ResultSet& result) {
    Table(result).print();
}

void printLines(const ResultSet& result) {
    const Colours colours(STDOUT_FILENO);
    std::size_t width = 0;
    for (const Column& column : result.columns) {
        width = std::max(width, displayWidth(printable(column.name)));
    }
    for (const std::vector<Cell>& row : result.rows) {
        std::cout << (&row == &result.rows.front() ? "" : "\n");
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string name = printable(result.columns[i].name);
            std::cout << std::string(width - displayWidth(name), ' ') << colours.heading(name) << " = "
                      << (row[i] ? shown(row[i]) : colours.faint(shown(row[i]))) << '\n';
        }
    }
}

}  // namespace Kalt::Vemo::Tool
