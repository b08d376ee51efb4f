#include "sql/TableSchema.h"

#include <algorithm>
#include <cstdio>
#include <system_error>

#include "FileUtils.h"
#include "TableMetaData.h"
#include "console/ExitStatus.h"
#include "console/Printable.h"
#include "files/RawFile.h"
#include "sql/StoredForm.h"

namespace Kalt::Vemo::Tool {

using namespace Core::Database::Filedb;

namespace {

Column::Type typeOf(long flag) {
    const std::string name = typeOfFlag(flag);
    return name == "INTEGER" ? Column::Type::kInteger
           : name == "REAL"  ? Column::Type::kReal
           : name == "TEXT"  ? Column::Type::kText
                             : Column::Type::kUnknown;
}

bool isRowIdWord(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    return name == kRowIdColumn;
}

template <typename Open>
TableSchema schemaFrom(const std::string& table, Open open) {
    try {
        const StreamHandle stream = ownStream(open());
        if (stream == nullptr) {
            throw Failure("it is empty");
        }
        TableMetaData metaData(nullptr);
        metaData.readTableMetaData(stream.get());
        TableSchema schema;
        schema.name = table;
        schema.key = metaData.primaryKeyColumns();
        schema.hasHiddenRowId = !metaData.hasAliasPrimaryKey();
        for (std::size_t i = 0; i < metaData.visibleColumnCount(); ++i) {
            const long flag = metaData.flagOf(i);
            schema.columns.push_back(
                {metaData.columnNames()[i], typeOf(flag), (flag & kNotNullFlag) != 0, false});
        }
        if (schema.columns.empty()) {
            throw Failure("it names no column");
        }
        return schema;
    } catch (const std::exception&) {
        throw Failure("table " + table + ": its definition cannot be read; run filedb check");
    }
}

}  // namespace

std::string Column::typeName() const {
    switch (type) {
        case Type::kInteger:
            return "INTEGER";
        case Type::kReal:
            return "REAL";
        case Type::kText:
            return "TEXT";
        case Type::kUnknown:
            break;
    }
    return "?";
}

std::optional<Column> TableSchema::find(const std::string& columnName) const {
    for (const Column& column : columns) {
        if (column.name == columnName) {
            return column;
        }
    }
    if (!isRowIdWord(columnName)) {
        return std::nullopt;
    }
    if (hasHiddenRowId) {
        return Column{kRowIdColumn, Column::Type::kInteger, true, true};
    }
    return key.empty() ? std::nullopt : find(key.front());
}

bool TableSchema::isKey(const Column& column) const {
    return std::find(key.begin(), key.end(), column.name) != key.end();
}

std::string TableSchema::definition() const {
    std::string text;
    for (const Column& column : columns) {
        text += text.empty() ? "" : ", ";
        text += printable(column.name) + " " + column.typeName();
        if (key.size() == 1 && isKey(column)) {
            text += " PRIMARY KEY";
        } else if (column.notNull && !isKey(column)) {
            text += " NOT NULL";
        }
    }
    if (key.size() > 1) {
        text += ", PRIMARY KEY(";
        for (const std::string& part : key) {
            text += (&part == &key.front() ? "" : ", ") + printable(part);
        }
        text += ")";
    }
    return text;
}

std::string TableSchema::createStatement() const {
    for (const Column& column : columns) {
        if (column.type == Column::Type::kUnknown) {
            throw Failure("table " + name + ": the type of column " + printable(column.name) +
                          " is not known; run filedb check");
        }
    }
    return "CREATE TABLE " + name + " (" + definition() + ");";
}

TableSchema readSchema(const std::string& table, const std::string& fileName) {
    return schemaFrom(table, [&fileName] { return FileUtils::openFile(fileName, "r"); });
}

TableSchema schemaOfText(const std::string& table, const std::string& text) {
    std::string copy = text;
    return schemaFrom(table, [&copy] { return fmemopen(copy.data(), copy.size(), "r"); });
}

std::vector<std::string> tableNames(const std::string& directory, std::string_view suffix) {
    std::vector<std::string> names;
    try {
        for (const std::string& entry : entriesOf(directory)) {
            const std::size_t length = entry.size() - std::min(entry.size(), suffix.size());
            const std::string name = entry.substr(0, length);
            if (entry.substr(length) == suffix && isPossibleName(name)) {
                names.push_back(name);
            }
        }
    } catch (const std::system_error& error) {
        throw Trouble(directory + ": cannot be read: " + error.code().message());
    }
    return names;
}

}  // namespace Kalt::Vemo::Tool
