#include "requests/OtherClient.h"

#include <stdexcept>
#include <utility>

#include "DatabaseClient.h"
#include "FileDatabase.h"
#include "TableFormat.h"

namespace Kalt::Vemo::Requests {

using Core::Database::DatabaseClient;
using Core::Database::DatabaseException;
using Core::Database::Row;
using Core::Database::Transaction;
using Core::Database::Filedb::FileDatabase;
using Core::Database::Filedb::kDirectorySuffix;
using Core::Database::Filedb::kNullWord;
using Core::Database::Filedb::kTableSuffix;

OtherClient::OtherClient(std::string path) : path_(std::move(path)) {}

bool OtherClient::provision() const {
    FileDatabase database;
    if (!database.init(path_)) {
        return false;
    }
    const DatabaseClient client(database);
    client.execute(
        "CREATE TABLE IF NOT EXISTS Subscriptions (deviceId TEXT, subscribedResource TEXT, subscriptionUri "
        "TEXT, "
        "notificationUri TEXT, expireTime TEXT);");
    try {
        // The result of a CREATE does not tell whether the table is there; a query does.
        client.query("SELECT expireTime FROM Subscriptions;");
        return true;
    } catch (const DatabaseException&) {
        return false;  // the log tells why
    }
}

bool OtherClient::setExpireTime(const std::string& rowid, const std::optional<std::string>& instant) const {
    FileDatabase database;
    if (!database.init(path_)) {
        return false;
    }
    const DatabaseClient client(database);
    Transaction transaction(database);
    try {
        client.execute("UPDATE Subscriptions SET expireTime='?' WHERE ROWID = '?';", instant, rowid);
        // A row that became too long for the file is not found again.
        return client.query("SELECT ROWID FROM Subscriptions WHERE ROWID = '?';", rowid).count() > 0 &&
               transaction.commit();
    } catch (const DatabaseException&) {
        return false;  // the log tells why
    } catch (const std::invalid_argument&) {
        return false;  // a text with a NUL byte
    }
}

OtherClient::Table OtherClient::read(const std::string& name, const std::vector<std::string>& columns) const {
    Table table{path_ + kDirectorySuffix + "/" + name + kTableSuffix, columns, {}, false};
    FileDatabase database;
    if (!database.init(path_)) {
        return table;
    }
    try {
        for (const Row row : DatabaseClient(database).query(("SELECT *, ROWID FROM " + name + ";").c_str())) {
            std::vector<std::string>& cells = table.rows.emplace_back();
            for (const std::string& column : columns) {
                cells.push_back(row.get<std::optional<std::string>>(column).value_or(kNullWord));
            }
        }
        table.readable = true;
    } catch (const DatabaseException&) {
        table.rows.clear();  // the log tells why
    }
    return table;
}

}  // namespace Kalt::Vemo::Requests
