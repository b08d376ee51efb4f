#include "FileDatabase.h"

#include <algorithm>
#include <new>
#include <optional>
#include <utility>

#include "CountedLock.h"
#include "DatabaseException.h"
#include "EngineAccess.h"
#include "EngineErrors.h"
#include "EngineLog.h"
#include "FileResultTable.h"
#include "FileUtils.h"
#include "RecordReader.h"
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

// Words of a statement's head end at white space or at an opening bracket.
constexpr const char* kHeadDelimiter = "( \t\n\v\f\r";
constexpr int kHeadWords = 3;
constexpr int kAllWords = 65000;

constexpr const char* kRowIdNamed = "DB Error: Table special column names ROWID is not allowed for Updation";
constexpr const char* kMissingTable = "DB Error: No such Table...(%s)";

// A handler's result when it failed.
constexpr int kFailed = -1;

// Of the last statement of this thread, whichever database it was for.
thread_local Refusal lastRefusal = Refusal::none;

void noteRefusal(const std::exception& error) {
    if (dynamic_cast<const SystemRefusal*>(&error) != nullptr ||
        dynamic_cast<const std::bad_alloc*>(&error) != nullptr) {
        lastRefusal = Refusal::system;
    } else if (dynamic_cast<const ContentRefusal*>(&error) != nullptr) {
        lastRefusal = Refusal::content;
    }
}

}  // namespace

// ---- Life cycle ----

FileDatabase::FileDatabase() : FileDatabase(nullptr) {}

FileDatabase::FileDatabase(LineCheck mayStore)
    : mayStore_(mayStore), store_(std::make_unique<TableStore>()) {}

FileDatabase::~FileDatabase() {
    static_cast<void>(FileDatabase::deinit());
}

bool FileDatabase::init(const std::string& path) {
    FILEDB_LOG(kLogInfo, "%s", "init");
    try {
        if (!store_->open(path)) {
            FILEDB_LOG(kLogError, "%s", "DataBase Init: DB Directory creation failed");
            return false;
        }
        lock_ = std::make_unique<CountedLock>();
        transactionActive_ = false;
        return true;
    } catch (const std::exception& error) {
        FILEDB_LOG(kLogError, "init Exception: %s", error.what());
        return false;
    }
}

bool FileDatabase::deinit() {
    FILEDB_LOG(kLogInfo, "%s", "deinit");
    store_->close();
    lock_.reset();
    return true;
}

std::int64_t FileDatabase::getLastInsertRowid() {
    const std::int64_t rowId = lastInsertRowid_;
    FILEDB_LOG(kLogInfo, "getLastInsertRowid: %lld", static_cast<long long>(rowId));
    return rowId;
}

// Before init and after deinit there is no mutex, and nobody to keep out.
void FileDatabase::lock() {
    if (lock_ != nullptr) {
        lock_->lock();
    }
}

void FileDatabase::unlock() {
    if (lock_ != nullptr) {
        lock_->unlock();
    }
}

// ---- Statement intake ----

int FileDatabase::executeUpdate(const char* sql, ...) {
    if (sql == nullptr) {
        FILEDB_LOG(kLogError, "%s", "executeUpdate: the statement text is a null pointer; pass SQL text");
        return 1;
    }
    va_list arguments;
    va_start(arguments, sql);
    const int result = runUpdate(sql, arguments);
    va_end(arguments);
    return result;
}

IResultTable* FileDatabase::executeQuery(const char* sql, ...) {
    if (sql == nullptr) {
        FILEDB_LOG(kLogError, "%s", "executeQuery: the statement text is a null pointer; pass SQL text");
        return nullptr;
    }
    va_list arguments;
    va_start(arguments, sql);
    IResultTable* result = runQuery(sql, arguments);
    va_end(arguments);
    return result;
}

int FileDatabase::runUpdate(const std::string& sql, va_list arguments) {
    FILEDB_LOG(kLogInfo, "%s", "executeUpdate");
    FILEDB_LOG(kLogTrace, "passed SQL:'%s'", sql.c_str());
    lastRefusal = Refusal::none;
    if (!store_->hasDirectory()) {
        FILEDB_LOG(kLogError, "%s", "DB Error: Data Base is not initialised");
        return 1;
    }
    try {
        Values values;
        populateValueVec(sql, arguments, values);
        return dispatch(checkRemoveSemiColon(sql), values);
    } catch (const std::exception& error) {
        // Also for a failure before the lock was taken: inside a transaction the thread then gives back one
        // count.
        unlock();
        noteRefusal(error);
        FILEDB_LOG(kLogError, "executeUpdate Exception: %s", error.what());
        return 1;
    }
}

