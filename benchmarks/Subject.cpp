#include "Subject.h"

#include <array>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "FileDatabase.h"
#include "IDatabase.h"
#include "IResultTable.h"
#include "SqliteStore.h"
#include "StoreAccess.h"
#include "TableFormat.h"

using Kalt::Vemo::Core::Database::IDatabase;
using Kalt::Vemo::Core::Database::IResultTable;
using Kalt::Vemo::Core::Database::Filedb::kDirectorySuffix;
using Kalt::Vemo::Core::Database::Filedb::kTableSuffix;
using Kalt::Vemo::Core::Database::Filedb::Synchronous;
using Kalt::Vemo::Notification::FileSubscriptionDatabase;
using Kalt::Vemo::Notification::ISubscriptionDB;
using Kalt::Vemo::Notification::StoreAccess;
using Kalt::Vemo::Notification::SubscriptionRecord;

namespace {

const std::string kInsert =
    "INSERT INTO Subscriptions (deviceId, subscribedResource, subscriptionUri, notificationUri, expireTime) "
    "VALUES ";

class FileSubject : public Subject {
public:
    FileSubject(Synchronous level, Medium medium, int rows)
        : directory_(medium), store_(StoreAccess::make(level)) {
        std::string where = path();
        const std::string directory = where + kDirectorySuffix;
        std::filesystem::create_directory(directory);
        fill(directory + "/", rows);
        check(store_->init(where, 0));
    }

    ISubscriptionDB& store() override { return *store_; }
    std::string path() const override { return directory_.path() + "/db"; }
    void begin() override { check(database().beginTransaction()); }
    void rollback() override { check(database().rollbackTransaction()); }
    void insertRow() override { insert("4102444800"); }
    void addExpiredRow() override { insert("1000"); }

    void deleteLastRow() override {
        update("DELETE FROM Subscriptions WHERE ROWID = ?;",
               std::to_string(database().getLastInsertRowid()).c_str());
    }

    void updateRow(std::int64_t id, const std::string& device) override {
        update("UPDATE Subscriptions SET deviceId='?' WHERE ROWID = ?;", device.c_str(),
               std::to_string(id).c_str());
    }

    void updateAllRows(const std::string& device) override {
        update("UPDATE Subscriptions SET deviceId='?';", device.c_str());
    }
    int selectAll() override { return count("SELECT * FROM Subscriptions;"); }

    int selectByText() override {
        return count("SELECT subscriptionUri FROM Subscriptions WHERE deviceId = '?';", "device-7");
    }

    int selectByPattern() override {
        return count("SELECT subscriptionUri FROM Subscriptions WHERE subscribedResource LIKE '?';",
                     "%/kitchen/%");
    }

    void createTable() override { update("CREATE TABLE extra (a INTEGER, b TEXT, c REAL);"); }
    void dropTable() override { update("DROP TABLE extra;"); }

    void checkNewColumn() override {
        if (database().executeUpdate("ALTER TABLE IN Subscriptions ADD COLUMN note TEXT;") != 1) {
            throw std::runtime_error("ALTER TABLE failed");
        }
    }

private:
    // The store's own: what one engine has kept of a file is void when another writes it.
    IDatabase& database() { return StoreAccess::database(*store_); }

    static void check(bool result) {
        if (!result) {
            throw std::runtime_error("the file database refused an operation, see the log");
        }
    }

    static void fill(const std::string& directory, int rows) {
        std::ofstream subscriptions(directory + "Subscriptions" + kTableSuffix, std::ios::binary);
        std::ofstream mine(directory + "MySubscriptions" + kTableSuffix, std::ios::binary);
        subscriptions << "deviceId~subscribedResource~subscriptionUri~notificationUri~expireTime~ROWID\n4~4~"
                         "4~4~4~1\n\n";
        mine
            << "requestId~deviceId~subscribedResource~subscriptionUri~notificationUri~ROWID\n1~4~4~4~4~1\n\n";
        for (int i = 1; i <= rows; ++i) {
            const SubscriptionRecord r = sampleRecord(i);
            const std::string texts = "'" + r.deviceId + "'~'" + r.subscribedResource + "'~'" +
                                      r.subscriptionUri + "'~'" + r.notificationUri + "'~";
            subscriptions << texts << "NULL~" << i << '\n';
            mine << i << '~' << texts << i << '\n';
        }
    }

    template <typename... Values>
    void update(const char* sql, Values... values) {
        check(database().executeUpdate(sql, values...) == 0);
    }

    template <typename... Values>
    int count(const char* sql, Values... values) {
        const std::unique_ptr<IResultTable> result(database().executeQuery(sql, values...));
        check(result != nullptr);
        return result->getCount();
    }

