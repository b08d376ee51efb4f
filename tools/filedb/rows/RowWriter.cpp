#include "rows/RowWriter.h"

#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <iostream>
#include <string>

#include "TableFormat.h"
#include "console/ExitStatus.h"
#include "console/Printable.h"
#include "console/Terminal.h"
#include "rows/JsonText.h"
#include "rows/ResultPrinter.h"
#include "sql/Literals.h"

namespace Kalt::Vemo::Tool {

namespace {

// Data on its way to an output.
class OutputText {
public:
    explicit OutputText(Bytes bytes) : isExact_(bytes == Bytes::kExact) {}

    std::string of(const std::string& value) {
        if (isExact_) {
            return value;
        }
        std::string text = printable(value);
        hasChanged_ = hasChanged_ || text != value;
        return text;
    }

    void noteChanges() const {
        if (hasChanged_) {
            std::cout.flush();
            std::cerr << "filedb: the terminal shows control characters as \\xNN; redirect the output to a "
                         "file for "
                         "the exact bytes\n";
        }
    }

private:
    const bool isExact_;
    bool hasChanged_ = false;
};

std::string withDoubled(const std::string& text, char character) {
    std::string result;
    for (const char c : text) {
        result += c == character ? std::string(2, c) : std::string(1, c);
    }
    return result;
}

class CsvWriter : public RowWriter {
public:
    CsvWriter(std::ostream& out, Bytes bytes, const CsvFormat& format)
        : out_(out), text_(bytes), format_(format), special_{format.delimiter, '"', '\r', '\n'} {}

    void begin(const std::vector<Column>& columns) override {
        for (const Column& column : columns) {
            separate(&column == &columns.front());
            out_ << field(column.name);
        }
        out_ << format_.lineEnd;
    }

    void row(const std::vector<Cell>& cells) override {
        for (const Cell& cell : cells) {
            separate(&cell == &cells.front());
            out_ << (cell ? field(*cell) : "");
        }
        out_ << format_.lineEnd;
    }

    void end() override { text_.noteChanges(); }

private:
    void separate(bool isFirst) {
        if (!isFirst) {
            out_ << format_.delimiter;
        }
    }

    std::string field(const std::string& value) {
        std::string text = text_.of(value);
        if (!text.empty() && text.find_first_of(special_) == std::string::npos) {
            return text;
        }
        return '"' + withDoubled(text, '"') + '"';
    }

    std::ostream& out_;
    OutputText text_;
    const CsvFormat format_;
    const std::string special_;  // a field with one of these is put in quotes
};

class JsonWriter : public RowWriter {
public:
    JsonWriter(std::ostream& out, bool isArray) : out_(out), isArray_(isArray) {}

    void examine(const ResultSet& result) const override {
        for (std::size_t row = 0; row < result.rows.size(); ++row) {
            for (std::size_t i = 0; i < result.columns.size(); ++i) {
                const Cell& cell = result.rows[row][i];
                if (cell && !isUtf8(*cell)) {
                    throw Failure("row " + std::to_string(row + 1) + ", column " + result.columns[i].name +
                                  ": " + quoted(*cell) +
                                  " is not valid UTF-8, which JSON has to be; write it as csv instead");
                }
            }
        }
    }

    void begin(const std::vector<Column>& columns) override {
        columns_ = columns;
        out_ << (isArray_ ? "[" : "");
    }

    void row(const std::vector<Cell>& cells) override {
        out_ << (!isArray_ ? "{" : isFirst_ ? "\n{" : ",\n{");
        isFirst_ = false;
        for (std::size_t i = 0; i < cells.size(); ++i) {
            out_ << (i == 0 ? "" : ",") << jsonText(columns_[i].name) << ':'
                 << jsonValue(columns_[i], cells[i]);
        }
        out_ << (isArray_ ? "}" : "}\n");
    }

    void end() override { out_ << (!isArray_ ? "" : isFirst_ ? "]\n" : "\n]\n"); }

private:
    std::ostream& out_;
    const bool isArray_;
    std::vector<Column> columns_;
    bool isFirst_ = true;
};

// In quotes where SQLite would take it for something else.
std::string sqlName(const std::string& name) {
    const bool isPlain =
        std::all_of(name.begin(), name.end(),
                    [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }) &&
        std::isdigit(static_cast<unsigned char>(name.front())) == 0;
    const bool isKeyword = sqlite3_keyword_check(name.c_str(), static_cast<int>(name.size())) != 0;
    return isPlain && !isKeyword ? name : '"' + name + '"';
}

class SqlWriter : public RowWriter {
public:
    SqlWriter(std::ostream& out, Bytes bytes, const TableSchema& schema)
        : out_(out), text_(bytes), schema_(schema) {}

    void begin(const std::vector<Column>& columns) override {
        columns_ = columns;
        out_ << "BEGIN;\n" << schema_.createStatement() << '\n';
    }

    void row(const std::vector<Cell>& cells) override {
        out_ << "INSERT INTO " << sqlName(schema_.name) << " VALUES (";
        for (std::size_t i = 0; i < cells.size(); ++i) {
            out_ << (i == 0 ? "" : ", ") << value(columns_[i], cells[i]);
        }
        out_ << ");\n";
    }

    void end() override {
        out_ << "COMMIT;\n";
        text_.noteChanges();
    }

private:
    std::string value(const Column& column, const Cell& cell) {
        if (!cell || isShownAsNumber(column, *cell)) {
            return cell.value_or(Core::Database::Filedb::kNullWord);
        }
        return "'" + withDoubled(text_.of(*cell), '\'') + "'";
    }

    std::ostream& out_;
    OutputText text_;
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

Bytes bytesForOutput() {
    return isTerminal(STDOUT_FILENO) ? Bytes::kPrintable : Bytes::kExact;
}

std::unique_ptr<RowWriter> makeCsvWriter(std::ostream& out, Bytes bytes, const CsvFormat& format) {
    return std::make_unique<CsvWriter>(out, bytes, format);
}

std::unique_ptr<RowWriter> makeJsonWriter(std::ostream& out) {
    return std::make_unique<JsonWriter>(out, true);
}

std::unique_ptr<RowWriter> makeJsonLinesWriter(std::ostream& out) {
    return std::make_unique<JsonWriter>(out, false);
}

std::unique_ptr<RowWriter> makeSqlWriter(std::ostream& out, Bytes bytes, const TableSchema& schema) {
    return std::make_unique<SqlWriter>(out, bytes, schema);
}

void writeRows(RowWriter& writer, const ResultSet& result, const std::ostream& out) {
    writer.examine(result);
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
            writeRows(*makeCsvWriter(out, bytesForOutput()), result, out);
            break;
        case Mode::kJson:
            writeRows(*makeJsonWriter(out), result, out);
            break;
    }
}

}  // namespace Kalt::Vemo::Tool
