#include "SubscriptionFileDatabase.h"

#include <ctime>
#include <exception>
#include <optional>
#include <string_view>
#include <utility>

#include "Arguments.h"
#include "EngineAccess.h"
#include "FileDatabase.h"
#include "IDatabase.h"
#include "IResultTable.h"
#include "StoreLog.h"
#include "StoreStatements.h"
#include "StoredRow.h"
#include "VEMOFileSubscriptionDB.h"

namespace Kalt::Vemo::Notification {

using Core::Database::IDatabase;
using Core::Database::IResultTable;

namespace {

/// The text with the value in place of each "?". Nothing escapes quotes and blanks in it.
std::string pasted(std::string_view text, const std::string& value) {
    std::string result;
    for (const char character : text) {
        if (character == '?') {
            result += value;
        } else {
            result += character;
        }
    }
    return result;
}

/// The clause with each resource pasted in, joined by OR. Nothing without a resource, and for one that cannot
/// be part of a statement.
std::optional<std::string> joinClauses(const char* operation, std::string_view clause,
                                       const std::list<std::string>& resources) {
    std::string joined;
    for (const std::string& resource : resources) {
        if (!canPaste(operation, {{"resource", resource}})) {
            return std::nullopt;
        }
        joined += (joined.empty() ? "" : " OR ") + pasted(clause, resource);
    }
    return resources.empty() ? std::nullopt : std::optional<std::string>(std::move(joined));
}

bool makeTables(IDatabase& database) {
    if (!update(database,
                "CREATE TABLE IF NOT EXISTS MySubscriptions (requestId INTEGER, deviceId TEXT, "
                "subscribedResource TEXT, subscriptionUri TEXT, notificationUri TEXT);")) {
        logError("MySubscriptions Table Creation failed!");
        return false;
    }
    // The ";" is left out on purpose: the database refuses the statement with 1, and other clients make the
    // table.
    if (database.executeUpdate("ALTER TABLE Subscriptions ADD COLUMN expireTime TEXT") == 1) {
        return true;
    }
    if (!update(database,
                "CREATE TABLE IF NOT EXISTS Subscriptions (deviceId TEXT, subscribedResource TEXT, "
                "subscriptionUri TEXT, notificationUri TEXT, expireTime TEXT );")) {
        logError("Subscriptions Table Creation failed!");
        return false;
    }
    return true;
}

/// Runs the operation on the open database; false when there is none, or when an exception ends it.
template <typename Operation>
bool run(IDatabase* database, const char* name, Operation operation) {
    try {
        if (database == nullptr) {
            logError(std::string(name) + ": the store is not open; call init first");
            return false;
        }
        return operation(*database);
    } catch (const std::exception& error) {
        // The log joins the texts: there may be no memory for doing it here.
        Log::Log::log(__FILE__, __LINE__, kLogModule, kLogTag, kLogError, "%s: %s", name, error.what());
        return false;
    }
}

/// Where a result has what a record holds: positions from 1 on, or labels.
template <typename Column>
struct RecordColumns {
    Column deviceId;
    Column subscribedResource;
    Column subscriptionUri;
    Column notificationUri;
    Column rowId;
};

/// Of every statement that lists "deviceId, subscribedResource, subscriptionUri, notificationUri, ROWID".
constexpr RecordColumns<int> kListedColumns = {1, 2, 3, 4, 5};

/// A record for each row of a query's result; nothing when the query failed.
template <typename Column = int>
std::optional<std::list<SubscriptionRecord>> readRecords(
    const std::unique_ptr<IResultTable>& rows, const RecordColumns<Column>& columns = kListedColumns) {
    if (!rows) {
        logError("Failed to execute SQL Select Statement");
        return std::nullopt;
    }
    std::list<SubscriptionRecord> records;
    while (rows->next()) {
        SubscriptionRecord& record = records.emplace_back();
        record.deviceId = rows->getString(columns.deviceId);
        record.subscribedResource = rows->getString(columns.subscribedResource);
        record.subscriptionUri = rows->getString(columns.subscriptionUri);
        record.notificationUri = rows->getString(columns.notificationUri);
        record.subscriptionId = rows->getLong(columns.rowId);
    }
    return records;
}

/// Appends a query's records to the caller's list; the list is unchanged when the query failed.
template <typename Column = int>
bool appendRecords(const std::unique_ptr<IResultTable>& rows, std::list<SubscriptionRecord>& records,
                   const RecordColumns<Column>& columns = kListedColumns) {
    std::optional<std::list<SubscriptionRecord>> found = readRecords(rows, columns);
    if (found) {
        records.splice(records.end(), *found);
    }
    return found.has_value();
}

/// Copies a query's first record to the caller's; that is unchanged when there is none, or the query failed.
bool copyFirstRecord(const std::unique_ptr<IResultTable>& rows, SubscriptionRecord& record) {
    std::optional<std::list<SubscriptionRecord>> found = readRecords(rows);
    if (found && !found->empty()) {
        record = std::move(found->front());
    }
    return found.has_value();
}

/// The instant, in seconds since the epoch, at which a subscription that is saved now expires.
std::string expiryInstant(int lifetime) {
    return std::to_string(static_cast<long long>(std::time(nullptr)) + lifetime);
}

}  // namespace

ISubscriptionDB* VEMOFileSubscriptionDB::createInstance() {
    return new FileSubscriptionDatabase();
}

// ---- Opening and closing ----

FileSubscriptionDatabase::FileSubscriptionDatabase()
    : FileSubscriptionDatabase(Core::Database::Filedb::EngineAccess::defaultSynchronous()) {}

FileSubscriptionDatabase::FileSubscriptionDatabase(Core::Database::Filedb::Synchronous synchronous)
    : synchronous_(synchronous) {}

FileSubscriptionDatabase::~FileSubscriptionDatabase() {
    FileSubscriptionDatabase::deinit();
}

bool FileSubscriptionDatabase::init(std::string& path, int expiryTimeVal) {
    if (path.empty()) {
        logError("failed!.. DB path is empty");
        return false;
    }
    if (!canSend("init", {{"path", path}})) {
        return false;
    }
    setSubExprTimeVal(expiryTimeVal);
    try {
        // The earlier database is closed first: two at once would remove each other's working copies.
        database_.reset();
        database_ = std::make_unique<Core::Database::Filedb::FileDatabase>(mayStoreLine, synchronous_);
        if (!database_->init(path)) {
            logError("File DB initialization failed!");
            return false;
        }
        return makeTables(*database_);
    } catch (const std::exception& error) {
        logError(std::string("init: ") + error.what());
        return false;
    }
}

bool FileSubscriptionDatabase::deinit() {
    database_.reset();
    return true;
}

void FileSubscriptionDatabase::setSubExprTimeVal(int seconds) {
    subExprTimeVal_ = seconds;
}

int FileSubscriptionDatabase::getSubExprTimeVal() const {
    return subExprTimeVal_;
}

// ---- MySubscriptions: what this device holds, or has requested, on other devices ----

bool FileSubscriptionDatabase::savePendingMySubscription(int requestId, SubscriptionRecord& record) {
    constexpr const char* kName = "savePendingMySubscription";
    return run(database_.get(), kName, [&](IDatabase& database) {
        if (!canStoreRecord(kName, record)) {
            return false;
        }
        const std::string id = toString<int>(requestId);
        return insertRow(
            kName, database, bytesOfInteger(id) + bytesOfRecord(record) + kShortestField,
            [&] {
                return send(database,
                            "INSERT INTO MySubscriptions (requestId, deviceId, subscribedResource, "
                            "subscriptionUri, notificationUri ) VALUES (?, '?', '?', '?', '?');",
                            id, record.deviceId, record.subscribedResource, record.subscriptionUri,
                            record.notificationUri);
            },
            record);
    });
}

bool FileSubscriptionDatabase::deletePendingMySubscription(int requestId) {
    return run(database_.get(), "deletePendingMySubscription", [&](IDatabase& database) {
        return update(database, "DELETE FROM MySubscriptions WHERE requestId = ?;", toString<int>(requestId));
    });
}

bool FileSubscriptionDatabase::updateMySubscription(int requestId, std::string& subscriptionUri) {
    constexpr const char* kName = "updateMySubscription";
    return run(database_.get(), kName, [&](IDatabase& database) {
        const std::string answered = "-1";
        const std::string id = toString<int>(requestId);
        const std::size_t newFields = bytesOfInteger(answered) + bytesOfText(subscriptionUri);
        if (!canStore(kName, {{"subscriptionUri", subscriptionUri}}) ||
            !fits(kName, newFields + 4 * kShortestField)) {
            return false;
        }
        return updateThatFits(
            kName, database,
            "UPDATE MySubscriptions SET requestId=?, subscriptionUri='?' WHERE requestId = ?;", answered,
            subscriptionUri, id);
    });
}

bool FileSubscriptionDatabase::updateMySubscriptionBySubscriptionUri(std::string& subscriptionUri,
                                                                     std::string& subscribedResource) {
    constexpr const char* kName = "updateMySubscriptionBySubscriptionUri";
    return run(database_.get(), kName, [&](IDatabase& database) {
        const std::size_t newFields = bytesOfTextAsInteger(subscribedResource);
        if (!canSend(kName, {{"subscriptionUri", subscriptionUri}}) ||
            !canStore(kName, {{"subscribedResource", subscribedResource}}) ||
            !fits(kName, newFields + 5 * kShortestField)) {
            return false;
        }
        return updateThatFits(
            kName, database,
            "UPDATE MySubscriptions SET subscribedResource = '?' WHERE subscriptionUri = '?';",
            subscribedResource, subscriptionUri);
    });
}

bool FileSubscriptionDatabase::deleteMySubscriptionBySubscriptionUri(std::string& deviceId,
                                                                     std::string& subscriptionUri) {
    constexpr const char* kName = "deleteMySubscriptionBySubscriptionUri";
    return run(database_.get(), kName, [&](IDatabase& database) {
        return canSend(kName, {{"deviceId", deviceId}, {"subscriptionUri", subscriptionUri}}) &&
               update(database, "DELETE FROM MySubscriptions WHERE deviceId = '?' AND subscriptionUri = '?';",
                      deviceId, subscriptionUri);
    });
}

bool FileSubscriptionDatabase::getMySubscriptionBySubscriptionUri(std::string& subscriptionUri,
                                                                  SubscriptionRecord& record) {
    constexpr const char* kName = "getMySubscriptionBySubscriptionUri";
    return run(database_.get(), kName, [&](IDatabase& database) {
        return canSend(kName, {{"subscriptionUri", subscriptionUri}}) &&
               copyFirstRecord(query(database,
                                     "SELECT deviceId, subscribedResource, subscriptionUri, "
                                     "notificationUri, ROWID FROM MySubscriptions WHERE "
                                     "subscriptionUri = '?';",
                                     subscriptionUri),
                               record);
    });
}

bool FileSubscriptionDatabase::getMySubscriptionByDeviceId(std::string& deviceId,
                                                           std::list<SubscriptionRecord>& records) {
    constexpr const char* kName = "getMySubscriptionByDeviceId";
    return run(database_.get(), kName, [&](IDatabase& database) {
        return canSend(kName, {{"deviceId", deviceId}}) &&
               appendRecords(query(database,
                                   "SELECT deviceId, subscribedResource, subscriptionUri, "
                                   "notificationUri, ROWID FROM MySubscriptions WHERE "
                                   "deviceId = '?';",
                                   deviceId),
                             records);
    });
}

bool FileSubscriptionDatabase::getMySubscriptionByResourcePaths(std::string& deviceId, std::string& resource,
                                                                std::list<SubscriptionRecord>& records) {
    constexpr const char* kName = "getMySubscriptionByResourcePaths";
    return run(database_.get(), kName, [&](IDatabase& database) {
        return canSend(kName, {{"deviceId", deviceId}, {"resource", resource}}) &&
               appendRecords(query(database,
                                   "SELECT deviceId, subscribedResource, subscriptionUri, "
                                   "notificationUri, ROWID FROM MySubscriptions WHERE "
                                   "deviceId = '?' AND subscribedResource = '?';",
                                   deviceId, resource),
                             records);
    });
}

bool FileSubscriptionDatabase::getMySubscriptionContainingResourceList(
    std::string deviceId, std::list<std::string> resources, std::list<SubscriptionRecord>& records) {
    constexpr const char* kName = "getMySubscriptionContainingResourceList";
    return run(database_.get(), kName, [&](IDatabase& database) {
        if (!canPaste(kName, {{"deviceId", deviceId}})) {
            return false;
        }
        const std::optional<std::string> condition =
            joinClauses(kName,
                        "( subscribedResource = '?'  OR subscribedResource LIKE '% ?'  OR "
                        "subscribedResource LIKE '? %' OR subscribedResource LIKE '% ? %' ) ",
                        resources);
        if (!condition) {
            return false;
        }
        const std::string sql =
            pasted(
                "SELECT deviceId, subscribedResource, subscriptionUri, notificationUri, ROWID FROM "
                "MySubscriptions WHERE deviceId = '?' AND( ",
                deviceId) +
            *condition + ");";
        return appendRecords(query(database, sql.c_str()), records);
    });
}

// ---- Subscriptions: what other parties hold on this device's resources ----

bool FileSubscriptionDatabase::saveSubscription(SubscriptionRecord& record) {
    constexpr const char* kName = "saveSubscription";
    return run(database_.get(), kName, [&](IDatabase& database) {
        if (!canStoreRecord(kName, record)) {
            return false;
        }
        const bool expires = getSubExprTimeVal() >= 1;
        return insertRow(
            kName, database, bytesOfRecord(record) + (expires ? kShortestText : 0) + kShortestField,
            [&] {
                // Computed inside the transaction: the save may have waited for its lock.
                return expires ? send(database,
                                      "INSERT INTO Subscriptions (deviceId, subscribedResource, "
                                      "subscriptionUri, notificationUri, expireTime ) VALUES ('?', '?', '?', "
                                      "'?', '?');",
                                      record.deviceId, record.subscribedResource, record.subscriptionUri,
                                      record.notificationUri, expiryInstant(getSubExprTimeVal()))
                               : send(database,
                                      "INSERT INTO Subscriptions (deviceId, subscribedResource, "
                                      "subscriptionUri, notificationUri ) VALUES ('?', '?', '?', '?');",
                                      record.deviceId, record.subscribedResource, record.subscriptionUri,
                                      record.notificationUri);
            },
            record);
    });
}

bool FileSubscriptionDatabase::getSubscriptionContainingResource(std::string& resource,
                                                                 std::list<SubscriptionRecord>& records) {
    constexpr const char* kName = "getSubscriptionContainingResource";
    // What stands where in "*" is up to the client that made the table.
    static const RecordColumns<std::string> kLabels = {"deviceId", "subscribedResource", "subscriptionUri",
                                                       "notificationUri", "ROWID"};
    return run(database_.get(), kName, [&](IDatabase& database) {
        return canSend(kName, {{"resource", resource}}) &&
               appendRecords(
                   query(database,
                         "SELECT *, ROWID FROM Subscriptions WHERE subscribedResource = '?' OR "
                         "subscribedResource LIKE '?' OR subscribedResource LIKE '?' OR subscribedResource "
                         "LIKE '?';",
                         resource, "% " + resource, resource + " %", "% " + resource + " %"),
                   records, kLabels);
    });
}

bool FileSubscriptionDatabase::getSubscriptionContainingResourceList(std::list<std::string> resources,
                                                                     std::list<SubscriptionRecord>& records) {
    constexpr const char* kName = "getSubscriptionContainingResourceList";
    return run(database_.get(), kName, [&](IDatabase& database) {
        const std::optional<std::string> condition = joinClauses(
            kName,
            " subscribedResource = '?' OR subscribedResource LIKE '%?' OR subscribedResource LIKE "
            "'?%' OR subscribedResource LIKE '%?%'  ",
            resources);
        if (!condition) {
            return false;
        }
        const std::string sql =
            "SELECT deviceId, subscribedResource, subscriptionUri, notificationUri, ROWID FROM Subscriptions "
            "WHERE " +
            *condition + ";";
        return appendRecords(query(database, sql.c_str()), records);
    });
}

bool FileSubscriptionDatabase::getSubscriptionBySubscriptionID(std::string& id, SubscriptionRecord& record) {
    constexpr const char* kName = "getSubscriptionBySubscriptionID";
    return run(database_.get(), kName, [&](IDatabase& database) {
        return canSend(kName, {{"id", id}}) &&
               copyFirstRecord(query(database,
                                     "SELECT deviceId, subscribedResource, subscriptionUri, "
                                     "notificationUri, ROWID FROM Subscriptions WHERE ROWID = '?';",
                                     id),
                               record);
    });
}

bool FileSubscriptionDatabase::updateSubscription(SubscriptionRecord& record) {
    constexpr const char* kName = "updateSubscription";
    return run(database_.get(), kName, [&](IDatabase& database) {
        const std::string id = toString<long long>(record.subscriptionId);
        const std::size_t newFields = bytesOfText(record.deviceId) + bytesOfText(record.subscribedResource) +
                                      bytesOfText(record.notificationUri);
        if (!canStore(kName, {{"deviceId", record.deviceId},
                              {"subscribedResource", record.subscribedResource},
                              {"notificationUri", record.notificationUri}}) ||
            !canSend(kName, {{"subscriptionUri", record.subscriptionUri}}) ||
            !fits(kName, newFields + kShortestField + id.size() + kFieldCloser)) {
            return false;
        }
        if (getSubExprTimeVal() >= 1) {
            // The table has no column expireTimer: the database refuses the statement, and no row grows.
            return update(database,
                          "UPDATE Subscriptions SET deviceId='?', subscribedResource='?', "
                          "notificationUri='?', expireTimer='?' WHERE ROWID = '?';",
                          record.deviceId, record.subscribedResource, record.notificationUri,
                          expiryInstant(getSubExprTimeVal()), id);
        }
        return updateThatFits(
            kName, database,
            "UPDATE Subscriptions SET deviceId='?', subscribedResource='?', notificationUri='?' "
            "WHERE ROWID = '?';",
            record.deviceId, record.subscribedResource, record.notificationUri, id);
    });
}

bool FileSubscriptionDatabase::deleteSubscriptionBySubscriptionID(std::string& id) {
    constexpr const char* kName = "deleteSubscriptionBySubscriptionID";
    return run(database_.get(), kName, [&](IDatabase& database) {
        return canSend(kName, {{"id", id}}) &&
               update(database, "DELETE FROM Subscriptions WHERE ROWID = ?;", id);
    });
}

bool FileSubscriptionDatabase::getSubscriptions(std::list<SubscriptionRecord>& records) {
    return run(database_.get(), "getSubscriptions", [&](IDatabase& database) {
        return appendRecords(query(database,
                                   "SELECT deviceId, subscribedResource, subscriptionUri, "
                                   "notificationUri, ROWID FROM Subscriptions;"),
                             records);
    });
}

bool FileSubscriptionDatabase::deleteExpiredSubscriptions() {
    return run(database_.get(), "deleteExpiredSubscriptions", [&](IDatabase& database) {
        const std::string now = toString<long long>(static_cast<long long>(std::time(nullptr)));
        const std::string sql = "DELETE FROM Subscriptions WHERE expireTime <= '" + now + "' ;";
        if (!update(database, sql.c_str())) {
            logError("Deletion of expired subscriptions failed!");
            return false;
        }
        return true;
    });
}

}  // namespace Kalt::Vemo::Notification
