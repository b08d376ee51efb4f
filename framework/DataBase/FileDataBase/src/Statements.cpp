#include "Statements.h"

#include <algorithm>
#include <utility>

#include "ChangedKeys.h"
#include "DatabaseException.h"
#include "EngineErrors.h"
#include "EngineLog.h"
#include "FileUtils.h"
#include "PrimaryKey.h"
#include "RecordReader.h"
#include "RecordScan.h"
#include "Refusal.h"
#include "SqlText.h"
#include "StringConversion.h"
#include "TableMetaData.h"
#include "TableStore.h"
#include "TableText.h"
#include "Utils.h"
#include "WhereClause.h"

namespace Kalt::Vemo::Core::Database::Filedb {

using Platform::StringConversion;

namespace {

constexpr const char* kLogTag = "FileDatabase";

constexpr const char* kRowIdNamed = "DB Error: Table special column names ROWID is not allowed for Updation";
constexpr const char* kMissingTable = "DB Error: No such Table...(%s)";

// One assignment of a SET list, ready to be stored.
struct NewValue {
    std::size_t column;
    std::string value;
};

// Where an INSERT puts its row: the number of records before it, and the row's id.
struct NewRow {
    int position;
    std::int64_t id;
};

void logUnparsed(const SqlText::Change& statement) {
    FILEDB_LOG(kLogTrace, "tableName:'%s' Unparsed SQL='%s'", statement.tableName().c_str(),
               statement.remainder().c_str());
}

// Adds the column that the words of a definition describe.
void addColumn(const char* handler, TableMetaData& metaData, std::vector<std::string>& words) {
    std::string name = Utils::validateColumnName(words.front());
    for (const std::string& existing : metaData.columnNames()) {
        if (existing == name) {
            throw DatabaseException(handler, __LINE__, "duplicate column name:%s ", name.c_str());
        }
    }
    metaData.appendColumnName(name);
    metaData.checkColumnConstraint(words, name);
}

// The metadata of the table that a CREATE TABLE defines.
TableMetaData newTable(const std::string& definitionList) {
    TableMetaData metaData(nullptr);
    std::vector<std::string> definitions = SqlText::splitDefinitions(definitionList);
    unsigned int index = 0;
    while (index < definitions.size()) {
        FILEDB_LOG(kLogTrace, "String to split:'%s'", definitions[index].c_str());
        std::vector<std::string> words = Utils::splitWords(definitions[index]);
        if (words.empty()) {
            throw DatabaseException("createTable", __LINE__, "DB Syntax Error: Empty column Definition");
        }
        if (metaData.checkTableConstraint(words, definitions, index)) {
            continue;
        }
        if (words.size() < 2) {
            throw DatabaseException("createTable", __LINE__, "Syntax Error: In proper column Definition");
        }
        addColumn("createTable", metaData, words);
        ++index;
    }
    if (!metaData.isAliasPrimaryKey()) {
        metaData.appendColumn(kRowIdColumn, kIntegerFlag);
    }
    return metaData;
}

// The record that an INSERT stores, still without its ROWID.
std::vector<std::string> newRecord(TableMetaData& metaData, const SqlText::Insert& insert,
                                   const Values& values) {
    std::vector<std::string> record(metaData.visibleColumnCount(), kNullWord);
    // The list of names drives the loop: without it every field stays NULL, and values beyond it are ignored.
    for (unsigned int i = 0; i < insert.nameCount(); ++i) {
        const unsigned int column = Utils::getColumnNameIndex(insert.name(i), metaData.columnNames());
        if (column >= record.size()) {
            throw DatabaseException("insertTable", __LINE__, "%s", kRowIdNamed);
        }
        record[column] = BoundValues::textFor(insert.value(i), values, i);
    }
    for (unsigned int column = 0; column < record.size(); ++column) {
        metaData.checkColumnNullnessTypeCor(record, column);
    }
    return record;
}

NewRow getROWID(TableText& table, std::size_t rowIdColumn) {
    const int tableSize = table.recordCount();
    FILEDB_LOG(kLogTrace, "tableSize=%d rowidColPos=%d", tableSize, static_cast<int>(rowIdColumn));
    const auto rowIdOf = [rowIdColumn](const std::vector<std::string_view>& record) {
        if (rowIdColumn >= record.size()) {
            throw shortRecordError("getROWID");
        }
        return StringConversion::stringTouint64(std::string(record[rowIdColumn]));
    };
    std::uint64_t rowId = 1;
    int position = 0;
    if (tableSize > 0) {
        const std::uint64_t last = rowIdOf(table.lastRecord().fields());
        if (last != INT64_MAX) {
            rowId = last + 1;
            position = tableSize;
        } else {
            // No id is left after the last one: the row goes where the run 1, 2, 3, ... of the first records
            // breaks.
            RecordReader reader = table.records();
            while (reader.next() && rowIdOf(reader.fields()) == rowId) {
                ++rowId;
                ++position;
            }
        }
    }
    FILEDB_LOG(kLogTrace, "ROWID:%lld NewRowPos:%d", static_cast<long long>(rowId), position);
    return {position, static_cast<std::int64_t>(rowId)};
}

void checkPrimaryKey(TableText& table, const std::vector<std::string>& record) {
    const TableMetaData& metaData = table.metaData();
    if (metaData.primaryKeyColumns().empty()) {
        return;
    }
    PrimaryKey key(metaData);
    const RowIndex* const rows = metaData.hasAliasPrimaryKey() ? table.version().rowIndex() : nullptr;
    if (rows != nullptr) {
        key.requireUnique(record, *rows, table.version().text.view());
        return;
    }
    Record inserted(record);
    RecordReader reader = table.records();
    while (reader.next()) {
        key.requireDifferent(reader.record(), inserted);
    }
}

std::vector<NewValue> parseSetList(TableMetaData& metaData,
                                   const std::vector<SqlText::Assignment>& assignments,
                                   const Values& values) {
    std::vector<NewValue> result;
    std::vector<std::string> texts;
    for (unsigned int i = 0; i < assignments.size(); ++i) {
        const std::string& name = assignments[i].checkedName();
        if (!metaData.hasAliasPrimaryKey() && name == kRowIdColumn) {
            throw DatabaseException("updateTable", __LINE__, "%s", kRowIdNamed);
        }
        const unsigned int column = Utils::getColumnNameIndex(name, metaData.columnNames());
        texts.push_back(BoundValues::textFor(assignments[i].value(), values, i));
        // The i-th value takes the form of the table's i-th column, not of the column that is set.
        metaData.checkColumnNullnessTypeCor(texts, i);
        result.push_back({column, texts.back()});
    }
    return result;
}

// The reader's record with the new values.
std::vector<std::string> changedRecord(RecordReader& reader, const std::vector<NewValue>& newValues) {
    std::vector<std::string> record(reader.fields().begin(), reader.fields().end());
    for (const NewValue& newValue : newValues) {
        if (newValue.column >= record.size()) {
            throw shortRecordError("updateTable");
        }
        record[newValue.column] = newValue.value;
    }
    return record;
}

}  // namespace

// ---- Tables ----

TablePlace Statements::existingTable(const char* handler, const std::string& tableName) {
    TablePlace place = store_.locate(tableName);
    if (!TableStore::exists(place)) {
        throw DatabaseException(handler, __LINE__, kMissingTable, tableName.c_str());
    }
    return place;
}

File Statements::openExistingTable(const char* handler, const TablePlace& place) {
    std::optional<File> file = store_.openForChange(place);
    if (!file) {
        throw DatabaseException(handler, __LINE__, kMissingTable, place.tableName.c_str());
    }
    return std::move(*file);
}

void Statements::createTable(const std::string& tableName, const std::string& remainder) {
    try {
        FILEDB_LOG(kLogTrace, "tableName:'%s' unparsed SQL Statement='%s'", tableName.c_str(),
                   remainder.c_str());
        const TablePlace place = store_.locate(tableName);
        if (TableStore::exists(place)) {
            throw DatabaseException("createTable", __LINE__, "DB Error: (%s) Table is already exists.",
                                    tableName.c_str());
        }
        static_cast<void>(Utils::validateColumnName(tableName));

        store_.change(Operation::createTable, place, {}, TableVersion(Buffer(newTable(remainder).text())));
    } catch (const std::exception& error) {
        noteRefusal(error);
        FILEDB_LOG(kLogError, "createTable Exception: %s", error.what());
    }
}

void Statements::dropTable(const std::string& tableName, const std::string& remainder) {
    try {
        FILEDB_LOG(kLogTrace, "tableName:'%s' Rem sql Statement='%s'", tableName.c_str(), remainder.c_str());
        if (!remainder.empty()) {
            throw DatabaseException("dropTable", __LINE__, "DB Syntax Error: end of statement");
        }
        store_.drop(existingTable("dropTable", tableName));
    } catch (const std::exception& error) {
        noteRefusal(error);
        FILEDB_LOG(kLogError, "dropTable Exception: %s", error.what());
    }
}

bool Statements::alterTable(const std::string& tableName, const std::string& columnName,
                            const std::string& type) {
    try {
        {
            TableSource table = TableStore::openWithMode(existingTable("alterTable", tableName), "a+");
            TableMetaData metaData = table.readMetaData();
            std::vector<std::string> words = {columnName, type};
            addColumn("alterTable", metaData, words);
        }
        if (store_.autoCommit() && !store_.hasEarlierWork()) {
            store_.commit();
        }
        return true;
    } catch (const std::exception& error) {
        noteRefusal(error);
        FILEDB_LOG(kLogError, "alterTable Exception: %s", error.what());
        return false;
    }
}

// ---- Rows ----

std::optional<std::int64_t> Statements::insertTable(const SqlText::Change& statement, const Values& values) {
    try {
        logUnparsed(statement);
        const TablePlace place = store_.locate(statement.tableName());
        File file = openExistingTable("insertTable", place);
        statement.insert().check();
        ReadTable table = store_.read(place, std::move(file));
        TableText old(std::move(table.version));
        TableMetaData& metaData = old.metaData();
        std::vector<std::string> record = newRecord(metaData, statement.insert(), values);

        const int tableSize = old.recordCount();
        NewRow row{tableSize, 0};
        if (metaData.hasAliasPrimaryKey()) {
            // The id that is reported is made of the key column's name, not of the inserted key.
            row.id = StringConversion::stringToint64(metaData.primaryKeyColumns().front());
        } else {
            row = getROWID(old, record.size());
            record.push_back(std::to_string(row.id));
        }
        checkPrimaryKey(old, record);

        const std::string line = storableLine("insertTable", record);
        store_.change(Operation::insertRow, place, std::move(table.origin),
                      row.position == tableSize ? std::move(old).withLineAtEnd(line)
                                                : std::move(old).withLineBefore(row.position, line));
        return row.id;
    } catch (const std::exception& error) {
        noteRefusal(error);
        FILEDB_LOG(kLogError, "insertTable Exception: %s", error.what());
        return std::nullopt;
    }
}

std::string Statements::storableLine(const char* handler, const std::vector<std::string>& record) const {
    std::string line = FileUtils::recordLine(record);
    if (mayStore_ != nullptr && !mayStore_(line.size())) {
        throw ContentRefusal(
            handler, __LINE__,
            "DB Error: Line of " + std::to_string(line.size()) + " bytes is too long, shorten its texts");
    }
    return line;
}

void Statements::updateTable(const SqlText::Change& statement, const Values& values) {
    try {
        logUnparsed(statement);
        const TablePlace place = store_.locate(statement.tableName());
        ReadTable table = store_.read(place, openExistingTable("updateTable", place));
        TableText old(std::move(table.version));
        TableMetaData& metaData = old.metaData();
        FILEDB_LOG(kLogTrace, "%s", "Parsing of SET column and values..");
        const std::vector<NewValue> newValues =
            parseSetList(metaData, statement.assignments().logged(), values);
        WhereClause where(metaData);
        if (const auto& condition = statement.condition()) {
            where.parseWhereClause(statement.remainder(), condition->first,
                                   static_cast<unsigned int>(newValues.size()), values);
        }

        TableText::Rewriter rewriter(old);
        RecordReader reader = old.records();
        RecordScan scan(reader, where, &old.version());
        ChangedKeys keys(old, scan);
        while (scan.next()) {
            if (!scan.isMatch()) {
                rewriter.keep(reader);
                continue;
            }
            std::vector<std::string> record = changedRecord(reader, newValues);
            rewriter.replace(reader, storableLine("updateTable", record));
            keys.change(scan.row(), std::move(record));
        }
        store_.change(Operation::updateRows, place, std::move(table.origin), rewriter.finish());
    } catch (const std::exception& error) {
        noteRefusal(error);
        FILEDB_LOG(kLogError, "updateTable Exception: %s", error.what());
    }
}

void Statements::deleteTable(const SqlText::Change& statement, const Values& values) {
    try {
        logUnparsed(statement);
        const TablePlace place = store_.locate(statement.tableName());
        ReadTable table = store_.read(place, openExistingTable("deleteTable", place));
        TableText old(std::move(table.version));
        WhereClause where(old.metaData());
        if (const auto& condition = statement.condition()) {
            where.parseWhereClause(statement.remainder(), condition->first, 0, values);
        }

        TableText::Rewriter rewriter(old);
        RecordReader reader = old.records();
        RecordScan scan(reader, where, &old.version());
        while (scan.next()) {
            if (scan.isMatch()) {
                rewriter.leaveOut(reader);
            } else {
                rewriter.keep(reader);
            }
        }
        store_.change(Operation::deleteRows, place, std::move(table.origin), rewriter.finish());
    } catch (const std::exception& error) {
        noteRefusal(error);
        FILEDB_LOG(kLogError, "deleteTable Exception: %s", error.what());
    }
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
