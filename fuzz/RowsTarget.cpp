// The files that filedb reads rows and requests from: CSV, JSON, and a JSON object a line.
//
// The input is the file, for each of the readers.
//
// - Every row is told at a line that the file has, and so is every error.
// - Rows that were read are read again, the same, when they are written as CSV or JSON.
// - What an import stores of a field is in the form in which the engine stores it, as "filedb check" sees it.

#include <algorithm>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "FuzzInput.h"
#include "TableFormat.h"
#include "console/ExitStatus.h"
#include "requests/Request.h"
#include "rows/CsvReader.h"
#include "rows/JsonRowReader.h"
#include "rows/RowWriter.h"
#include "sql/Literals.h"
#include "sql/StoredForm.h"

namespace Kalt::Vemo::Fuzz {
namespace {

using namespace Tool;
using Reader = void (*)(CountedInput& input, const TakeRow& take);

constexpr const char* kColumnNames = "abcdefgh";

// The rows up to the first error; whether there was none.
bool read(Reader reader, const std::string& text, std::vector<ImportedRow>& rows) {
    const auto lastLine = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
    const auto requireLine = [&](std::size_t line) {
        require(line >= 1 && line <= lastLine,
                "a row, a field or an error is told at a line that is not there");
    };
    std::istringstream stream(text);
    CountedInput input(stream);
    try {
        reader(input, [&](const ImportedRow& row) {
            requireLine(row.line);
            for (const ImportedField& field : row.fields) {
                requireLine(field.line);
                require(field.line >= row.line, "a field begins before its row");
            }
            rows.push_back(row);
        });
    } catch (const ImportError& error) {
        requireLine(error.line());
        return false;
    }
    require(input.bytes() == text.size(), "the file was not read to its end");
    return true;
}

// Names that a table can have, and types with which numbers are written as numbers.
std::vector<Column> columnsOf(const ImportedRow& row) {
    std::vector<Column> columns;
    for (const ImportedField& field : row.fields) {
        Column column;
        column.name = std::string(1, kColumnNames[columns.size() % 8]) + std::to_string(columns.size());
        column.type =
            field.literal.kind == Literal::Kind::kNumber ? Column::Type::kReal : Column::Type::kText;
        columns.push_back(column);
    }
    return columns;
}

std::vector<Cell> cellsOf(const ImportedRow& row) {
    std::vector<Cell> cells;
    for (const ImportedField& field : row.fields) {
        cells.push_back(field.literal.kind == Literal::Kind::kNull ? Cell() : Cell(field.literal.text));
    }
    return cells;
}

void readAgain(Reader reader, const std::string& written, const std::vector<ImportedRow>& rows) {
    std::vector<ImportedRow> again;
    bool isSame = read(reader, written, again) && again.size() == rows.size();
    for (std::size_t row = 0; isSame && row < rows.size(); ++row) {
        isSame = cellsOf(again[row]) == cellsOf(rows[row]);
    }
    if (!isSame) {
        finding("rows are not read again as they were: " + shown(written));
    }
}

void readCommaSeparated(CountedInput& input, const TakeRow& take) {
    readCsv(
        input, ',', [](std::size_t, const std::vector<std::string>&) {}, take);
}

void writeCsv(const std::vector<ImportedRow>& rows) {
    if (rows.empty()) {
        return;
    }
    std::ostringstream out;
    const auto writer = makeCsvWriter(out, Bytes::kExact);
    writer->begin(columnsOf(rows.front()));
    for (const ImportedRow& row : rows) {
        writer->row(cellsOf(row));
    }
    writer->end();
    readAgain(readCommaSeparated, out.str(), rows);
}

// The objects of a JSON file need not have the same members.
void writeJson(const ImportedRow& row) {
    std::ostringstream out;
    const auto writer = makeJsonWriter(out);
    writer->begin(columnsOf(row));
    writer->row(cellsOf(row));
    writer->end();
    readAgain(readJsonRows, out.str(), {row});
    std::ostringstream lines;
    const auto linesWriter = makeJsonLinesWriter(lines);
    linesWriter->begin(columnsOf(row));
    linesWriter->row(cellsOf(row));
    linesWriter->end();
    readAgain(readJsonLines, lines.str(), {row});
}

void store(const Literal& literal) {
    using Type = Column::Type;
    namespace Engine = Core::Database::Filedb;
    for (const auto& [type, flag] :
         {std::pair(Type::kInteger, Engine::kIntegerFlag), std::pair(Type::kReal, Engine::kRealFlag),
          std::pair(Type::kText, Engine::kTextFlag)}) {
        Column column;
        column.name = "a";
        column.type = type;
        try {
            const std::string stored = storedLiteral(column, literal);
            if (storedForm(flag, stored) != stored) {
                finding(shown(literal.text) + " is stored as " + shown(stored) + ", not in the stored form");
            }
            static_cast<void>(boundForm(column, stored));
            static_cast<void>(shownValue(column, stored));
        } catch (const Failure&) {
            continue;  // the column cannot hold it
        }
    }
}

void parseRequests(const std::string& text) {
    using Requests::Field;
    using Requests::Kind;
    static const std::vector<Field> fields{{"text", Kind::text, true},
                                           {"texts", Kind::texts, true},
                                           {"number32", Kind::number32, true},
                                           {"number64", Kind::number64, true},
                                           {"instant", Kind::instant, true}};
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        try {
            static_cast<void>(Requests::Request::parse(
                line, [](const std::string& operation) { return operation == "op" ? &fields : nullptr; }));
        } catch (const Requests::MalformedRequest&) {
            continue;
        }
    }
}

void run(const std::string& text) {
    std::vector<ImportedRow> rows;
    if (read(readCommaSeparated, text, rows)) {
        writeCsv(rows);
    }
    const std::size_t csvRows = rows.size();
    static_cast<void>(read(readJsonRows, text, rows));
    static_cast<void>(read(readJsonLines, text, rows));
    std::for_each(rows.begin() + static_cast<std::ptrdiff_t>(csvRows), rows.end(), writeJson);
    for (const ImportedRow& row : rows) {
        for (const ImportedField& field : row.fields) {
            store(field.literal);
        }
    }
    parseRequests(text);
}

}  // namespace
}  // namespace Kalt::Vemo::Fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Kalt::Vemo::Fuzz;
    silenceLog();
    run(std::string(textOf(data, size)));
    return 0;
}
