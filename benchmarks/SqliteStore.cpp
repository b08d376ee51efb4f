#include "SqliteStore.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <utility>

namespace {

const std::string kColumns = "deviceId, subscribedResource, subscriptionUri, notificationUri, rowid";

[[noreturn]] void fail(sqlite3* database, const std::string& sql) {
    std::fprintf(stderr, "SQLite: %s in: %s\n", sqlite3_errmsg(database), sql.c_str());
    std::abort();
}

std::string text(sqlite3_stmt* statement, int column) {
    const auto* value =
        static_cast<const char*>(static_cast<const void*>(sqlite3_column_text(statement, column)));
    return value == nullptr
               ? std::string()
               : std::string(value, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
}

}  // namespace

SqliteStore::SqliteStore(std::string synchronous) : synchronous_(std::move(synchronous)) {}

SqliteStore::~SqliteStore() {
    SqliteStore::deinit();
}

bool SqliteStore::init(std::string& path, int expiryTimeVal) {
    expiry_ = expiryTimeVal;
    if (sqlite3_open((path + ".sqlite").c_str(), &database_) != SQLITE_OK) {
        fail(database_, path);
    }
    std::list<Record> ignored;
    run("PRAGMA synchronous=" + synchronous_);
    select("PRAGMA journal_mode=DELETE", {}, ignored);
    run("PRAGMA case_sensitive_like=ON");
    run("CREATE TABLE IF NOT EXISTS MySubscriptions (requestId INTEGER, deviceId TEXT, subscribedResource "
        "TEXT, "
        "subscriptionUri TEXT, notificationUri TEXT)");
    run("CREATE TABLE IF NOT EXISTS Subscriptions (deviceId TEXT, subscribedResource TEXT, subscriptionUri "
        "TEXT, "
        "notificationUri TEXT, expireTime TEXT)");
    return true;
}

bool SqliteStore::deinit() {
    statements_.clear();
    sqlite3_close(database_);
    database_ = nullptr;
    return true;
}

sqlite3_stmt* SqliteStore::prepared(const std::string& sql, const std::vector<std::string>& values) {
    auto found = statements_.find(sql);
    if (found == statements_.end()) {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v3(database_, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) !=
            SQLITE_OK) {
            fail(database_, sql);
        }
        found =
            statements_.emplace(sql, decltype(statements_)::mapped_type(statement, &sqlite3_finalize)).first;
    }
    sqlite3_stmt* statement = found->second.get();
    sqlite3_reset(statement);
    int index = 1;
    for (const std::string& value : values) {
        sqlite3_bind_text(statement, index, value.c_str(), static_cast<int>(value.size()), SQLITE_STATIC);
        ++index;
    }
    return statement;
}

bool SqliteStore::run(const std::string& sql, const std::vector<std::string>& values) {
    sqlite3_stmt* statement = prepared(sql, values);
    const int result = sqlite3_step(statement);
    if (result != SQLITE_DONE && result != SQLITE_ROW) {
        fail(database_, sql);
    }
    sqlite3_reset(statement);
    return true;
}

bool SqliteStore::select(const std::string& sql, const std::vector<std::string>& values,
                         std::list<Record>& records) {
    sqlite3_stmt* statement = prepared(sql, values);
    while (sqlite3_step(statement) == SQLITE_ROW) {
        Record& record = records.emplace_back();
        record.deviceId = text(statement, 0);
        record.subscribedResource = text(statement, 1);
        record.subscriptionUri = text(statement, 2);
        record.notificationUri = text(statement, 3);
        record.subscriptionId = sqlite3_column_int64(statement, 4);
    }
    sqlite3_reset(statement);
    return true;
}

bool SqliteStore::savePendingMySubscription(int requestId, Record& record) {
    run("INSERT INTO MySubscriptions (requestId, deviceId, subscribedResource, subscriptionUri, "
        "notificationUri) "
        "VALUES (?, ?, ?, ?, ?)",
        {std::to_string(requestId), record.deviceId, record.subscribedResource, record.subscriptionUri,
         record.notificationUri});
    record.subscriptionId = sqlite3_last_insert_rowid(database_);
    return true;
}

bool SqliteStore::deletePendingMySubscription(int requestId) {
    return run("DELETE FROM MySubscriptions WHERE requestId = ?", {std::to_string(requestId)});
}

bool SqliteStore::updateMySubscription(int requestId, std::string& subscriptionUri) {
    return run("UPDATE MySubscriptions SET requestId = ?, subscriptionUri = ? WHERE requestId = ?",
               {"-1", subscriptionUri, std::to_string(requestId)});
}

bool SqliteStore::updateMySubscriptionBySubscriptionUri(std::string& subscriptionUri,
                                                        std::string& subscribedResource) {
    return run("UPDATE MySubscriptions SET subscribedResource = ? WHERE subscriptionUri = ?",
               {subscribedResource, subscriptionUri});
}

