#include "rows/ResultPrinter.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include "TableFormat.h"
#include "console/Printable.h"
#include "console/TablePrinter.h"
#include "console/Terminal.h"

namespace Kalt::Vemo::Tool {

namespace {

std::string shown(const Cell& cell) {
    return cell ? printable(*cell) : Core::Database::Filedb::kNullWord;
}

const TableLayout& layoutOfOutput() {
    if (!isTerminal(STDOUT_FILENO)) {
        return kUnderlinedLayout;
    }
    return isUtf8Locale() ? kBoxLayout : kAsciiBoxLayout;
}

bool isNumber(const Column& column) {
    return column.type == Column::Type::kInteger || column.type == Column::Type::kReal;
}

TableRow headingOf(const ResultSet& result, const Colours& colours) {
    TableRow heading;
    for (const Column& column : result.columns) {
        const std::string name = printable(column.name);
        heading.push_back({name, isNumber(column), colours.heading(name)});
    }
    return heading;
}

TableRow rowOf(const std::vector<Column>& columns, const std::vector<Cell>& cells, const Colours& colours) {
    TableRow row;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const std::string text = shown(cells[i]);
        row.push_back({text, isNumber(columns[i]), cells[i] ? std::string() : colours.faint(text)});
    }
    return row;
}

}  // namespace

void printAsTable(const ResultSet& result) {
    const Colours colours(STDOUT_FILENO);
    std::vector<TableRow> rows;
    rows.reserve(result.rows.size());
    for (const std::vector<Cell>& cells : result.rows) {
        rows.push_back(rowOf(result.columns, cells, colours));
    }
    printTable(std::cout, layoutOfOutput(), headingOf(result, colours), rows);
}

void printAsLines(const ResultSet& result) {
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