// Recognises the statement by its first three words. Unlocks once, except where a comment says so.
int FileDatabase::dispatch(const std::string& statement, const Values& values) {
    Tokenizer words(statement, kHeadDelimiter);
    const std::vector<std::string> head = words.split(kHeadWords);
    lock();
    store_->finishEarlierWork();
    if (head.size() < kHeadWords) {
        throw DatabaseException("executeUpdate", __LINE__, "DB Syntax Error: Incomplete Statement.");
    }
    if (head[0] == "ALTER" && head[1] == "TABLE") {
        return dispatchAlter(words);
    }
    if (head[0] == "CREATE" && head[1] == "TABLE" && head[2] == "IF") {
        createTableIfMissing(words);
    } else {
        dispatchChange(head, words, values);
    }
    unlock();
    return 0;
}

// What these handlers return does not reach the caller: they report their failures to the log.
void FileDatabase::dispatchChange(const std::vector<std::string>& head, Tokenizer& words,
                                  const Values& values) {
    const auto change = [&](auto handler) {
        store_->requireEarlierWorkDone();
        static_cast<void>(handler());
    };
    if (head[0] == "INSERT" && head[1] == "INTO") {
        change([&] { return insertTable(head[2], words.remainder(), values); });
    } else if (head[0] == "UPDATE" && head[2] == "SET") {
        change([&] { return updateTable(head[1], words.remainder(), values); });
    } else if (head[0] == "DELETE" && head[1] == "FROM") {
        change([&] { return deleteTable(head[2], words.remainder(), values); });
    } else if (head[0] == "CREATE" && head[1] == "TABLE") {
        change([&] { return createTable(head[2], words.remainder()); });
    } else if (head[0] == "DROP" && head[1] == "TABLE") {
        change([&] { return dropTable(head[2], words.remainder()); });
    } else {
        FILEDB_LOG(kLogError, "%s", "Syntax Error: unsupported Error");
    }
}

// The accepted form is ALTER TABLE, any word, the table's name, ADD COLUMN, name, type: the third word is
// skipped.
int FileDatabase::dispatchAlter(Tokenizer& words) {
    const std::string tableName = words.next();
    if (tableName.empty()) {
        throw DatabaseException("executeUpdate", __LINE__, "DB Syntax Error: error after TABLE key word.");
    }
    const TablePlace place = store_->locate(tableName);
    if (!TableStore::exists(place)) {
        // Clients count on it: the thread keeps one more count of the lock here.
        return 0;
    }
    FILEDB_LOG(kLogInfo, "Table (%s) exists, so ADDING Passed column.", place.fileName.c_str());
    const std::string add = words.next();
    const std::string column = words.next();
    const std::string name = words.next();
    const std::string type = words.next();
    if (add != "ADD" || column != "COLUMN" || type.empty()) {
        throw DatabaseException(
            "executeUpdate", __LINE__,
            "DB Syntax Error: error after TABLE key word - Non-supported ALTER TABLE format");
    }
    const int result = alterTable(tableName, name, type);
    unlock();
    return result;
}

void FileDatabase::createTableIfMissing(Tokenizer& words) {
    const std::string notWord = words.next();
    const std::string existsWord = words.next();
    const std::string tableName = words.next();
    if (notWord != "NOT" || existsWord != "EXISTS" || tableName.empty()) {
        throw DatabaseException("executeUpdate", __LINE__, "DB Syntax Error: error after IF key word.");
    }
    const TablePlace place = store_->locate(tableName);
    if (TableStore::exists(place)) {
        FILEDB_LOG(kLogInfo, "(%s) Table is already exists.", place.fileName.c_str());
        return;
    }
    store_->requireEarlierWorkDone();
    createTable(tableName, words.remainder());
}

