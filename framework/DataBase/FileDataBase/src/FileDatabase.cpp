#include "FileDatabase.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "DatabaseException.h"
#include "Directory.h"
#include "EngineLog.h"
#include "FileResultTable.h"
#include "FileUtils.h"
#include "Journal.h"
#include "PendingTable.h"
#include "RecordReader.h"
#include "RecursiveMutex.h"
#include "SqlText.h"
#include "StringConversion.h"
#include "TableMetaData.h"
#include "TableText.h"
#include "Tokenizer.h"
#include "Utils.h"
#include "WhereClause.h"

// A change to a table, from the statement to the disk. Behind each step stands what the next init does when
// the process dies there.
//
//   1. The journal gets a line for the table.                Discards: there is no working copy yet.
//   2. The table's whole new text goes into its working      Discards it.
//      copy. (In a transaction, 1 and 2 repeat for each
//      statement; then its commit goes on with 3.)
//   3. The journal's state line becomes "1".                 Resets the journal. The first table's working
//                                                            copy stays where it is, the others are removed.
//   4. Each working copy is copied over its table; a         As 3: a table that was half copied can be
//      dropped table's file is removed.                      finished from its working copy as long as that
//                                                            is there.
//   5. The state line becomes "0".                           Removes the working copies.
//   6. The working copies are removed, the journal is cut    Nothing is left to do.
//      to the one line "0".
namespace Kalt::Vemo::Core::Database::Filedb {

using Platform::StringConversion;
using Platform::Filesystem::Directory;
using Platform::Thread::RecursiveMutex;

namespace {

constexpr const char* kLogTag = "FileDatabase";

// Words of a statement's head end at white space or at an opening bracket.
constexpr const char* kHeadDelimiter = "( \t\n\v\f\r";
constexpr int kHeadWords = 3;
constexpr int kAllWords = 65000;

// So many tables of a transaction stay open: a transaction may change more than a process may have open.
constexpr std::size_t kMostOpenTables = 16;

constexpr const char* kShortRecord = "DB Error: Record has fewer fields than Table Definition";
constexpr const char* kRowIdNamed = "DB Error: Table special column names ROWID is not allowed for Updation";
constexpr const char* kMissingTable = "DB Error: No such Table...(%s)";

void logException(const char* function, const std::exception& error) {
    FILEDB_LOG(kLogError, "%s Exception: %s", function, error.what());
}

void removeFile(const std::string& fileName) {
    if (std::remove(fileName.c_str()) != 0) {
        FILEDB_LOG(kLogInfo, "%s", "Failed to remove the file");
    }
}

}  // namespace

// ---- Life cycle ----

FileDatabase::FileDatabase() : FileDatabase(nullptr) {}

FileDatabase::FileDatabase(LineCheck mayStore) : mayStore_(mayStore), journal_(std::make_unique<Journal>()) {}

FileDatabase::~FileDatabase() {
    static_cast<void>(FileDatabase::deinit());
}

bool FileDatabase::init(const std::string& path) {
    FILEDB_LOG(kLogInfo, "%s", "init");
    directory_ = path + kDirectorySuffix;
    journalPath_ = directory_ + "/" + kJournalName;
    if (!Directory::createDirectory(directory_)) {
        FILEDB_LOG(kLogError, "%s", "DataBase Init: DB Directory creation failed");
        return false;
    }
    try {
        journal_->open(journalPath_);
        pendingTables_.clear();
        const bool found = journal_->read([this](signed char operation, const std::string& table) {
            pendingTables_.try_emplace(table, std::make_unique<PendingTable>(operation));
        });
        if (found) {
            commitBackupData();
        } else {
            cleanUpBackupData();
        }
        mutex_ = std::make_unique<RecursiveMutex>();
        transactionActive_ = false;
        return true;
    } catch (const std::exception& error) {
        logException("init", error);
        copyingOver_ = false;
        cleaningUp_ = false;
        return false;
    }
}

bool FileDatabase::deinit() {
    FILEDB_LOG(kLogInfo, "%s", "deinit");
    journal_->close();
    copyingOver_ = false;
    cleaningUp_ = false;
    mutex_.reset();
    return true;
}

std::int64_t FileDatabase::getLastInsertRowid() {
    const std::int64_t rowId = lastInsertRowid_;
    FILEDB_LOG(kLogInfo, "getLastInsertRowid: %lld", static_cast<long long>(rowId));
    return rowId;
}

// Before init and after deinit there is no mutex, and nobody to keep out.
void FileDatabase::lock() {
    if (mutex_ != nullptr) {
        mutex_->lock();
    }
}

void FileDatabase::unlock() {
    if (mutex_ != nullptr) {
        mutex_->unlock();
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
    if (directory_.empty()) {
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
        logException("executeUpdate", error);
        return 1;
    }
}

// Recognises the statement by its first three words. Unlocks once, except where a comment says so.
int FileDatabase::dispatch(const std::string& statement, const Values& values) {
    Tokenizer words(statement, kHeadDelimiter);
    const std::vector<std::string> head = words.split(kHeadWords);
    lock();
    finishEarlierStatement();
    if (head.size() < kHeadWords) {
        throw DatabaseException("executeUpdate", __LINE__, "DB Syntax Error: Incomplete Statement.");
    }
    // What these handlers return does not reach the caller: they report their failures to the log.
    if (head[0] == "INSERT" && head[1] == "INTO") {
        insertTable(head[2], words.remainder(), values);
    } else if (head[0] == "UPDATE" && head[2] == "SET") {
        updateTable(head[1], words.remainder(), values);
    } else if (head[0] == "DELETE" && head[1] == "FROM") {
        deleteTable(head[2], words.remainder(), values);
    } else if (head[0] == "ALTER" && head[1] == "TABLE") {
        return dispatchAlter(words);
    } else if (head[0] == "CREATE" && head[1] == "TABLE" && head[2] != "IF") {
        createTable(head[2], words.remainder());
    } else if (head[0] == "CREATE" && head[1] == "TABLE") {
        createTableIfMissing(words);
    } else if (head[0] == "DROP" && head[1] == "TABLE") {
        dropTable(head[2], words.remainder());
    } else {
        FILEDB_LOG(kLogError, "%s", "Syntax Error: unsupported Error");
    }
    unlock();
    return 0;
}

// The accepted form is ALTER TABLE, any word, the table's name, ADD COLUMN, name, type: the third word is
// skipped.
int FileDatabase::dispatchAlter(Tokenizer& words) {
    const std::string tableName = words.next();
    if (tableName.empty()) {
        throw DatabaseException("executeUpdate", __LINE__, "DB Syntax Error: error after TABLE key word.");
    }
    const std::string fileName = getTableCurrentFile(tableName);
    if (!FileUtils::fileExist(fileName)) {
        // Clients count on it: the thread keeps one more count of the lock here.
        return 0;
    }
    FILEDB_LOG(kLogInfo, "Table (%s) exists, so ADDING Passed column.", fileName.c_str());
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
    const std::string fileName = getTableCurrentFile(tableName);
    if (FileUtils::fileExist(fileName)) {
        FILEDB_LOG(kLogInfo, "(%s) Table is already exists.", fileName.c_str());
        return;
    }
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

bool FileDatabase::checkForStar(const std::string& text) {
    return Utils::trimmed(text) == "*";
}

// ---- Table definition ----

template <typename Handler>
int FileDatabase::runHandler(const char* name, Handler handler) {
    try {
        return handler();
    } catch (const std::exception& error) {
        logException(name, error);
        discardWorkingCopy();
        return -1;
    }
}

std::string FileDatabase::existingTable(const char* handler, const std::string& tableName) {
    std::string fileName = getTableCurrentFile(tableName);
    if (!FileUtils::fileExist(fileName)) {
        throw DatabaseException(handler, __LINE__, kMissingTable, tableName.c_str());
    }
    return fileName;
}

// The table's current file, opened; no file when it exists but cannot be opened for writing, which is an
// error of a later step.
OpenTable FileDatabase::openExistingTable(const char* handler, const std::string& tableName) {
    const std::string fileName = getTableCurrentFile(tableName);
    OpenTable table{File::openExisting(fileName, true), {}};
    if (!table.file && !FileUtils::fileExist(fileName)) {
        throw DatabaseException(handler, __LINE__, kMissingTable, tableName.c_str());
    }
    return table;
}

// The table's current text: what the running transaction wrote last when that is still the file's content.
TableVersion FileDatabase::currentVersion(const std::string& tableName, OpenTable& table) {
    if (!table.file) {
        throw DatabaseException("openFile", __LINE__, "DataBase Error: Couldn't open the corresponding file");
    }
    table.identity = table.file.identity();
    const auto pending = pendingTables_.find(tableName);
    return pending == pendingTables_.end() ? TableVersion(table.file.readWhole(table.identity))
                                           : pending->second->take(table);
}

int FileDatabase::createTable(const std::string& tableName, const std::string& remainder) {
    return runHandler("createTable", [&] {
        FILEDB_LOG(kLogTrace, "tableName:'%s' unparsed SQL Statement='%s'", tableName.c_str(),
                   remainder.c_str());
        if (FileUtils::fileExist(getTableCurrentFile(tableName))) {
            throw DatabaseException("createTable", __LINE__, "DB Error: (%s) Table is already exists.",
                                    tableName.c_str());
        }
        static_cast<void>(Utils::validateColumnName(tableName));

        TableMetaData metaData(fileUtils_);
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
        changeTable(kCreateOperation, tableName, {}, TableVersion(Text(metaData.text())));
        return 0;
    });
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
    return runHandler("dropTable", [&] {
        FILEDB_LOG(kLogTrace, "tableName:'%s' Rem sql Statement='%s'", tableName.c_str(), remainder.c_str());
        if (!remainder.empty()) {
            throw DatabaseException("dropTable", __LINE__, "DB Syntax Error: end of statement");
        }
        static_cast<void>(existingTable("dropTable", tableName));
        OpenTable noTable;
        static_cast<void>(getBackupFileName(kDropOperation, noTable, tableName));
        if (autoCommit_) {
            commitBackupData();
        }
        return 0;
    });
}

// A check only: neither metadata nor rows of the table are rewritten. Clients that need the column create the
// table with it.
int FileDatabase::alterTable(const std::string& tableName, const std::string& columnName,
                             const std::string& type) {
    return runHandler("alterTable", [&] {
        StreamHandle table = ownStream(FileUtils::openFile(existingTable("alterTable", tableName), "a+"));
        TableMetaData metaData(fileUtils_);
        metaData.readTableMetaData(table.get());
        std::vector<std::string> words = {columnName, type};
        addColumn("alterTable", metaData, words);
        table.reset();
        if (autoCommit_) {
            commitBackupData();
        }
        return 1;
    });
}

// ---- Rows ----

int FileDatabase::insertTable(const std::string& tableName, const std::string& sql, const Values& values) {
    return runHandler("insertTable", [&] {
        FILEDB_LOG(kLogTrace, "tableName:'%s' Unparsed SQL='%s'", tableName.c_str(), sql.c_str());
        OpenTable table = openExistingTable("insertTable", tableName);
        const SqlText::Insert insert = SqlText::parseInsert(sql);
        TableMetaData metaData(fileUtils_);
        TableText old(currentVersion(tableName, table), metaData);
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
        changeTable(kInsertOperation, tableName, std::move(table),
                    newRowPos == tableSize ? std::move(old).withLineAtEnd(line)
                                           : std::move(old).withLineBefore(newRowPos, line));
        lastInsertRowid_ = rowId;
        return 0;
    });
}

std::string FileDatabase::storableLine(const char* handler, const std::vector<std::string>& record) const {
    std::string line = FileUtils::recordLine(record);
    if (mayStore_ != nullptr && !mayStore_(line.size())) {
        throw DatabaseException(handler, __LINE__,
                                "DB Error: Line of %s bytes is too long, shorten its texts",
                                std::to_string(line.size()).c_str());
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
            throw DatabaseException("getROWID", __LINE__, "%s", kShortRecord);
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
    return runHandler("updateTable", [&] {
        FILEDB_LOG(kLogTrace, "tableName:'%s' Unparsed SQL='%s'", tableName.c_str(), sql.c_str());
        OpenTable table = openExistingTable("updateTable", tableName);
        TableMetaData metaData(fileUtils_);
        TableText old(currentVersion(tableName, table), metaData);
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
                    throw DatabaseException("updateTable", __LINE__, "%s", kShortRecord);
                }
                record[newValue.column] = newValue.value;
            }
            rewriter.replace(reader, storableLine("updateTable", record));
            if (!keyed.empty()) {
                keyed[static_cast<std::size_t>(k)] = std::move(record);
                where.updatePrimaryKeyValidation(keyed, static_cast<int>(keyed.size()), k);
            }
        }
        changeTable(kUpdateOperation, tableName, std::move(table), rewriter.take());
        return 0;
    });
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
    return runHandler("deleteTable", [&] {
        FILEDB_LOG(kLogTrace, "tableName:'%s' Unparsed SQL='%s'", tableName.c_str(), sql.c_str());
        OpenTable table = openExistingTable("deleteTable", tableName);
        TableMetaData metaData(fileUtils_);
        TableText old(currentVersion(tableName, table), metaData);
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
        changeTable(kDeleteOperation, tableName, std::move(table), rewriter.take());
        return 0;
    });
}

// ---- SELECT ----

IResultTable* FileDatabase::runQuery(const std::string& sql, va_list arguments) {
    FILEDB_LOG(kLogInfo, "%s", "executeQuery");
    FILEDB_LOG(kLogTrace, "passed SQL:%s", sql.c_str());
    if (directory_.empty()) {
        FILEDB_LOG(kLogError, "%s", "DB Error: Data Base is not initialised");
        return nullptr;
    }
    try {
        Values values;
        populateValueVec(sql, arguments, values);
        const std::string statement = checkRemoveSemiColon(sql);
        const SqlText::Select select = SqlText::parseSelect(statement);
        lock();
        finishEarlierStatement();
        std::unique_ptr<FileResultTable> result = selectRows(statement, select, values);
        unlock();
        return result.release();
    } catch (const std::exception& error) {
        // Also for a failure before the lock was taken: inside a transaction the thread then gives back one
        // count.
        unlock();
        logException("executeQuery", error);
        return nullptr;
    }
}

std::unique_ptr<FileResultTable> FileDatabase::selectRows(const std::string& statement,
                                                          const SqlText::Select& select,
                                                          const Values& values) {
    const std::string fileName = getTableCurrentFile(Utils::validateColumnName(select.table));
    const File table = File::openExisting(fileName, false);
    if (!table) {
        throw DatabaseException("executeQuery", __LINE__, "DB Error: Table does not exists...");
    }
    auto result = std::make_unique<FileResultTable>();
    TableMetaData metaData(fileUtils_);
    RecordReader reader(table);
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
                throw DatabaseException("executeQuery", __LINE__, "%s", kShortRecord);
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
        if (checkForStar(piece)) {
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
    autoCommit_ = false;
    transactionActive_ = true;
    return true;
}

bool FileDatabase::commitTransaction() {
    return endTransaction("commitTransaction", "cannot commit - no transaction is active",
                          &FileDatabase::commitBackupData);
}

bool FileDatabase::rollbackTransaction() {
    return endTransaction("rollbackTransaction", "cannot rollback - no transaction is active",
                          &FileDatabase::cleanUpBackupData);
}

// Releases two counts of the lock: its own and that of beginTransaction. Both refusal and failure keep what
// they found and took: after a refusal the thread holds one count more.
bool FileDatabase::endTransaction(const char* name, const char* refusal, void (FileDatabase::*end)()) {
    FILEDB_LOG(kLogInfo, "%s", name);
    lock();
    if (!transactionActive_) {
        FILEDB_LOG(kLogError, "%s", refusal);
        return false;
    }
    try {
        (this->*end)();
    } catch (const std::exception& error) {
        logException(name, error);
        return false;
    }
    transactionActive_ = false;
    unlock();
    unlock();
    return true;
}

std::string FileDatabase::fileNameOf(const std::string& tableName, std::string_view suffix) const {
    std::string name;
    name.reserve(directory_.size() + 1 + tableName.size() + suffix.size());
    name.append(directory_).append("/").append(tableName).append(suffix);
    return name;
}

std::string FileDatabase::getTableCurrentFile(const std::string& tableName) {
    currentFileIsBackup_ = false;
    const char* suffix = kTableSuffix;
    const auto pending = pendingTables_.find(tableName);
    if (pending != pendingTables_.end()) {
        if (pending->second->operation() == kDropOperation) {
            throw DatabaseException("getTableCurrentFile", __LINE__,
                                    "DataBase Error: No such Table exist.(%s)", tableName.c_str());
        }
        requireWhole(tableName, *pending->second);
        currentFileIsBackup_ = true;
        suffix = kBackupSuffix;
    }
    std::string fileName = fileNameOf(tableName, suffix);
    FILEDB_LOG(kLogTrace, "Table Name=%s, FileName=%s", tableName.c_str(), fileName.c_str());
    return fileName;
}

void FileDatabase::requireWhole(const std::string& tableName, const PendingTable& pending) {
    if (!pending.isWhole()) {
        throw DatabaseException(
            "getTableCurrentFile", __LINE__,
            "DataBase Error: Working copy of table (%s) is incomplete, roll back the transaction",
            tableName.c_str());
    }
}

// Records the operation in the journal and opens the table's working copy, no file for a drop. `table` is
// what the statement has read: a table's own file is kept with the working copy that is made of it, and a
// working copy is handed back.
File FileDatabase::getBackupFileName(signed char operation, OpenTable& table, const std::string& tableName) {
    const std::string backupName = fileNameOf(tableName, kBackupSuffix);
    FILEDB_LOG(kLogTrace, "backupFileName:'%s' operation:%d", backupName.c_str(), operation);
    finishTornTables();
    if (currentFileIsBackup_) {
        PendingTable& pending = *pendingTables_.at(tableName);
        if (operation == kDropOperation) {
            dropWorkingCopy(tableName, backupName, pending);
            return {};
        }
        pending.expectWrite();
        return std::move(table.file);
    }
    journal_->appendTable(operation, tableName);
    if (pendingTables_.size() >= kMostOpenTables) {
        table = {};
    }
    const auto entry =
        pendingTables_.try_emplace(tableName, std::make_unique<PendingTable>(operation, std::move(table)));
    if (operation == kDropOperation) {
        return {};
    }
    entry.first->second->expectWrite();
    return File::openForOverwrite(backupName);
}

// A table that this transaction changed is now dropped: its journal line says so, and its working copy goes
// at once.
void FileDatabase::dropWorkingCopy(const std::string& tableName, const std::string& backupName,
                                   PendingTable& pending) {
    if (pending.operation() == kDropOperation) {
        throw DatabaseException("getBackupFileName", __LINE__, "DataBase Error: No such table");
    }
    journal_->markDropped(tableName);
    removeFile(backupName);
    pending.drop();
}

// Makes `version` the table's new content: in its working copy, and outside of a transaction in the table as
// well.
void FileDatabase::changeTable(signed char operation, const std::string& tableName, OpenTable table,
                               TableVersion version) {
    // A new working copy is written whole, whatever a crash may have left under its name.
    const Difference toCopy = currentFileIsBackup_ ? version.difference : Difference{};
    File copy = getBackupFileName(operation, table, tableName);
    pendingTables_.at(tableName)->write(std::move(copy), toCopy, std::move(version));
    if (autoCommit_) {
        commitBackupData();
    }
}

void FileDatabase::commitBackupData() {
    FILEDB_LOG(kLogInfo, "%s", "commitBackupData");
    for (const auto& [tableName, pending] : pendingTables_) {
        requireWhole(tableName, *pending);
    }
    journal_->writeState(true);
    copyingOver_ = true;
    for (const auto& [tableName, pending] : pendingTables_) {
        const signed char operation = pending->operation();
        if (operation == kDropOperation) {
            removeFile(fileNameOf(tableName, kTableSuffix));
        } else if (operation >= kInsertOperation && operation <= kCreateOperation) {
            copyOver(tableName, *pending);
        }
    }
    journal_->writeState(false);
    copyingOver_ = false;
    cleanUpBackupData();
}

void FileDatabase::copyOver(const std::string& tableName, PendingTable& pending) {
    pending.copyOver(fileNameOf(tableName, kBackupSuffix), fileNameOf(tableName, kTableSuffix));
}

// A table that a failed copy-over left half written is made whole before its working copy may be touched.
void FileDatabase::finishTornTables() {
    for (const auto& [tableName, pending] : pendingTables_) {
        if (pending->isTorn()) {
            copyOver(tableName, *pending);
        }
    }
}

void FileDatabase::cleanUpBackupData() {
    FILEDB_LOG(kLogInfo, "%s", "cleanUpBackupData");
    cleaningUp_ = true;
    finishTornTables();
    for (const auto& [tableName, pending] : pendingTables_) {
        removeFile(fileNameOf(tableName, kBackupSuffix));
    }
    pendingTables_.clear();
    journal_->reset(journalPath_);
    autoCommit_ = true;
    copyingOver_ = false;
    cleaningUp_ = false;
}

// What an earlier statement could not finish, because the system refused a write, is tried again before the
// next one. In a transaction that is left to its commit or rollback.
void FileDatabase::finishEarlierStatement() {
    if (!autoCommit_ || !(copyingOver_ || cleaningUp_)) {
        return;
    }
    try {
        copyingOver_ ? commitBackupData() : cleanUpBackupData();
    } catch (const std::exception& error) {
        logException("finishEarlierStatement", error);
    }
}

// After a statement that failed outside of a transaction. Once a copy-over has begun the working copy must
// stay.
void FileDatabase::discardWorkingCopy() {
    if (!autoCommit_ || copyingOver_ || pendingTables_.empty()) {
        return;
    }
    try {
        cleanUpBackupData();
    } catch (const std::exception& error) {
        logException("cleanUpBackupData", error);
    }
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
