#include "rows/RowWriter.h"

#include <iostream>
#include <nlohmann/json.hpp>

#include "TableMetaData.h"
#include "console/ExitStatus.h"
#include "rows/ResultPrinter.h"
#include "sql/Literals.h"

namespace Kalt::Vemo::Tool {

namespace {

class CsvWriter : public RowWriter {
public:
    explicit CsvWriter(std::ostream& out) : out_(out) {}

    void begin(const std::vector<Column>& columns) override {
        for (const Column& column : columns) {
            out_ << (&column == &columns.front() ? "" : ",") << field(column.name);
        }
        out_ << "\r\n";
    }

    void row(const std::vector<Cell>& cells) override {
        for (const Cell& cell : cells) {
            out_ << (&cell == &cells.front() ? "" : ",") << (cell ? field(*cell) : "");
        }
        out_ << "\r\n";
    }

private:
    static std::string field(const std::string& text) {
        if (!text.empty() && text.find_first_of(",\"\r\n") == std::string::npos) {
            return text;
        }
        std::string result = "\"";
        for (const char c : text) {
            result += c == '"' ? "\"\"" : std::string(1, c);
        }
        return result + '"';
    }

    std::ostream& out_;
};

std::string jsonText(const std::string& text) {
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

class JsonWriter : public RowWriter {
public:
    explicit JsonWriter(std::ostream& out) : out_(out) {}

    void begin(const std::vector<Column>& columns) override {
        columns_ = columns;
        out_ << '[';
    }

    void row(const std::vector<Cell>& cells) override {
        out_ << (isFirst_ ? "\n{" : ",\n{");
        isFirst_ = false;
        for (std::size_t i = 0; i < cells.size(); ++i) {
            out_ << (i == 0 ? "" : ",") << jsonText(columns_[i].name) << ':' << value(columns_[i], cells[i]);
        }
        out_ << '}';
    }

    void end() override { out_ << (isFirst_ ? "]\n" : "\n]\n"); }

private:
    static std::string value(const Column& column, const Cell& cell) {
        if (!cell) {
            return "null";
        }
        // JSON has no numbers as .5, 05 or 1. of a file that was edited by hand.
        return isShownAsNumber(column, *cell) && nlohmann::json::accept(*cell) ? *cell : jsonText(*cell);
    }

    std::ostream& out_;
    std::vector<Column> columns_;
    bool isFirst_ = true;
};

class SqlWriter : public RowWriter {
public:
    SqlWriter(std::ostream& out, const TableSchema& schema) : out_(out), schema_(schema) {}

    void begin(const std::vector<Column>& columns) override {
        columns_ = columns;
        out_ << "BEGIN;\n" << schema_.createStatement() << '\n';
    }

    void row(const std::vector<Cell>& cells) override {
        out_ << "INSERT INTO " << schema_.name << " VALUES (";
        for (std::size_t i = 0; i < cells.size(); ++i) {
            out_ << (i == 0 ? "" : ", ") << value(columns_[i], cells[i]);
        }
        out_ << ");\n";
    }

    void end() override { out_ << "COMMIT;\n"; }

private:
    static std::string value(const Column& column, const Cell& cell) {
        if (!cell || isShownAsNumber(column, *cell)) {
            return cell.value_or(Core::Database::Filedb::kNullWord);
        }
        std::string text = "'";
        for (const char c : *cell) {
            text += c == '\'' ? "''" : std::string(1, c);
        }
        return text + "'";
    }

    std::ostream& out_;
    TableSchema schema_;
    std::vector<Column> columns_;
};

}  // namespace

Mode modeOf(const std::string& name) {
    if (name == "table") {
        return Mode::kTable;
    }
    if (name == "line") {
        return Mode::kLine;
    }
    if (name == "csv") {
        return Mode::kCsv;
    }
    if (name == "json") {
        return Mode::kJson;
    }
    throw Failure("no such mode: " + name + "; there are table, line, csv and json");
}

std::unique_ptr<RowWriter> makeCsvWriter(std::ostream& out) {
    return std::make_unique<CsvWriter>(out);
}

std::unique_ptr<RowWriter> makeJsonWriter(std::ostream& out) {
    return std::make_unique<JsonWriter>(out);
}

std::unique_ptr<RowWriter> makeSqlWriter(std::ostream& out, const TableSchema& schema) {
    return std::make_unique<SqlWriter>(out, schema);
}

void writeRows(RowWriter& writer, const ResultSet& result, const std::ostream& out) {
    writer.begin(result.columns);
    for (const std::vector<Cell>& cells : result.rows) {
        if (!out) {
            return;
        }
        writer.row(cells);
    }
    writer.end();
}

void show(const ResultSet& result, Mode mode) {
    show(std::cout, result, mode, CellWidth::kFitting);
}

void show(std::ostream& out, const ResultSet& result, Mode mode, CellWidth cellWidth) {
    switch (mode) {
        case Mode::kTable:
            printAsTable(out, result, cellWidth);
            break;
        case Mode::kLine:
            printAsLines(out, result);
            break;
        case Mode::kCsv:
            writeRows(*makeCsvWriter(out), result, out);
            break;
        case Mode::kJson:
            writeRows(*makeJsonWriter(out), result, out);
            break;
    }
}

}  // namespace Kalt::Vemo::Tool
