#include "Statements.h"

#include <algorithm>
#include <utility>

#include "DatabaseException.h"
#include "EngineErrors.h"
#include "EngineLog.h"
#include "FileUtils.h"
#include "PrimaryKey.h"
#include "RecordReader.h"
#include "Refusal.h"
#include "SqlText.h"
#include "StringConversion.h"
#include "TableMetaData.h"
#include "TableStore.h"
#include "TableText.h"
#include "Tokenizer.h"
#include "Utils.h"
#include "WhereClause.h"

namespace Kalt::Vemo::Core::Database::Filedb {

using Platform::StringConversion;

namespace {

constexpr const char* kLogTag = "FileDatabase";

constexpr int kAllWords = 65000;

constexpr const char* kRowIdNamed = "DB Error: Table special column names ROWID is not allowed for Updation";
constexpr const char* kMissingTable = "DB Error: No such Table...(%s)";

// One assignment of a SET list, ready to be stored.
struct NewValue {
    std::size_t column;
    std::string value;
};

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

std::vector<std::string> newRecord(TableMetaData& metaData, const SqlText::Insert& insert,
                                   const Values& values) {
    std::vector<std::string> record(metaData.visibleColumnCount(), kNullWord);
    // The list of names drives the loop: without it every field stays NULL, and values beyond it are not
    // looked at.
    for (unsigned int i = 0; i < insert.names.size(); ++i) {
        const unsigned int column = Utils::getColumnNameIndex(insert.names[i], metaData.columnNames());
        if (column >= record.size()) {
            throw DatabaseException("insertTable", __LINE__, "%s", kRowIdNamed);
        }
        record[column] = BoundValues::textFor(insert.values[i], values, i);
    }
    for (unsigned int column = 0; column < record.size(); ++column) {
        metaData.checkColumnNullnessTypeCor(record, column);
    }
    return record;
}

std::int64_t getROWID(TableText& table, std::size_t rowidColPos, int& newRowPos) {
    const int tableSize = table.recordCount();
    FILEDB_LOG(kLogTrace, "tableSize=%d rowidColPos=%d", tableSize, static_cast<int>(rowidColPos));
    const auto rowIdOf = [rowidColPos](const std::vector<std::string_view>& record) {
        if (rowidColPos >= record.size()) {
            throw shortRecordError("getROWID");
        }
        return StringConversion::stringTouint64(std::string(record[rowidColPos]));
    };
    std::uint64_t rowId = 1;
    newRowPos = 0;
    if (tableSize > 0) {
        const std::uint64_t last = rowIdOf(table.lastRecord().fields());
        if (last != INT64_MAX) {
            rowId = last + 1;
            newRowPos = tableSize;
        } else {
            // No id is left at the end: the new row goes where the run 1, 2, 3, ... at the file's head
            // breaks.
            RecordReader reader = table.records();
            while (reader.next() && rowIdOf(reader.fields()) == rowId) {
                ++rowId;
                ++newRowPos;
            }
        }
    }
    FILEDB_LOG(kLogTrace, "ROWID:%lld NewRowPos:%d", static_cast<long long>(rowId), newRowPos);
    return static_cast<std::int64_t>(rowId);
}

void checkPrimaryKey(const TableMetaData& metaData, const TableText& table,
                     const std::vector<std::string>& record) {
    if (metaData.primaryKeyColumns().empty()) {
        return;
    }
    Record inserted(record);
    PrimaryKey key(metaData);
    RecordReader reader = table.records();
    while (reader.next()) {
        key.requireDifferent(reader.record(), inserted);
    }
}

std::vector<NewValue> parseSetList(TableMetaData& metaData, const std::vector<std::string>& pieces,
                                   const Values& values) {
    std::vector<NewValue> result;
    std::vector<std::string> texts;
    for (unsigned int i = 0; i < pieces.size(); ++i) {
        const SqlText::Assignment assignment = SqlText::parseAssignment(pieces[i]);
        if (!metaData.hasAliasPrimaryKey() && assignment.name == kRowIdColumn) {
            throw DatabaseException("updateTable", __LINE__, "%s", kRowIdNamed);
        }
        const unsigned int column = Utils::getColumnNameIndex(assignment.name, metaData.columnNames());
        texts.push_back(BoundValues::textFor(assignment.value, values, i));
        // The i-th value takes the form of the table's i-th column, not of the column that is set.
        metaData.checkColumnNullnessTypeCor(texts, i);
        result.push_back({column, texts.back()});
    }
    return result;
}

// The records of a table with a primary key, which are compared with each changed one; none for any other
// table.
std::vector<std::vector<std::string>> keyedRecords(const TableMetaData& metaData, const TableText& table) {
    std::vector<std::vector<std::string>> result;
    if (!metaData.primaryKeyColumns().empty()) {
        RecordReader reader = table.records();
        while (reader.next()) {
            result.emplace_back(reader.fields().begin(), reader.fields().end());
        }
    }
    return result;
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

OpenTable Statements::openExistingTable(const char* handler, const TablePlace& place) {
    std::optional<OpenTable> table = store_.openForChange(place);
    if (!table) {
        throw DatabaseException(handler, __LINE__, kMissingTable, place.tableName.c_str());
    }
    return std::move(*table);
}

bool Statements::createTable(const std::string& tableName, const std::string& remainder) {
    try {
        FILEDB_LOG(kLogTrace, "tableName:'%s' unparsed SQL Statement='%s'", tableName.c_str(),
                   remainder.c_str());
        const TablePlace place = store_.locate(tableName);
        if (TableStore::exists(place)) {
            throw DatabaseException("createTable", __LINE__, "DB Error: (%s) Table is already exists.",
                                    tableName.c_str());
        }
        static_cast<void>(Utils::validateColumnName(tableName));

        TableMetaData metaData(nullptr);
        std::vector<std::string> definitions = SqlText::splitDefinitions(remainder);
        unsigned int index = 0;
        while (index < definitions.size()) {
            FILEDB_LOG(kLogTrace, "String to split:'%s'", definitions[index].c_str());
            std::vector<std::string> words = Tokenizer(definitions[index], WHITESPACE).split(kAllWords);
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
        store_.change(kCreateOperation, place, {}, TableVersion(Buffer(metaData.text())));
        return true;
    } catch (const std::exception& error) {
        noteRefusal(error);
        FILEDB_LOG(kLogError, "createTable Exception: %s", error.what());
        return false;
    }
}

bool Statements::dropTable(const std::string& tableName, const std::string& remainder) {
    try {
        FILEDB_LOG(kLogTrace, "tableName:'%s' Rem sql Statement='%s'", tableName.c_str(), remainder.c_str());
        if (!remainder.empty()) {
            throw DatabaseException("dropTable", __LINE__, "DB Syntax Error: end of statement");
        }
        store_.drop(existingTable("dropTable", tableName));
        return true;
    } catch (const std::exception& error) {
        noteRefusal(error);
        FILEDB_LOG(kLogError, "dropTable Exception: %s", error.what());
        return false;
    }
}

// A check only: neither metadata nor rows of the table are rewritten. Clients that need the column create the
// table with it.
bool Statements::alterTable(const std::string& tableName, const std::string& columnName,
                            const std::string& type) {
    try {
        TableMetaData metaData(nullptr);
        {
            const TableSource table = TableStore::openWithMode(existingTable("alterTable", tableName), "a+");
            RecordReader reader = table.records();
            metaData.readTableMetaData(reader);
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

std::optional<std::int64_t> Statements::insertTable(const std::string& tableName, const std::string& sql,
                                                    const Values& values) {
    try {
        FILEDB_LOG(kLogTrace, "tableName:'%s' Unparsed SQL='%s'", tableName.c_str(), sql.c_str());
        const TablePlace place = store_.locate(tableName);
        OpenTable table = openExistingTable("insertTable", place);
        const SqlText::Insert insert = SqlText::parseInsert(sql);
        TableMetaData metaData(nullptr);
        TableText old(TableStore::read(place, table), metaData);
        std::vector<std::string> record = newRecord(metaData, insert, values);

        const int tableSize = old.recordCount();
        int newRowPos = tableSize;
        std::int64_t rowId = 0;
        if (metaData.hasAliasPrimaryKey()) {
            // The id that is reported is made of the key column's name, not of the inserted key.
            rowId = StringConversion::stringToint64(metaData.primaryKeyColumns().front());
        } else {
            rowId = getROWID(old, record.size(), newRowPos);
            record.push_back(std::to_string(rowId));
        }
        checkPrimaryKey(metaData, old, record);

        const std::string line = storableLine("insertTable", record);
        store_.change(kInsertOperation, place, std::move(table),
                      newRowPos == tableSize ? std::move(old).withLineAtEnd(line)
                                             : std::move(old).withLineBefore(newRowPos, line));
        return rowId;
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

bool Statements::updateTable(const std::string& tableName, const std::string& sql, const Values& values) {
    try {
        FILEDB_LOG(kLogTrace, "tableName:'%s' Unparsed SQL='%s'", tableName.c_str(), sql.c_str());
        const TablePlace place = store_.locate(tableName);
        OpenTable table = openExistingTable("updateTable", place);
        TableMetaData metaData(nullptr);
        TableText old(TableStore::read(place, table), metaData);
        FILEDB_LOG(kLogTrace, "%s", "Parsing of SET column and values..");
        const SqlText::Condition condition(sql);
        const std::vector<NewValue> newValues =
            parseSetList(metaData, SqlText::splitSetList(sql, condition), values);
        WhereClause where(metaData);
        if (condition.found()) {
            where.parseWhereClause(sql, condition.first, static_cast<unsigned int>(newValues.size()), values);
        }

        std::vector<std::vector<std::string>> keyed = keyedRecords(metaData, old);
        PrimaryKey key(metaData);
        TableText::Rewriter rewriter(old);
        RecordReader reader = old.records();
        for (std::size_t k = 0; reader.next(); ++k) {
            if (!where.evaluate(reader.record())) {
                rewriter.keep(reader);
                continue;
            }
            std::vector<std::string> record(reader.fields().begin(), reader.fields().end());
            for (const NewValue& newValue : newValues) {
                if (newValue.column >= record.size()) {
                    throw shortRecordError("updateTable");
                }
                record[newValue.column] = newValue.value;
            }
            rewriter.replace(reader, storableLine("updateTable", record));
            if (!keyed.empty()) {
                keyed[k] = std::move(record);
                key.requireUnique(keyed, keyed.size(), k);
            }
        }
        store_.change(kUpdateOperation, place, std::move(table), rewriter.take());
        return true;
    } catch (const std::exception& error) {
        noteRefusal(error);
        FILEDB_LOG(kLogError, "updateTable Exception: %s", error.what());
        return false;
    }
}

bool Statements::deleteTable(const std::string& tableName, const std::string& sql, const Values& values) {
    try {
        FILEDB_LOG(kLogTrace, "tableName:'%s' Unparsed SQL='%s'", tableName.c_str(), sql.c_str());
        const TablePlace place = store_.locate(tableName);
        OpenTable table = openExistingTable("deleteTable", place);
        TableMetaData metaData(nullptr);
        TableText old(TableStore::read(place, table), metaData);
        WhereClause where(metaData);
        const SqlText::Condition condition(sql);
        if (condition.found()) {
            where.parseWhereClause(sql, condition.first, 0, values);
        }

        TableText::Rewriter rewriter(old);
        RecordReader reader = old.records();
        while (reader.next()) {
            if (where.evaluate(reader.record())) {
                rewriter.leaveOut(reader);
            } else {
                rewriter.keep(reader);
            }
        }
        store_.change(kDeleteOperation, place, std::move(table), rewriter.take());
        return true;
    } catch (const std::exception& error) {
        noteRefusal(error);
        FILEDB_LOG(kLogError, "deleteTable Exception: %s", error.what());
        return false;
    }
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