// One argument for each "?" of the raw text, also for one inside a literal.
void FileDatabase::populateValueVec(const std::string& sql, va_list arguments, Values& values) {
    values.clear();
    const auto count = static_cast<std::size_t>(std::count(sql.begin(), sql.end(), '?'));
    values.reserve(count);
    while (values.size() < count) {
        const char* argument = va_arg(arguments, const char*);
        values.emplace_back(argument == nullptr ? kNullWord : argument);
    }
}

std::string FileDatabase::checkRemoveSemiColon(const std::string& statement) {
    static const std::string kTrailing = std::string(";") + WHITESPACE;
    const std::size_t last = statement.find_last_not_of(kTrailing);
    if (last == std::string::npos || statement.find(';', last) == std::string::npos) {
        throw DatabaseException("checkRemoveSemiColon", __LINE__,
                                "Syntax Error: No ; found at end of Statement");
    }
    std::string result = statement.substr(0, last + 1);
    FILEDB_LOG(kLogTrace, "Statement After Removing trailing Semicolon:%s", result.c_str());
    return result;
}

std::string FileDatabase::validateValuePlaceHolder(const std::string& holder, const Values& values,
                                                   unsigned int index) {
    if (index >= values.size()) {
        throw DatabaseException("validateValuePlaceHolder", __LINE__,
                                "Not provided value for value Holder: %s", holder.c_str());
    }
    const std::string_view trimmed = Utils::trimmed(holder);
    if (trimmed != "?" && trimmed != "'?'") {
        throw DatabaseException("validateValuePlaceHolder", __LINE__,
                                "Invalid value for value holder String: (%s)", std::string(trimmed).c_str());
    }
    const std::string& value = values[index];
    // Quotes inside the value are not doubled: whoever reads the literal decides where it ends.
    std::string result = trimmed == "?" || value == kNullWord ? value : Utils::inSingleQuotes(value);
    FILEDB_LOG(kLogTrace, "Value Holder:%s Value:%s", holder.c_str(), result.c_str());
    return result;
}

// ---- Table definition ----

TablePlace FileDatabase::existingTable(const char* handler, const std::string& tableName) {
    TablePlace place = store_->locate(tableName);
    if (!TableStore::exists(place)) {
        throw DatabaseException(handler, __LINE__, kMissingTable, tableName.c_str());
    }
    return place;
}

OpenTable FileDatabase::openExistingTable(const char* handler, const TablePlace& place) {
    std::optional<OpenTable> table = store_->openForChange(place);
    if (!table) {
        throw DatabaseException(handler, __LINE__, kMissingTable, place.tableName.c_str());
    }
    return std::move(*table);
}

int FileDatabase::createTable(const std::string& tableName, const std::string& remainder) {
    try {
        FILEDB_LOG(kLogTrace, "tableName:'%s' unparsed SQL Statement='%s'", tableName.c_str(),
                   remainder.c_str());
        const TablePlace place = store_->locate(tableName);
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
        store_->change(kCreateOperation, place, {}, TableVersion(Text(metaData.text())));
        return 0;
    } catch (const std::exception& error) {
        noteRefusal(error);
        FILEDB_LOG(kLogError, "createTable Exception: %s", error.what());
        return kFailed;
    }
}

void FileDatabase::addColumn(const char* handler, TableMetaData& metaData, std::vector<std::string>& words) {
    std::string name = Utils::validateColumnName(words.front());
    for (const std::string& existing : metaData.columnNames()) {
        if (existing == name) {
            throw DatabaseException(handler, __LINE__, "duplicate column name:%s ", name.c_str());
        }
    }
    metaData.appendColumnName(name);
    metaData.checkColumnConstraint(words, name);
}

int FileDatabase::dropTable(const std::string& tableName, const std::string& remainder) {
    try {
        FILEDB_LOG(kLogTrace, "tableName:'%s' Rem sql Statement='%s'", tableName.c_str(), remainder.c_str());
        if (!remainder.empty()) {
            throw DatabaseException("dropTable", __LINE__, "DB Syntax Error: end of statement");
        }
        store_->drop(existingTable("dropTable", tableName));
        return 0;
    } catch (const std::exception& error) {
        noteRefusal(error);
        FILEDB_LOG(kLogError, "dropTable Exception: %s", error.what());
        return kFailed;
    }
}

