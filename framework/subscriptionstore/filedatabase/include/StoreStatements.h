#pragma once

#include <cstddef>
#include <memory>

#include "EngineAccess.h"
#include "IDatabase.h"
#include "IResultTable.h"
#include "Refusal.h"
#include "StoreLog.h"
#include "StoredRow.h"
#include "SubscriptionRecord.h"

/// How the store sends its statements, and what their results mean. There is one value for each "?" of a
/// text.
namespace Kalt::Vemo::Notification {

/// Whether the database has accepted the statement; it may have failed while it ran.
template <typename... Values>
[[nodiscard]] bool send(Core::Database::IDatabase& database, const char* sql, const Values&... values) {
    return database.executeUpdate(sql, values.c_str()...) == 0;
}

/// As send(), but false also when the operating system refused to store the statement's change.
template <typename... Values>
[[nodiscard]] bool update(Core::Database::IDatabase& database, const char* sql, const Values&... values) {
    using Core::Database::Filedb::Refusal;
    return send(database, sql, values...) && Core::Database::Filedb::lastRefusal() != Refusal::system;
}

/// An update that makes rows longer; false, with nothing changed, when one of them would not fit in its line.
template <typename... Values>
[[nodiscard]] bool updateThatFits(const char* operation, Core::Database::IDatabase& database, const char* sql,
                                  const Values&... values) {
    using Core::Database::Filedb::Refusal;
    return update(database, sql, values...) &&
           (Core::Database::Filedb::lastRefusal() != Refusal::content || refuseLength(operation));
}

/// Null when the query failed.
template <typename... Values>
[[nodiscard]] std::unique_ptr<Core::Database::IResultTable> query(Core::Database::IDatabase& database,
                                                                  const char* sql, const Values&... values) {
    return std::unique_ptr<Core::Database::IResultTable>(database.executeQuery(sql, values.c_str()...));
}

/// The transaction of a save. Its destructor ends it, unless it is to stay open.
class SaveTransaction {
public:
    explicit SaveTransaction(Core::Database::IDatabase& database) : database_(database) {
        database.beginTransaction();
    }
    ~SaveTransaction() { end(); }
    SaveTransaction(const SaveTransaction&) = delete;
    SaveTransaction& operator=(const SaveTransaction&) = delete;

    [[nodiscard]] bool commit() {
        isOpen_ = !database_.commitTransaction();
        return !isOpen_;
    }

    void stayOpen() { isOpen_ = false; }

    /// Discards the changes: no thread may wait for a transaction that cannot be committed.
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
[[nodiscard]] bool insertRow(const char* operation, Core::Database::IDatabase& database,
                             std::size_t shortestLine, Insert insert, SubscriptionRecord& record) {
    if (!fits(operation, shortestLine)) {
        return false;
    }
    using Core::Database::Filedb::Refusal;
    SaveTransaction transaction(database);
    const bool isAccepted = insert();
    const Refusal refusal = Core::Database::Filedb::lastRefusal();
    if (refusal == Refusal::none && isAccepted) {
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
