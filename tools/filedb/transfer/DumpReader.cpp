#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "FileUtils.h"
#include "TableFormat.h"
#include "check/TableExamination.h"
#include "console/ExitStatus.h"
#include "console/Printable.h"
#include "rows/ImportedRow.h"
#include "sql/StoredForm.h"
#include "transfer/DumpFormat.h"

namespace Kalt::Vemo::Tool {

using namespace Core::Database::Filedb;
using Json = nlohmann::json;

namespace {

constexpr std::size_t kMetaLineCount = 3;
constexpr const char* kNoDump = "this is no dump of a database; filedb dump makes one";
constexpr const char* kNoDefinition =
    R"(expected the definition of a table, as {"table":"t","columns":["a TEXT NOT NULL","ROWID INTEGER"],"key":[]})";

/// A column as a dump defines it, and its flag number.
struct DumpedColumn {
    Column column;
    long flag = 0;
};

std::optional<DumpedColumn> columnFrom(const std::string& definition) {
    for (const auto& [type, flag] :
         {std::pair(Column::Type::kInteger, kIntegerFlag), std::pair(Column::Type::kReal, kRealFlag),
          std::pair(Column::Type::kText, kTextFlag)}) {
        for (const bool notNull : {false, true}) {
            Column column{definition.substr(0, definition.find(' ')), type, notNull, false};
            if (isPossibleName(column.name) &&
                definition == column.name + " " + column.typeName() + (notNull ? " NOT NULL" : "")) {
                return DumpedColumn{column, flag | (notNull ? kNotNullFlag : 0)};
            }
        }
    }
    return std::nullopt;
}

std::optional<std::string> bytesFrom(const std::string& hexadecimal) {
    constexpr const char* kDigits = "0123456789abcdef";
    const bool isWhole = hexadecimal.size() % 2 == 0;
    if (!isWhole || hexadecimal.find_first_not_of(kDigits) != std::string::npos) {
        return std::nullopt;
    }
    std::string bytes;
    for (std::size_t i = 0; i < hexadecimal.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(hexadecimal.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

// Nothing for what a dump has in no place of a value.
std::optional<Literal> literalFrom(const Json& value) {
    if (value.is_null()) {
        return Literal{};
    }
    if (value.is_string()) {
        return Literal{Literal::Kind::kText, value.get<std::string>()};
    }
    if (value.is_number()) {
        return Literal{Literal::Kind::kNumber, value.dump()};
    }
    if (value.is_object() && value.size() == 1 && value.contains("hex") && value["hex"].is_string()) {
        if (std::optional<std::string> bytes = bytesFrom(value["hex"].get<std::string>())) {
            return Literal{Literal::Kind::kText, std::move(*bytes)};
        }
    }
    return std::nullopt;
}

std::string storedField(const DumpedColumn& column, const Literal& literal) {
    if (column.column.type == Column::Type::kReal && literal.kind != Literal::Kind::kNull) {
        // Also infinity and the zero with a sign, which a statement does not store.
        if (const std::optional<std::string> stored = storedForm(column.flag, literal.text)) {
            return *stored;
        }
    }
    return storedLiteral(column.column, literal);
}

/// Reads a dump line by line and puts the tables' files together.
class Reader {
public:
    explicit Reader(CountedInput& input) : input_(input) {}

    std::vector<DumpedTable> tables() {
        const Json start = nextLine();
        if (start.value("filedb", Json()) != "dump") {
            fail(kNoDump);
        }
        if (start.value("version", Json()) != 1) {
            fail("this dump has another version than 1; a newer filedb reads it");
        }
        Json line = nextLine();
        while (!line.contains("end")) {
            readDefinition(line);
            for (line = nextLine(); line.is_array(); line = nextLine()) {
                readRow(line);
            }
            finishTable();
        }
        requireEnd(line["end"]);
        return std::move(tables_);
    }

private:
    [[noreturn]] void fail(const std::string& text) const { throw ImportError(line_, text); }

    // An array or an object.
    Json nextLine() {
        line_ = input_.line();
        if (input_.peek() == CountedInput::kEnd) {
            fail(line_ == 1 ? kNoDump
                            : R"(the dump ends early: its last line, {"end":...}, is missing; make it anew)");
        }
        const std::string text = input_.getLine();
        Json line = text.find('\0') == std::string::npos ? Json::parse(text, nullptr, false) : Json();
        if (!line.is_object() && !line.is_array()) {
            fail(line_ == 1 ? kNoDump : "not a line of a dump: neither a JSON object nor an array");
        }
        return line_ == 1 && line.is_array() ? Json::object() : line;
    }

    void readDefinition(const Json& line) {
        if (!line.is_object()) {
            fail(kNoDefinition);
        }
        const Json columns = line.value("columns", Json());
        const Json key = line.value("key", Json());
        const Json name = line.value("table", Json());
        if (!name.is_string() || !columns.is_array() || !key.is_array()) {
            fail(kNoDefinition);
        }
        definitionLine_ = line_;
        table_ = {name.get<std::string>(), "", 0};
        if (!isPossibleName(table_.name)) {
            fail(Tool::quoted(table_.name) + " is no name of a table");
        }
        if (std::any_of(tables_.begin(), tables_.end(),
                        [this](const DumpedTable& other) { return other.name == table_.name; })) {
            fail("table " + table_.name + " is there twice");
        }
        readColumns(columns, key);
    }

    void readColumns(const Json& columns, const Json& key) {
        std::vector<std::string> names;
        std::vector<std::string> flags;
        std::vector<std::string> keyNames;
        columns_.clear();
        for (const Json& definition : columns) {
            const std::optional<DumpedColumn> column =
                definition.is_string() ? columnFrom(definition.get<std::string>()) : std::nullopt;
            if (!column) {
                fail(
                    "column " + definition.dump() +
                    R"( has no definition as "name TYPE" or "name TYPE NOT NULL", with INTEGER, REAL or TEXT)");
            }
            columns_.push_back(*column);
            names.push_back(column->column.name);
            flags.push_back(std::to_string(column->flag));
        }
        for (const Json& name : key) {
            keyNames.push_back(name.is_string() ? name.get<std::string>() : std::string());
            if (std::find(names.begin(), names.end(), keyNames.back()) == names.end()) {
                fail("key column " + name.dump() + " is not a column of the table");
            }
        }
        table_.text =
            FileUtils::recordLine(names) + FileUtils::recordLine(flags) + FileUtils::recordLine(keyNames);
    }

    void readRow(const Json& line) {
        if (line.size() != columns_.size()) {
            fail(counted(line.size(), "value") + " for " + counted(columns_.size(), "column") + " of table " +
                 table_.name);
        }
        std::vector<std::string> fields;
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            const std::optional<Literal> literal = literalFrom(line[i]);
            if (!literal) {
                fail("column " + columns_[i].column.name +
                     R"(: a value is a number, a text, null, or {"hex":"..."} with the bytes of a text)");
            }
            try {
                fields.push_back(storedField(columns_[i], *literal));
            } catch (const Failure& error) {
                fail(error.what());
            }
        }
        table_.text += FileUtils::recordLine(fields);
        ++table_.rows;
    }

    void finishTable() {
        const TableExamination examination(table_.name + kTableSuffix, table_.text);
        if (!examination.isSound()) {
            const Finding& first = examination.findings().front();
            const std::size_t row = std::max(first.line, kMetaLineCount) - kMetaLineCount;
            throw ImportError(definitionLine_ + row, "table " + table_.name + ": " + first.text);
        }
        rowCount_ += table_.rows;
        tables_.push_back(std::move(table_));
    }

    void requireEnd(const Json& end) {
        const std::string expected = Json({{"tables", tables_.size()}, {"rows", rowCount_}}).dump();
        if (end.dump() != expected) {
            fail("the dump has " + counted(tables_.size(), "table") + " and " + counted(rowCount_, "row") +
                 ", its last line tells of others; the line of a whole dump is {\"end\":" + expected + "}");
        }
        if (input_.peek() != CountedInput::kEnd) {
            line_ = input_.line();
            fail("something follows the end of the dump; remove it");
        }
    }

    CountedInput& input_;
    std::size_t line_ = 1;
    std::size_t definitionLine_ = 1;
    DumpedTable table_;
    std::vector<DumpedColumn> columns_;
    std::size_t rowCount_ = 0;
    std::vector<DumpedTable> tables_;
};

}  // namespace

std::vector<DumpedTable> readDump(CountedInput& input) {
    return Reader(input).tables();
}

}  // namespace Kalt::Vemo::Tool