// A check only: neither metadata nor rows of the table are rewritten. Clients that need the column create the
// table with it.
int FileDatabase::alterTable(const std::string& tableName, const std::string& columnName,
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
        if (store_->autoCommit() && !store_->hasEarlierWork()) {
            store_->commit();
        }
        return 1;
    } catch (const std::exception& error) {
        noteRefusal(error);
        FILEDB_LOG(kLogError, "alterTable Exception: %s", error.what());
        return kFailed;
    }
}

// ---- Rows ----

int FileDatabase::insertTable(const std::string& tableName, const std::string& sql, const Values& values) {
    try {
        FILEDB_LOG(kLogTrace, "tableName:'%s' Unparsed SQL='%s'", tableName.c_str(), sql.c_str());
        const TablePlace place = store_->locate(tableName);
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
        store_->change(kInsertOperation, place, std::move(table),
                       newRowPos == tableSize ? std::move(old).withLineAtEnd(line)
                                              : std::move(old).withLineBefore(newRowPos, line));
        lastInsertRowid_ = rowId;
        return 0;
    } catch (const std::exception& error) {
        noteRefusal(error);
        FILEDB_LOG(kLogError, "insertTable Exception: %s", error.what());
        return kFailed;
    }
}

std::string FileDatabase::storableLine(const char* handler, const std::vector<std::string>& record) const {
    std::string line = FileUtils::recordLine(record);
    if (mayStore_ != nullptr && !mayStore_(line.size())) {
        throw ContentRefusal(
            handler, __LINE__,
            "DB Error: Line of " + std::to_string(line.size()) + " bytes is too long, shorten its texts");
    }
    return line;
}

std::vector<std::string> FileDatabase::newRecord(TableMetaData& metaData, const SqlText::Insert& insert,
                                                 const Values& values) {
    std::vector<std::string> record(metaData.visibleColumnCount(), kNullWord);
    // The list of names drives the loop: without it every field stays NULL, and values beyond it are not
    // looked at.
    for (unsigned int i = 0; i < insert.names.size(); ++i) {
        const unsigned int column = Utils::getColumnNameIndex(insert.names[i], metaData.columnNames());
        if (column >= record.size()) {
            throw DatabaseException("insertTable", __LINE__, "%s", kRowIdNamed);
        }
        record[column] = validateValuePlaceHolder(insert.values[i], values, i);
    }
    for (unsigned int column = 0; column < record.size(); ++column) {
        metaData.checkColumnNullnessTypeCor(record, column);
    }
    return record;
}

std::int64_t FileDatabase::getROWID(TableText& table, std::size_t rowidColPos, int& newRowPos) {
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

void FileDatabase::checkPrimaryKey(TableMetaData& metaData, const TableText& table,
                                   const std::vector<std::string>& record) {
    if (metaData.primaryKeyColumns().empty()) {
        return;
    }
    Record inserted(record);
    WhereClause where(metaData);
    RecordReader reader = table.records();
    while (reader.next()) {
        where.checkPrimaryKeyValidation(reader.record(), inserted);
    }
}

int FileDatabase::updateTable(const std::string& tableName, const std::string& sql, const Values& values) {
    try {
        FILEDB_LOG(kLogTrace, "tableName:'%s' Unparsed SQL='%s'", tableName.c_str(), sql.c_str());
        const TablePlace place = store_->locate(tableName);
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
        TableText::Rewriter rewriter(old);
        RecordReader reader = old.records();
        for (int k = 0; reader.next(); ++k) {
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
                keyed[static_cast<std::size_t>(k)] = std::move(record);
                where.updatePrimaryKeyValidation(keyed, static_cast<int>(keyed.size()), k);
            }
        }
        store_->change(kUpdateOperation, place, std::move(table), rewriter.take());
        return 0;
    } catch (const std::exception& error) {
        noteRefusal(error);
        FILEDB_LOG(kLogError, "updateTable Exception: %s", error.what());
        return kFailed;
    }
}

