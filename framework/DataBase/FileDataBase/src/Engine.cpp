#include "Engine.h"

#include <optional>
#include <utility>

#include "DatabaseException.h"
#include "EngineLog.h"
#include "FileDatabase.h"
#include "FileResultTable.h"
#include "Query.h"
#include "Refusal.h"
#include "ResultRows.h"
#include "SqlText.h"
#include "Tokenizer.h"
#include "Utils.h"

namespace Kalt::Vemo::Core::Database::Filedb {

namespace {

constexpr const char* kLogTag = "FileDatabase";

// Words of a statement's head end at white space or at an opening bracket.
constexpr const char* kHeadDelimiter = "( \t\n\v\f\r";
constexpr int kHeadWords = 3;

// What an update returns.
constexpr int kDone = 0;
constexpr int kRefused = 1;
constexpr int kColumnIsPossible = 1;
constexpr int kFailed = -1;

std::string checkRemoveSemiColon(const std::string& statement) {
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

}  // namespace

Engine::Engine(Statements::LineCheck mayStore, Synchronous synchronous, std::size_t keptBytes)
    : store_({synchronous != Synchronous::off, synchronous == Synchronous::full}, keptBytes),
      statements_(store_, mayStore) {}

// ---- Opening and closing ----

bool Engine::init(const std::string& path) {
    FILEDB_LOG(kLogInfo, "%s", "init");
    transactionActive_ = false;
    try {
        // Also for an opening that fails: a statement of any thread may finish it.
        lock_ = std::make_unique<CountedLock>();
        if (!store_.open(path)) {
            FILEDB_LOG(kLogError, "%s", "DataBase Init: DB Directory creation failed");
            return false;
        }
        return true;
    } catch (const std::exception& error) {
        FILEDB_LOG(kLogError, "init Exception: %s", error.what());
        return false;
    }
}

void Engine::deinit() {
    FILEDB_LOG(kLogInfo, "%s", "deinit");
    store_.close();
    lock_.reset();
}

// Whether another process keeps this one out of the database. The log then tells the call's failure.
bool Engine::isLockedOut(const char* call) const {
    const DirectoryInUse* const error = store_.lockOut();
    if (error != nullptr) {
        noteRefusal(*error);
        FILEDB_LOG(kLogError, "%s Exception: %s", call, error->what());
    }
    return error != nullptr;
}

// Before init and after deinit there is no lock.
void Engine::lock() {
    if (lock_ != nullptr) {
        lock_->lock();
    }
}

void Engine::unlock() {
    if (lock_ != nullptr) {
        lock_->unlock();
    }
}

// ---- Changes ----

int Engine::update(const std::string& sql, va_list arguments) {
    FILEDB_LOG(kLogInfo, "%s", "executeUpdate");
    FILEDB_LOG(kLogTrace, "passed SQL:'%s'", sql.c_str());
    forgetRefusal();
    if (!store_.hasDirectory()) {
        FILEDB_LOG(kLogError, "%s", "DB Error: Data Base is not initialised");
        return kRefused;
    }
    if (isLockedOut("executeUpdate")) {
        return kRefused;
    }
    try {
        const Values values = BoundValues::collect(sql, arguments);
        return dispatch(checkRemoveSemiColon(sql), values);
    } catch (const std::exception& error) {
        // Also after a failure before the lock: inside a transaction the thread then releases one count.
        unlock();
        noteRefusal(error);
        FILEDB_LOG(kLogError, "executeUpdate Exception: %s", error.what());
        return kRefused;
    }
}

// Recognises the statement by its first three words. Unlocks once, except where a comment says so.
int Engine::dispatch(const std::string& statement, const Values& values) {
    Tokenizer words(statement, kHeadDelimiter);
    const std::vector<std::string> head = words.split(kHeadWords);
    lock();
    store_.finishEarlierWork();
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
    return kDone;
}

// These handlers report their failures to the log alone.
void Engine::dispatchChange(const std::vector<std::string>& head, Tokenizer& words, const Values& values) {
    const auto change = [&](auto handler) {
        store_.requireEarlierWorkDone();
        handler();
    };
    if (head[0] == "INSERT" && head[1] == "INTO") {
        change([&] {
            const std::optional<std::int64_t> rowId =
                statements_.insertTable(head[2], words.remainder(), values);
            lastInsertRowId_ = rowId.value_or(lastInsertRowId_);
        });
    } else if (head[0] == "UPDATE" && head[2] == "SET") {
        change([&] { statements_.updateTable(head[1], words.remainder(), values); });
    } else if (head[0] == "DELETE" && head[1] == "FROM") {
        change([&] { statements_.deleteTable(head[2], words.remainder(), values); });
    } else if (head[0] == "CREATE" && head[1] == "TABLE") {
        change([&] { statements_.createTable(head[2], words.remainder()); });
    } else if (head[0] == "DROP" && head[1] == "TABLE") {
        change([&] { statements_.dropTable(head[2], words.remainder()); });
    } else {
        FILEDB_LOG(kLogError, "%s", "Syntax Error: unsupported Error");
    }
}

// The accepted form is ALTER TABLE, any word, the table's name, ADD COLUMN, name, type: the third word is
// skipped.
int Engine::dispatchAlter(Tokenizer& words) {
    const std::string tableName = words.next();
    if (tableName.empty()) {
        throw DatabaseException("executeUpdate", __LINE__, "DB Syntax Error: error after TABLE key word.");
    }
    const TablePlace place = store_.locate(tableName);
    if (!TableStore::exists(place)) {
        // Clients rely on it: the thread keeps one more count of the lock here.
        return kDone;
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
    const bool isPossible = statements_.alterTable(tableName, name, type);
    unlock();
    return isPossible ? kColumnIsPossible : kFailed;
}

void Engine::createTableIfMissing(Tokenizer& words) {
    const std::string notWord = words.next();
    const std::string existsWord = words.next();
    const std::string tableName = words.next();
    if (notWord != "NOT" || existsWord != "EXISTS" || tableName.empty()) {
        throw DatabaseException("executeUpdate", __LINE__, "DB Syntax Error: error after IF key word.");
    }
    const TablePlace place = store_.locate(tableName);
    if (TableStore::exists(place)) {
        FILEDB_LOG(kLogInfo, "(%s) Table is already exists.", place.fileName.c_str());
        return;
    }
    store_.requireEarlierWorkDone();
    statements_.createTable(tableName, words.remainder());
}

// ---- Queries ----

std::unique_ptr<IResultTable> Engine::query(const std::string& sql, va_list arguments) {
    FILEDB_LOG(kLogInfo, "%s", "executeQuery");
    FILEDB_LOG(kLogTrace, "passed SQL:%s", sql.c_str());
    if (!store_.hasDirectory()) {
        FILEDB_LOG(kLogError, "%s", "DB Error: Data Base is not initialised");
        return nullptr;
    }
    if (isLockedOut("executeQuery")) {
        return nullptr;
    }
    try {
        const Values values = BoundValues::collect(sql, arguments);
        const std::string statement = checkRemoveSemiColon(sql);
        const SqlText::Select select = SqlText::parseSelect(statement);
        lock();
        store_.finishEarlierWork();
        auto result = std::make_unique<FileResultTable>(selectRows(store_, statement, select, values));
        unlock();
        return result;
    } catch (const std::exception& error) {
        // Also after a failure before the lock: inside a transaction the thread then releases one count.
        unlock();
        FILEDB_LOG(kLogError, "executeQuery Exception: %s", error.what());
        return nullptr;
    }
}

// ---- Transactions ----

void Engine::beginTransaction() {
    FILEDB_LOG(kLogInfo, "%s", "beginTransaction");
    if (store_.lockOut() != nullptr) {
        return;  // nothing would end it
    }
    lock();
    if (!transactionActive_ && lock_ != nullptr) {
        countsBeforeTransaction_ = lock_->count() - 1;
    }
    store_.beginTransaction();
    transactionActive_ = true;
}

// Commit and rollback release two counts of the lock: their own and that of beginTransaction. When they fail
// the thread keeps both; when there is no transaction it holds one count more.

bool Engine::commitTransaction() {
    FILEDB_LOG(kLogInfo, "%s", "commitTransaction");
    lock();
    if (isLockedOut("commitTransaction")) {
        return refuseToEndTransaction();
    }
    if (!transactionActive_) {
        FILEDB_LOG(kLogError, "%s", "cannot commit - no transaction is active");
        return false;
    }
    try {
        store_.commitTransaction();
    } catch (const std::exception& error) {
        FILEDB_LOG(kLogError, "commitTransaction Exception: %s", error.what());
        return false;
    }
    transactionEnded();
    return true;
}

bool Engine::rollbackTransaction() {
    FILEDB_LOG(kLogInfo, "%s", "rollbackTransaction");
    lock();
    if (isLockedOut("rollbackTransaction")) {
        return refuseToEndTransaction();
    }
    if (!transactionActive_) {
        FILEDB_LOG(kLogError, "%s", "cannot rollback - no transaction is active");
        return false;
    }
    try {
        store_.rollBackTransaction();
    } catch (const std::exception& error) {
        FILEDB_LOG(kLogError, "rollbackTransaction Exception: %s", error.what());
        return false;
    }
    transactionEnded();
    return true;
}

// A process that is locked out has changed nothing: no transaction stays open, and no thread waits for one.
bool Engine::refuseToEndTransaction() {
    if (transactionActive_) {
        transactionEnded();
    } else {
        unlock();
    }
    return false;
}

void Engine::transactionEnded() {
    transactionActive_ = false;
    unlock();
    unlock();
}

void Engine::abandonTransaction() {
    lock();
    if (transactionActive_) {
        if (store_.lockOut() == nullptr) {
            store_.abandonTransaction();
        }
        transactionActive_ = false;
        while (lock_ != nullptr && lock_->count() > countsBeforeTransaction_ + 1) {
            lock_->unlock();
        }
    }
    unlock();
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