bool SqliteStore::deleteMySubscriptionBySubscriptionUri(std::string& deviceId, std::string& subscriptionUri) {
    return run("DELETE FROM MySubscriptions WHERE deviceId = ? AND subscriptionUri = ?",
               {deviceId, subscriptionUri});
}

bool SqliteStore::getMySubscriptionBySubscriptionUri(std::string& subscriptionUri, Record& record) {
    std::list<Record> records;
    select("SELECT " + kColumns + " FROM MySubscriptions WHERE subscriptionUri = ?", {subscriptionUri},
           records);
    if (!records.empty()) {
        record = records.front();
    }
    return true;
}

bool SqliteStore::getMySubscriptionByDeviceId(std::string& deviceId, std::list<Record>& records) {
    return select("SELECT " + kColumns + " FROM MySubscriptions WHERE deviceId = ?", {deviceId}, records);
}

bool SqliteStore::getMySubscriptionByResourcePaths(std::string& deviceId, std::string& resource,
                                                   std::list<Record>& records) {
    return select(
        "SELECT " + kColumns + " FROM MySubscriptions WHERE deviceId = ? AND subscribedResource = ?",
        {deviceId, resource}, records);
}

bool SqliteStore::getMySubscriptionContainingResourceList(std::string deviceId,
                                                          std::list<std::string> resources,
                                                          std::list<Record>& records) {
    std::string sql = "SELECT " + kColumns + " FROM MySubscriptions WHERE deviceId = ? AND (";
    std::vector<std::string> values = {deviceId};
    for (const std::string& resource : resources) {
        sql += values.size() > 1 ? " OR " : "";
        sql +=
            "subscribedResource = ? OR subscribedResource LIKE ? OR subscribedResource LIKE ? OR "
            "subscribedResource LIKE ?";
        values.insert(values.end(), {resource, "% " + resource, resource + " %", "% " + resource + " %"});
    }
    return select(sql + ")", values, records);
}

bool SqliteStore::saveSubscription(Record& record) {
    if (expiry_ < 1) {
        run("INSERT INTO Subscriptions (deviceId, subscribedResource, subscriptionUri, notificationUri) "
            "VALUES (?, ?, "
            "?, ?)",
            {record.deviceId, record.subscribedResource, record.subscriptionUri, record.notificationUri});
    } else {
        run("INSERT INTO Subscriptions (deviceId, subscribedResource, subscriptionUri, notificationUri, "
            "expireTime) "
            "VALUES (?, ?, ?, ?, ?)",
            {record.deviceId, record.subscribedResource, record.subscriptionUri, record.notificationUri,
             std::to_string(std::time(nullptr) + expiry_)});
    }
    record.subscriptionId = sqlite3_last_insert_rowid(database_);
    return true;
}

bool SqliteStore::getSubscriptionContainingResource(std::string& resource, std::list<Record>& records) {
    return select("SELECT " + kColumns +
                      " FROM Subscriptions WHERE subscribedResource = ? OR subscribedResource LIKE ? OR "
                      "subscribedResource LIKE ? OR subscribedResource LIKE ?",
                  {resource, "% " + resource, resource + " %", "% " + resource + " %"}, records);
}

bool SqliteStore::getSubscriptionContainingResourceList(std::list<std::string> resources,
                                                        std::list<Record>& records) {
    std::string sql = "SELECT " + kColumns + " FROM Subscriptions WHERE ";
    std::vector<std::string> values;
    for (const std::string& resource : resources) {
        sql += values.empty() ? "" : " OR ";
        sql +=
            "subscribedResource = ? OR subscribedResource LIKE ? OR subscribedResource LIKE ? OR "
            "subscribedResource LIKE ?";
        values.insert(values.end(), {resource, "%" + resource, resource + "%", "%" + resource + "%"});
    }
    return select(sql, values, records);
}

bool SqliteStore::getSubscriptionBySubscriptionID(std::string& id, Record& record) {
    std::list<Record> records;
    select("SELECT " + kColumns + " FROM Subscriptions WHERE rowid = ?", {id}, records);
    if (!records.empty()) {
        record = records.front();
    }
    return true;
}

bool SqliteStore::updateSubscription(Record& record) {
    return run(
        "UPDATE Subscriptions SET deviceId = ?, subscribedResource = ?, notificationUri = ? WHERE rowid = ?",
        {record.deviceId, record.subscribedResource, record.notificationUri,
         std::to_string(record.subscriptionId)});
}

bool SqliteStore::deleteSubscriptionBySubscriptionID(std::string& id) {
    return run("DELETE FROM Subscriptions WHERE rowid = ?", {id});
}

bool SqliteStore::getSubscriptions(std::list<Record>& records) {
    return select("SELECT " + kColumns + " FROM Subscriptions", {}, records);
}

bool SqliteStore::deleteExpiredSubscriptions() {
    return run("DELETE FROM Subscriptions WHERE expireTime <= ?", {std::to_string(std::time(nullptr))});
}