std::vector<FileDatabase::NewValue> FileDatabase::parseSetList(TableMetaData& metaData,
                                                               const std::vector<std::string>& pieces,
                                                               const Values& values) {
    std::vector<NewValue> result;
    std::vector<std::string> texts;
    for (unsigned int i = 0; i < pieces.size(); ++i) {
        const SqlText::Assignment assignment = SqlText::parseAssignment(pieces[i]);
        if (!metaData.hasAliasPrimaryKey() && assignment.name == kRowIdColumn) {
            throw DatabaseException("updateTable", __LINE__, "%s", kRowIdNamed);
        }
        const unsigned int column = Utils::getColumnNameIndex(assignment.name, metaData.columnNames());
        texts.push_back(validateValuePlaceHolder(assignment.value, values, i));
        // The i-th value takes the form of the table's i-th column, not of the column that is set.
        metaData.checkColumnNullnessTypeCor(texts, i);
        result.push_back({column, texts.back()});
    }
    return result;
}

// The records of a table with a primary key, which are compared with each changed one; none for any other
// table.
std::vector<std::vector<std::string>> FileDatabase::keyedRecords(const TableMetaData& metaData,
                                                                 const TableText& table) {
    std::vector<std::vector<std::string>> result;
    if (!metaData.primaryKeyColumns().empty()) {
        RecordReader reader = table.records();
        while (reader.next()) {
            result.emplace_back(reader.fields().begin(), reader.fields().end());
        }
    }
    return result;
}

int FileDatabase::deleteTable(const std::string& tableName, const std::string& sql, const Values& values) {
    try {
        FILEDB_LOG(kLogTrace, "tableName:'%s' Unparsed SQL='%s'", tableName.c_str(), sql.c_str());
        const TablePlace place = store_->locate(tableName);
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
        store_->change(kDeleteOperation, place, std::move(table), rewriter.take());
        return 0;
    } catch (const std::exception& error) {
        noteRefusal(error);
        FILEDB_LOG(kLogError, "deleteTable Exception: %s", error.what());
        return kFailed;
    }
}

// ---- SELECT ----

IResultTable* FileDatabase::runQuery(const std::string& sql, va_list arguments) {
    FILEDB_LOG(kLogInfo, "%s", "executeQuery");
    FILEDB_LOG(kLogTrace, "passed SQL:%s", sql.c_str());
    if (!store_->hasDirectory()) {
        FILEDB_LOG(kLogError, "%s", "DB Error: Data Base is not initialised");
        return nullptr;
    }
    try {
        Values values;
        populateValueVec(sql, arguments, values);
        const std::string statement = checkRemoveSemiColon(sql);
        const SqlText::Select select = SqlText::parseSelect(statement);
        lock();
        store_->finishEarlierWork();
        std::unique_ptr<FileResultTable> result = selectRows(statement, select, values);
        unlock();
        return result.release();
    } catch (const std::exception& error) {
        // Also for a failure before the lock was taken: inside a transaction the thread then gives back one
        // count.
        unlock();
        FILEDB_LOG(kLogError, "executeQuery Exception: %s", error.what());
        return nullptr;
    }
}

std::unique_ptr<FileResultTable> FileDatabase::selectRows(const std::string& statement,
                                                          const SqlText::Select& select,
                                                          const Values& values) {
    const std::optional<TableSource> table =
        TableStore::openForQuery(store_->locate(Utils::validateColumnName(select.table)));
    if (!table) {
        throw DatabaseException("executeQuery", __LINE__, "DB Error: Table does not exists...");
    }
    auto result = std::make_unique<FileResultTable>();
    TableMetaData metaData(nullptr);
    RecordReader reader = table->records();
    metaData.readTableMetaData(reader);
    FILEDB_LOG(kLogTrace, "%s", "Parsing of SELECT Column..");
    const Selection selection = parseSelection(metaData, SqlText::splitItems(statement, select), *result);
    WhereClause where(metaData);
    if (select.condition.found()) {
        where.parseWhereClause(statement, select.condition.first, 0, values);
    }

    while (reader.next()) {
        if (!where.evaluate(reader.record())) {
            continue;
        }
        const std::vector<std::string_view>& record = reader.fields();
        result->startRow(reader.line().size() + (select.condition.found() ? 0 : reader.remaining()));
        for (const Selection::Item& item : selection.items) {
            const std::size_t end = item.isStar ? selection.starWidth : item.column + 1;
            if (end > record.size()) {
                throw shortRecordError("executeQuery");
            }
            for (std::size_t column = item.isStar ? 0 : item.column; column < end; ++column) {
                result->addCell(record[column]);
            }
        }
        result->rowFinished();
    }
    logResult(*result);
    return result;
}

