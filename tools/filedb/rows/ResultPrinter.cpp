#include "rows/ResultPrinter.h"

#include <unistd.h>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
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

// The texts of a table, and how much of each column is shown.
class ShownTable {
public:
    explicit ShownTable(const ResultSet& result) : result_(result), widths_(result.columns.size(), 0) {
        std::vector<std::string> names;
        names.reserve(result.columns.size());
        for (const Column& column : result.columns) {
            names.push_back(printable(column.name));
        }
        add(std::move(names));
        for (const std::vector<Cell>& cells : result.rows) {
            std::vector<std::string> row(cells.size());
            std::transform(cells.begin(), cells.end(), row.begin(), shown);
            add(std::move(row));
        }
    }

    void fitInto(const TableLayout& layout, std::size_t columns) {
        const std::vector<std::size_t> fitting = fittingWidths(layout, widths_, columns);
        const char* const mark = isUtf8Locale() ? "…" : "...";
        for (std::vector<std::string>& row : texts_) {
            for (std::size_t i = 0; i < row.size(); ++i) {
                row[i] = fittedTo(row[i], fitting[i], mark);
            }
        }
    }

    TableRow heading(const Colours& colours) const {
        TableRow heading;
        for (std::size_t i = 0; i < result_.columns.size(); ++i) {
            const std::string& name = texts_.front()[i];
            heading.push_back({name, isNumber(result_.columns[i]), colours.heading(name)});
        }
        return heading;
    }

    std::vector<TableRow> rows(const Colours& colours) const {
        std::vector<TableRow> rows;
        rows.reserve(result_.rows.size());
        for (std::size_t i = 0; i < result_.rows.size(); ++i) {
            rows.push_back(rowOf(texts_[i + 1], result_.rows[i], colours));
        }
        return rows;
    }

private:
    void add(std::vector<std::string> row) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths_[i] = std::max(widths_[i], displayWidth(row[i]));
        }
        texts_.push_back(std::move(row));
    }

    TableRow rowOf(const std::vector<std::string>& texts, const std::vector<Cell>& cells,
                   const Colours& colours) const {
        TableRow row;
        for (std::size_t i = 0; i < texts.size(); ++i) {
            row.push_back(
                {texts[i], isNumber(result_.columns[i]), cells[i] ? std::string() : colours.faint(texts[i])});
        }
        return row;
    }

    const ResultSet& result_;
    std::vector<std::vector<std::string>> texts_;  // the heading first
    std::vector<std::size_t> widths_;
};

}  // namespace

void printAsTable(std::ostream& out, const ResultSet& result, CellWidth cellWidth) {
    const Colours colours(STDOUT_FILENO);
    const TableLayout& layout = layoutOfOutput();
    ShownTable table(result);
    const std::optional<TerminalSize> terminal = terminalSize(STDOUT_FILENO);
    if (terminal && cellWidth == CellWidth::kFitting) {
        table.fitInto(layout, terminal->columns);
    }
    printTable(out, layout, table.heading(colours), table.rows(colours));
}

void printAsLines(std::ostream& out, const ResultSet& result) {
    const Colours colours(STDOUT_FILENO);
    std::size_t width = 0;
    for (const Column& column : result.columns) {
        width = std::max(width, displayWidth(printable(column.name)));
    }
    for (const std::vector<Cell>& row : result.rows) {
        out << (&row == &result.rows.front() ? "" : "\n");
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string name = printable(result.columns[i].name);
            out << std::string(width - displayWidth(name), ' ') << colours.heading(name) << " = "
                << (row[i] ? shown(row[i]) : colours.faint(shown(row[i]))) << '\n';
        }
    }
}

}  // namespace Kalt::Vemo::Tool
