#include "OtherClient.h"

#include <memory>
#include <utility>

#include "FileDatabase.h"
#include "IResultTable.h"

namespace Notifier {

using Kalt::Vemo::Core::Database::IResultTable;
using Kalt::Vemo::Core::Database::Filedb::FileDatabase;
using Result = std::unique_ptr<IResultTable>;

OtherClient::OtherClient(std::string path) : path_(std::move(path)) {}

bool OtherClient::provision() const {
    FileDatabase database;
    if (!database.init(path_)) {
        return false;
    }
    database.executeUpdate(
        "CREATE TABLE IF NOT EXISTS Subscriptions (deviceId TEXT, subscribedResource TEXT, subscriptionUri "
        "TEXT, "
        "notificationUri TEXT, expireTime TEXT);");
    // The result of a CREATE does not tell whether the table is there; a query does.
    return Result(database.executeQuery("SELECT expireTime FROM Subscriptions;")) != nullptr;
}

bool OtherClient::setExpireTime(const std::string& rowid, const std::optional<std::string>& instant) const {
    FileDatabase database;
    if (!database.init(path_)) {
        return false;
    }
    database.beginTransaction();
    database.executeUpdate("UPDATE Subscriptions SET expireTime='?' WHERE ROWID = '?';",
                           instant ? instant->c_str() : nullptr, rowid.c_str());
    // A row that became too long for the file is not found again.
    const Result row(
        database.executeQuery("SELECT ROWID FROM Subscriptions WHERE ROWID = '?';", rowid.c_str()));
    if (!row || !row->next()) {
        database.rollbackTransaction();
        return false;
    }
    return database.commitTransaction();
}

OtherClient::Table OtherClient::read(const std::string& name, const std::vector<std::string>& columns) const {
    Table table{path_ + "_filedb/" + name + ".table", columns, {}, false};
    FileDatabase database;
    if (!database.init(path_)) {
        return table;
    }
    const Result result(database.executeQuery(("SELECT *, ROWID FROM " + name + ";").c_str()));
    if (!result) {
        return table;
    }
    while (result->next()) {
        std::vector<std::string>& row = table.rows.emplace_back();
        for (const std::string& column : columns) {
            std::string cell = result->getString(column);
            row.push_back(result->wasNull() ? "NULL" : std::move(cell));
        }
    }
    table.readable = true;
    return table;
}

}  // namespace Notifier