void FileDatabase::logResult(const FileResultTable& result) {
    const std::size_t width = result.cellsPerRow_;
    for (std::size_t row = 0; row < static_cast<std::size_t>(result.rowCount_); ++row) {
        for (std::size_t column = 0; column < width; ++column) {
            const std::string_view cell = result.cell(row, column);
            FILEDB_LOG(kLogTrace, "ResultSet[%d][%d](%s)=%.*s", static_cast<int>(row),
                       static_cast<int>(column), result.columnLabels_[column].c_str(),
                       static_cast<int>(cell.size()), cell.data());
        }
    }
}

FileDatabase::Selection FileDatabase::parseSelection(TableMetaData& metaData,
                                                     const std::vector<std::string>& pieces,
                                                     FileResultTable& result) {
    const std::vector<std::string>& names = metaData.columnNames();
    Selection selection;
    selection.starWidth = names.size();
    selection.items.reserve(pieces.size());
    result.reserve(pieces.size());
    for (const std::string& piece : pieces) {
        if (Utils::trimmed(piece) == "*") {
            // Every "*" takes one column off, not only the first: with two of them the rows are two columns
            // short of the metadata, while the labels were one and two short when their "*" was met.
            if (!metaData.hasAliasPrimaryKey() && selection.starWidth > 0) {
                --selection.starWidth;
            }
            for (std::size_t column = 0; column < selection.starWidth; ++column) {
                result.addLabel(names[column]);
            }
            selection.items.push_back({true, 0});
        } else {
            std::string name = Utils::validateColumnName(piece);
            const bool isAlias = metaData.hasAliasPrimaryKey() && name == kRowIdColumn;
            selection.items.push_back(
                {false,
                 Utils::getColumnNameIndex(isAlias ? metaData.primaryKeyColumns().front() : name, names)});
            result.addLabel(std::move(name));
        }
    }
    return selection;
}

// ---- Transactions ----

bool FileDatabase::beginTransaction() {
    FILEDB_LOG(kLogInfo, "%s", "beginTransaction");
    lock();
    if (!transactionActive_ && lock_ != nullptr) {
        countsBeforeTransaction_ = lock_->count() - 1;
    }
    store_->beginTransaction();
    transactionActive_ = true;
    return true;
}

// Both ends of a transaction release two counts of the lock: their own and that of beginTransaction. Refusal
// and failure keep what they found and took: after a refusal the thread holds one count more.

bool FileDatabase::commitTransaction() {
    FILEDB_LOG(kLogInfo, "%s", "commitTransaction");
    lock();
    if (!transactionActive_) {
        FILEDB_LOG(kLogError, "%s", "cannot commit - no transaction is active");
        return false;
    }
    try {
        store_->commitTransaction();
    } catch (const std::exception& error) {
        FILEDB_LOG(kLogError, "commitTransaction Exception: %s", error.what());
        return false;
    }
    transactionEnded();
    return true;
}

bool FileDatabase::rollbackTransaction() {
    FILEDB_LOG(kLogInfo, "%s", "rollbackTransaction");
    lock();
    if (!transactionActive_) {
        FILEDB_LOG(kLogError, "%s", "cannot rollback - no transaction is active");
        return false;
    }
    try {
        store_->rollBackTransaction();
    } catch (const std::exception& error) {
        FILEDB_LOG(kLogError, "rollbackTransaction Exception: %s", error.what());
        return false;
    }
    transactionEnded();
    return true;
}

void FileDatabase::transactionEnded() {
    transactionActive_ = false;
    unlock();
    unlock();
}

void FileDatabase::abandonTransaction() {
    lock();
    if (transactionActive_) {
        store_->abandonTransaction();
        transactionActive_ = false;
        while (lock_ != nullptr && lock_->count() > countsBeforeTransaction_ + 1) {
            lock_->unlock();
        }
    }
    unlock();
}

// ---- For the subscription store ----

Refusal EngineAccess::lastRefusal() {
    return Filedb::lastRefusal;
}

void EngineAccess::endTransaction(IDatabase& database) {
    static_cast<FileDatabase&>(database).abandonTransaction();
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
