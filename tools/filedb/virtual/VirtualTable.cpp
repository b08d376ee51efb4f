#include "virtual/VirtualTable.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "console/ExitStatus.h"
#include "console/Printable.h"
#include "sql/SqlLexer.h"

namespace Kalt::Vemo::Tool {

namespace {

Failure rowIdRefusal(const TableSchema& schema) {
    return Failure("the ROWID of table " + schema.name +
                   (schema.hasHiddenRowId ? " is given by the engine; it cannot be set"
                                          : " is its key; set column " + schema.key.front() + " instead"));
}

// In the decimal digits that the column's form is made of.
Literal literalOf(const Column& column, sqlite3_value* value) {
    const auto text = [value] {
        const auto* const bytes = static_cast<const char*>(sqlite3_value_blob(value));
        const int length = sqlite3_value_bytes(value);
        return bytes == nullptr ? std::string() : std::string(bytes, static_cast<std::size_t>(length));
    };
    switch (sqlite3_value_type(value)) {
        case SQLITE_NULL:
            return {};
        case SQLITE_INTEGER:
            return {Literal::Kind::kNumber, std::to_string(sqlite3_value_int64(value))};
        case SQLITE_FLOAT: {
            const double number = sqlite3_value_double(value);
            constexpr double kBeyondInteger = 9223372036854775808.0;
            if (column.type == Column::Type::kInteger && number == std::trunc(number) &&
                std::abs(number) < kBeyondInteger) {
                return {Literal::Kind::kNumber, std::to_string(static_cast<std::int64_t>(number))};
            }
            if (column.type == Column::Type::kInteger) {
                throw Failure("column " + column.name + " is INTEGER: \"" + shortestDigits(number) +
                              "\" is not a whole number of 64 bits");
            }
            if (column.type != Column::Type::kText) {
                return {Literal::Kind::kNumber, shortestDigits(number)};
            }
            // As SQLite puts a number into a text.
            const auto* const digits = sqlite3_value_text(value);
            return {Literal::Kind::kText, reinterpret_cast<const char*>(digits)};
        }
        case SQLITE_BLOB:
            throw Failure("column " + column.name +
                          ": a table file holds no BLOB; CAST it to TEXT, or spell it with hex()");
        default:
            return {Literal::Kind::kText, text()};
    }
}

}  // namespace

VirtualTable::VirtualTable(std::shared_ptr<TableSpace> space, TableSchema schema)
    : space_(std::move(space)), schema_(std::make_shared<TableSchema>(std::move(schema))) {
    // Of names that differ only in case the first in byte order.
    const std::vector<Column>& columns = schema_->columns;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const bool isFirst = std::none_of(columns.begin(), columns.end(), [&](const Column& other) {
            return other.name < columns[i].name && upperCase(other.name) == upperCase(columns[i].name);
        });
        if (isFirst) {
            shown_.push_back(i);
        }
    }
}

std::string VirtualTable::declaration() const {
    std::string text;
    for (const std::size_t i : shown_) {
        const Column& column = schema_->columns[i];
        text += (text.empty() ? "" : ", ") + ("\"" + column.name + "\"");
        text += column.type == Column::Type::kUnknown ? "" : " " + column.typeName();
    }
    return "CREATE TABLE x (" + text + ")";
}

bool VirtualTable::isRowId(int declared) const {
    return declared < 0 || (!schema_->hasHiddenRowId && schema_->isKey(schema_->columns[columnAt(declared)]));
}

std::vector<std::string> VirtualTable::hiddenColumns() const {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < schema_->columns.size(); ++i) {
        if (std::find(shown_.begin(), shown_.end(), i) == shown_.end()) {
            names.push_back(schema_->columns[i].name);
        }
    }
    return names;
}

void VirtualTable::change(sqlite3* database, int count, sqlite3_value** arguments, sqlite3_int64& newRowId) {
    const int onConflict = sqlite3_vtab_on_conflict(database);
    if (count > 1 && onConflict != SQLITE_ABORT) {
        throw Failure(
            "the engine has no OR IGNORE, OR REPLACE, OR FAIL and OR ROLLBACK; leave it out, and look first "
            "which rows are there");
    }
    if (count == 1) {
        space_->remove(schema_, static_cast<std::uint64_t>(sqlite3_value_int64(arguments[0])));
    } else if (sqlite3_value_type(arguments[0]) == SQLITE_NULL) {
        insert(arguments, newRowId);
    } else {
        update(arguments);
    }
}

std::string VirtualTable::stored(const Column& column, const Literal& literal) {
    std::string form = storedLiteral(column, literal);
    if (column.type == Column::Type::kReal && literal.kind != Literal::Kind::kNull &&
        realNumber(literal.text) != realNumber(form)) {
        space_->noteRounding(column.name, literal.text, form);
    }
    return form;
}

void VirtualTable::insert(sqlite3_value** arguments, sqlite3_int64& newRowId) {
    if (sqlite3_value_type(arguments[1]) != SQLITE_NULL) {
        throw rowIdRefusal(*schema_);
    }
    std::vector<Column> columns;
    std::vector<Literal> literals;
    std::optional<std::int64_t> key;
    for (std::size_t i = 0; i < shown_.size(); ++i) {
        columns.push_back(schema_->columns[shown_[i]]);
        literals.push_back(literalOf(columns.back(), arguments[2 + i]));
        static_cast<void>(stored(columns.back(), literals.back()));
        if (isRowId(static_cast<int>(i))) {
            const auto number = wholeNumber(literals.back().text);
            key = static_cast<std::int64_t>(number.value_or(0));
        }
    }
    newRowId = space_->insert(schema_, columns, literals);
    newRowId = key.value_or(newRowId);
}

void VirtualTable::update(sqlite3_value** arguments) {
    const sqlite3_int64 rowId = sqlite3_value_int64(arguments[0]);
    if (sqlite3_value_type(arguments[1]) != SQLITE_INTEGER || sqlite3_value_int64(arguments[1]) != rowId) {
        throw rowIdRefusal(*schema_);
    }
    std::vector<StatementBuilder::Assignment> assignments;
    for (std::size_t i = 0; i < shown_.size(); ++i) {
        if (sqlite3_value_nochange(arguments[2 + i]) != 0) {
            continue;
        }
        const Column& column = schema_->columns[shown_[i]];
        assignments.push_back({shown_[i], stored(column, literalOf(column, arguments[2 + i]))});
    }
    if (!assignments.empty()) {
        space_->update(schema_, static_cast<std::uint64_t>(rowId), std::move(assignments));
    }
}

// ---- Cursor

Cursor::Cursor(VirtualTable& table) : table_(table) {
    table_.space().cursorOpened();
}

Cursor::~Cursor() {
    table_.space().cursorClosed();
}

void Cursor::readAll() {
    rows_ = table_.space().allRows(table_.schema());
    position_ = 0;
    end_ = rows_->rows().size();
}

void Cursor::readRow(std::uint64_t rowId) {
    rows_ = table_.space().rowsWith(table_.schema(), rowId);
    position_ = 0;
    end_ = rows_->rows().size();
    if (rows_->hasPlainRowIds()) {
        position_ = rows_->find(rowId);
        end_ = std::min(position_ + 1, end_);
    }
}

}  // namespace Kalt::Vemo::Tool
