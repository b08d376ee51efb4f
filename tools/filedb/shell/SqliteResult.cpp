#include "shell/SqliteResult.h"

#include <cmath>
#include <string>
#include <utility>

#include "sql/Literals.h"

namespace Kalt::Vemo::Tool {

namespace {

using Type = Column::Type;

Type declaredType(const char* name) {
    const std::string text = name == nullptr ? "" : name;
    return text == "INTEGER" ? Type::kInteger
           : text == "REAL"  ? Type::kReal
           : text == "TEXT"  ? Type::kText
                             : Type::kUnknown;
}

// The type of values of both types.
Type common(Type left, Type right) {
    if (left == Type::kUnknown || left == right) {
        return right;
    }
    return left == Type::kText || right == Type::kText ? Type::kText : Type::kReal;
}

std::string spelledBlob(const unsigned char* bytes, int length) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text = "x'";
    for (int i = 0; i < length; ++i) {
        text += kDigits[bytes[i] >> 4U];
        text += kDigits[bytes[i] & 15U];
    }
    return text + "'";
}

Type typeOfValue(int type) {
    return type == SQLITE_INTEGER ? Type::kInteger : type == SQLITE_FLOAT ? Type::kReal : Type::kText;
}

}  // namespace

SqliteResult::SqliteResult(sqlite3_stmt* statement) : statement_(statement) {
    for (int i = 0; i < sqlite3_column_count(statement); ++i) {
        const Type type = declaredType(sqlite3_column_decltype(statement, i));
        result_.columns.push_back({sqlite3_column_name(statement, i), type, false, false});
        isTypeGiven_.push_back(type != Type::kUnknown);
    }
}

void SqliteResult::takeRow() {
    std::vector<Cell> cells;
    cells.reserve(result_.columns.size());
    for (int i = 0; i < static_cast<int>(result_.columns.size()); ++i) {
        const int type = sqlite3_column_type(statement_, i);
        const auto position = static_cast<std::size_t>(i);
        if (type == SQLITE_NULL) {
            cells.emplace_back();
            continue;
        }
        if (!isTypeGiven_[position]) {
            result_.columns[position].type = common(result_.columns[position].type, typeOfValue(type));
        }
        if (type == SQLITE_FLOAT) {
            cells.emplace_back(shortestDigits(sqlite3_column_double(statement_, i)));
            continue;
        }
        const auto* const bytes = static_cast<const unsigned char*>(sqlite3_column_blob(statement_, i));
        const int length = sqlite3_column_bytes(statement_, i);
        cells.emplace_back(type == SQLITE_BLOB
                               ? spelledBlob(bytes, length)
                               : std::string(reinterpret_cast<const char*>(bytes),
                                             static_cast<std::size_t>(bytes == nullptr ? 0 : length)));
    }
    result_.rows.push_back(std::move(cells));
}

ResultSet SqliteResult::take() {
    for (Column& column : result_.columns) {
        column.type = column.type == Type::kUnknown ? Type::kText : column.type;
    }
    return std::move(result_);
}

}  // namespace Kalt::Vemo::Tool
