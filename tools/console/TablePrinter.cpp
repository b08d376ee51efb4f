#include "console/TablePrinter.h"

#include <algorithm>
#include <numeric>

namespace Kalt::Vemo::Tool {

namespace {

class Table {
public:
    Table(std::ostream& out, const TableLayout& layout, const TableRow& heading,
          const std::vector<TableRow>& rows)
        : out_(out), layout_(layout), widths_(heading.size(), 0) {
        widen(heading);
        for (const TableRow& row : rows) {
            widen(row);
        }
    }

    void printRow(const TableRow& row) const {
        std::string text = layout_.left;
        for (std::size_t column = 0; column < row.size(); ++column) {
            text += (column == 0 ? "" : layout_.between) + padded(row[column], widths_[column]);
        }
        text += layout_.right;
        text.resize(text.find_last_not_of(' ') + 1);
        out_ << text << '\n';
    }

    void printRule(const TableLayout::Rule& rule) const {
        if (*rule.filling == '\0') {
            return;
        }
        out_ << rule.left;
        for (std::size_t column = 0; column < widths_.size(); ++column) {
            out_ << (column == 0 ? "" : rule.crossing);
            for (std::size_t i = 0; i < widths_[column]; ++i) {
                out_ << rule.filling;
            }
        }
        out_ << rule.right << '\n';
    }

private:
    void widen(const TableRow& row) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths_.at(column) = std::max(widths_.at(column), layout_.widthOf(row[column].text));
        }
    }

    std::string padded(const TableCell& cell, std::size_t width) const {
        const std::string blanks(width - layout_.widthOf(cell.text), ' ');
        const std::string& shown = cell.coloured.empty() ? cell.text : cell.coloured;
        return cell.isAtRight ? blanks + shown : shown + blanks;
    }

    std::ostream& out_;
    const TableLayout& layout_;
    std::vector<std::size_t> widths_;
};

}  // namespace

std::vector<std::size_t> fittingWidths(const TableLayout& layout, std::vector<std::size_t> widths,
                                       std::size_t available) {
    if (widths.empty()) {
        return widths;
    }
    std::size_t taken = std::accumulate(widths.begin(), widths.end(), std::size_t{0}) +
                        (widths.size() - 1) * layout.widthOf(layout.between) + layout.widthOf(layout.left) +
                        layout.widthOf(layout.right);
    while (taken > available) {
        const auto widest = std::max_element(widths.begin(), widths.end());
        if (*widest <= kNarrowestColumn) {
            break;
        }
        --*widest;
        --taken;
    }
    return widths;
}

void printTable(std::ostream& out, const TableLayout& layout, const TableRow& heading,
                const std::vector<TableRow>& rows) {
    const Table table(out, layout, heading, rows);
    table.printRule(layout.top);
    table.printRow(heading);
    table.printRule(layout.belowHeading);
    for (const TableRow& row : rows) {
        table.printRow(row);
    }
    table.printRule(layout.bottom);
}

}  // namespace Kalt::Vemo::Tool
