#pragma once

#include <cstddef>

#include "EngineAccess.h"
#include "IDatabase.h"
#include "Refusal.h"
#include "StoreLog.h"
#include "StoredRow.h"
#include "SubscriptionRecord.h"

/// How the store sends its statements, and what their results mean. Each value stands for one "?" of the
/// text.
namespace Kalt::Vemo::Notification {

/// Whether the database has taken the statement; it may have failed while it ran.
template <typename... Values>
bool send(Core::Database::IDatabase& database, const char* sql, const Values&... values) {
    return database.executeUpdate(sql, values.c_str()...) == 0;
}

/// False also for a statement that the operating system kept from being stored, which send() does not tell.
template <typename... Values>
bool update(Core::Database::IDatabase& database, const char* sql, const Values&... values) {
    using Core::Database::Filedb::Refusal;
    return send(database, sql, values...) && Core::Database::Filedb::lastRefusal() != Refusal::system;
}

/// An update that makes rows longer; false, with nothing changed, when one of them would not fit in its line.
template <typename... Values>
bool updateThatFits(const char* operation, Core::Database::IDatabase& database, const char* sql,
                    const Values&... values) {
    using Core::Database::Filedb::Refusal;
    return update(database, sql, values...) &&
           (Core::Database::Filedb::lastRefusal() != Refusal::content || refuseLength(operation));
}

template <typename... Values>
Core::Database::IResultTable* query(Core::Database::IDatabase& database, const char* sql,
                                    const Values&... values) {
    return database.executeQuery(sql, values.c_str()...);
}

/// The transaction of a save. It ends with the object, at the latest, unless it is to stay open.
class SaveTransaction {
public:
    explicit SaveTransaction(Core::Database::IDatabase& database) : database_(database) {
        database.beginTransaction();
    }
    ~SaveTransaction() { end(); }
    SaveTransaction(const SaveTransaction&) = delete;
    SaveTransaction& operator=(const SaveTransaction&) = delete;

    bool commit() {
        isOpen_ = !database_.commitTransaction();
        return !isOpen_;
    }

    void stayOpen() { isOpen_ = false; }

    /// Nobody may have to wait for a transaction that can come to nothing.
    void end() {
        if (isOpen_) {
            isOpen_ = false;
            Core::Database::Filedb::EngineAccess::endTransaction(database_);
        }
    }

private:
    Core::Database::IDatabase& database_;
    bool isOpen_ = true;
};

/// Inserts a row in a transaction of its own and sets the record's identifier.
///
/// @param shortestLine bytes of the row's line in the narrowest layout, with the shortest ROWID
/// @param insert       runs the INSERT
template <typename Insert>
bool insertRow(const char* operation, Core::Database::IDatabase& database, std::size_t shortestLine,
               Insert insert, SubscriptionRecord& record) {
    if (!fits(operation, shortestLine)) {
        return false;
    }
    using Core::Database::Filedb::Refusal;
    SaveTransaction transaction(database);
    const bool isTaken = insert();
    const Refusal refusal = Core::Database::Filedb::lastRefusal();
    if (refusal == Refusal::none && isTaken) {
        record.subscriptionId = database.getLastInsertRowid();
        return transaction.commit();
    }
    if (refusal == Refusal::none) {
        transaction.stayOpen();  // with its lock, until the thread's next save
    }
    transaction.end();
    if (refusal == Refusal::content) {
        // Near the limit the ROWID and an expireTime of NULL decide whether the row fits.
        return refuseLength(operation);
    }
    logError("Database INSERT failed!");
    return false;
}

}  // namespace Kalt::Vemo::Notification