    void insert(const char* expiry) {
        static const SubscriptionRecord r = sampleRecord(7);
        update((kInsert + "('?', '?', '?', '?', '?');").c_str(), r.deviceId.c_str(),
               r.subscribedResource.c_str(), r.subscriptionUri.c_str(), r.notificationUri.c_str(), expiry);
    }

    BenchDirectory directory_;
    std::unique_ptr<FileSubscriptionDatabase> store_;
};

class SqliteSubject : public Subject {
public:
    SqliteSubject(const std::string& synchronous, Medium medium, int rows)
        : directory_(medium), store_(synchronous) {
        std::string where = path();
        store_.init(where, 0);
        begin();
        for (int i = 1; i <= rows; ++i) {
            SubscriptionRecord record = sampleRecord(i);
            store_.saveSubscription(record);
            store_.savePendingMySubscription(i, record);
        }
        store_.run("COMMIT");
    }

    ISubscriptionDB& store() override { return store_; }
    std::string path() const override { return directory_.path() + "/db"; }
    void begin() override { store_.run("BEGIN"); }
    void rollback() override { store_.run("ROLLBACK"); }
    void insertRow() override { insert("4102444800"); }
    void addExpiredRow() override { insert("1000"); }

    void deleteLastRow() override {
        store_.run("DELETE FROM Subscriptions WHERE rowid = last_insert_rowid()");
    }

    void updateRow(std::int64_t id, const std::string& device) override {
        store_.run("UPDATE Subscriptions SET deviceId = ? WHERE rowid = ?",
                   {device.c_str(), std::to_string(id)});
    }

    void updateAllRows(const std::string& device) override {
        store_.run("UPDATE Subscriptions SET deviceId = ?", {device});
    }
    int selectAll() override { return count("", {}); }
    int selectByText() override { return count(" WHERE deviceId = ?", {"device-7"}); }
    int selectByPattern() override { return count(" WHERE subscribedResource LIKE ?", {"%/kitchen/%"}); }
    void createTable() override { store_.run("CREATE TABLE extra (a INTEGER, b TEXT, c REAL)"); }
    void dropTable() override { store_.run("DROP TABLE extra"); }

    void checkNewColumn() override {
        // SQLite has no statement that only checks; adding and dropping a column is not the same work.
        throw std::logic_error("not measured on SQLite");
    }

private:
    int count(const std::string& condition, const std::vector<std::string>& values) {
        std::list<SubscriptionRecord> records;
        store_.select(
            "SELECT deviceId, subscribedResource, subscriptionUri, notificationUri, rowid FROM "
            "Subscriptions" +
                condition,
            values, records);
        return static_cast<int>(records.size());
    }

    void insert(const std::string& expiry) {
        static const SubscriptionRecord r = sampleRecord(7);
        store_.run(kInsert + "(?, ?, ?, ?, ?)",
                   {r.deviceId, r.subscribedResource, r.subscriptionUri, r.notificationUri, expiry});
    }

    BenchDirectory directory_;
    SqliteStore store_;
};

}  // namespace

SubscriptionRecord sampleRecord(int index) {
    static const char* const kRooms[] = {"kitchen", "hall", "bedroom", "cellar", "garden"};
    SubscriptionRecord record;
    const std::string number = std::to_string(index);
    record.deviceId = "device-" + std::to_string(index % 40);
    record.subscribedResource =
        "/home/" + std::string(kRooms[index % 5]) + "/sensor-" + number + "/temperature";
    record.subscriptionUri = "/subscriptions/" + number + "/";
    record.notificationUri = "coap://[fd00::1]:5683/notifications/" + number + "/";
    // Filled up to rows of 200 bytes.
    constexpr std::size_t kRow = 200;
    const std::size_t length = record.deviceId.size() + record.subscribedResource.size() +
                               record.subscriptionUri.size() + record.notificationUri.size() +
                               2 * number.size() + 19;
    record.notificationUri.append(length < kRow ? kRow - length : 0, 'x');
    return record;
}

std::string nameOf(Level level) {
    static constexpr std::array kNames = {"off", "normal", "full"};
    return kNames.at(static_cast<std::size_t>(level));
}

std::unique_ptr<Subject> makeFileSubject(Level level, Medium medium, int rows) {
    static constexpr std::array kLevels = {Synchronous::off, Synchronous::normal, Synchronous::full};
    return std::make_unique<FileSubject>(kLevels.at(static_cast<std::size_t>(level)), medium, rows);
}

std::unique_ptr<Subject> makeSqliteSubject(Level level, Medium medium, int rows) {
    return std::make_unique<SqliteSubject>(nameOf(level), medium, rows);
}
