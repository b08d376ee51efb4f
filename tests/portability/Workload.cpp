// Runs one fixed workload in a directory and leaves there what it makes: tables, answers, and a database that
// was killed in the middle of a transaction. On every platform the files hold the same bytes; `scripts/check`
// compares them.

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <list>
#include <memory>
#include <random>
#include <string>

#include "Clock.h"
#include "FileDatabase.h"
#include "IResultTable.h"
#include "SubscriptionFileDatabase.h"

namespace Kalt::Vemo::Test {
namespace {

using Core::Database::IResultTable;
using Core::Database::Filedb::FileDatabase;
using Notification::SubscriptionRecord;

constexpr unsigned int kSeed = 20261122;

/// Draws the values of the workload. The distributions of the standard library differ from one library to the
/// next; the generator does not.
class Draw {
public:
    std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(generator_()) % limit; }

    std::string integer() {
        static const std::array<const char*, 6> kEdges{
            "0", "1", "4294967295", "9223372036854775807", "9223372036854775808", "18446744073709551615"};
        return below(4) == 0 ? kEdges[below(kEdges.size())] : std::to_string(below(1000));
    }

    std::string real() {
        static const std::array<const char*, 6> kEdges{"0.0",       "0.1",     "3.14159265",
                                                       "1234567.8", "0.00001", "16777217"};
        if (below(4) == 0) {
            return kEdges[below(kEdges.size())];
        }
        const std::uint32_t whole = below(100000);  // one draw a line: operands are evaluated in any order
        const std::uint32_t fraction = below(1000);
        return std::to_string(whole) + "." + std::to_string(fraction);
    }

    std::string text() {
        std::string text;
        for (std::uint32_t length = below(40); length > 0; length--) {
            // Every byte that a text can hold: no NUL, line feed or "~", and no quote or "?", which have a
            // meaning.
            const char character = static_cast<char>(1 + below(255));
            text += character == '\n' || character == '~' || character == '\'' || character == '?'
                        ? '_'
                        : character;
        }
        return text;
    }

private:
    std::mt19937 generator_{kSeed};
};

class Workload {
public:
    explicit Workload(const std::string& directory)
        : directory_(directory), answers_(directory + "/answers.txt", std::ios::binary) {}

    bool run() {
        return changes(directory_ + "/changes") && subscriptions(directory_ + "/subscriptions") &&
               killedInATransaction(directory_ + "/killed") && answers_.flush().good();
    }

private:
    bool changes(const std::string& path) {
        FileDatabase database;
        if (!database.init(path)) {
            return false;
        }
        makeTables(database);
        for (int round = 0; round < 60; round++) {
            database.beginTransaction();
            changeAFew(database);
            const bool ended =
                draw_.below(3) == 0 ? database.rollbackTransaction() : database.commitTransaction();
            answers_ << "round " << round << " ended " << ended << ", last row "
                     << database.getLastInsertRowid() << '\n';
            ask(database);
        }
        // Without rows there would be nothing to compare.
        return database.deinit() && std::count(rowsRead_.begin(), rowsRead_.end(), 0) == 0;
    }

    static void makeTables(FileDatabase& database) {
        database.executeUpdate("CREATE TABLE m (number INTEGER, share REAL, name TEXT);");
        database.executeUpdate("CREATE TABLE k (id INTEGER PRIMARY KEY, name TEXT NOT NULL);");
        database.executeUpdate("CREATE TABLE p (a TEXT, b INTEGER, PRIMARY KEY(a, b));");
    }

    void changeAFew(FileDatabase& database) {
        for (std::uint32_t count = 1 + draw_.below(8); count > 0; count--) {
            changeOne(database);
        }
    }

    void changeOne(FileDatabase& database) {
        const std::string integer = draw_.integer();
        const std::string real = draw_.real();
        const std::string text = draw_.text();
        switch (draw_.below(9)) {
            case 0:
                database.executeUpdate("DELETE FROM m WHERE number < ? AND share > ?;",
                                       std::to_string(draw_.below(30)).c_str(), real.c_str());
                return;
            case 1:
                database.executeUpdate("UPDATE m SET number=?, share=? WHERE name >= '?';", integer.c_str(),
                                       real.c_str(), text.c_str());
                return;
            case 2:
                database.executeUpdate("UPDATE p SET a='?', b=? WHERE b = ?;", text.substr(0, 1).c_str(),
                                       integer.c_str(), std::to_string(draw_.below(5)).c_str());
                return;
            case 3:
                database.executeUpdate("INSERT INTO k (id, name) VALUES (?, '?');",
                                       std::to_string(draw_.below(200)).c_str(), text.c_str());
                return;
            case 4:
                database.executeUpdate("INSERT INTO p (a, b) VALUES ('?', ?);", text.substr(0, 1).c_str(),
                                       std::to_string(draw_.below(5)).c_str());
                return;
            default:
                database.executeUpdate("INSERT INTO m (number, share, name) VALUES (?, ?, '?');",
                                       integer.c_str(), draw_.below(5) == 0 ? nullptr : real.c_str(),
                                       text.c_str());
        }
    }

    void ask(FileDatabase& database) {
        const std::string limit = draw_.integer();
        rowsRead_[0] += write(
            database.executeQuery("SELECT number, share, name FROM m WHERE number > ?;", limit.c_str()), 3);
        rowsRead_[1] += write(database.executeQuery("SELECT id, name FROM k WHERE name > '?';", "a"), 2);
        rowsRead_[2] +=
            write(database.executeQuery("SELECT a, b FROM p WHERE a > '?' OR b = ?;", "m", "3"), 2);
    }

    /// @return the number of rows; 0 also when the query failed
    int write(IResultTable* result, int columns) {
        const std::unique_ptr<IResultTable> rows(result);
        int count = 0;
        for (; rows && rows->next(); count++) {
            for (int column = 1; column <= columns; column++) {
                answers_ << rows->getString(column) << '|' << rows->getLong(column) << '|'
                         << rows->getDouble(column) << (column < columns ? '\t' : '\n');
            }
        }
        return count;
    }

    bool subscriptions(std::string path) {
        {
            FileDatabase other;
            if (!other.init(path)) {
                return false;
            }
            other.executeUpdate(
                "CREATE TABLE Subscriptions (deviceId TEXT, subscribedResource TEXT, subscriptionUri TEXT, "
                "notificationUri TEXT, expireTime TEXT);");
        }
        Notification::FileSubscriptionDatabase store;
        if (!store.init(path, 100)) {
            return false;
        }
        for (int number = 0; number < 200; number++) {
            setClock(4000000000 + number);  // past what a signed 32-bit time can tell
            SubscriptionRecord record;
            record.deviceId = "device" + std::to_string(draw_.below(5));
            record.subscribedResource = "/r/" + std::to_string(draw_.below(9));
            record.notificationUri = "http://[::1]/" + std::to_string(number);
            const bool saved = number % 2 == 0 ? store.saveSubscription(record)
                                               : store.savePendingMySubscription(number, record);
            answers_ << "saved " << saved << " as " << record.subscriptionId << '\n';
        }
        std::list<SubscriptionRecord> records;
        store.deleteExpiredSubscriptions();
        store.getSubscriptions(records);
        for (const SubscriptionRecord& record : records) {
            answers_ << record.subscriptionId << ' ' << record.notificationUri << '\n';
        }
        return store.deinit() && !records.empty();
    }

    bool killedInATransaction(const std::string& path) {
        killed_ = std::make_unique<FileDatabase>();
        if (!killed_->init(path)) {
            return false;
        }
        makeTables(*killed_);
        changeAFew(*killed_);
        killed_->beginTransaction();
        changeAFew(*killed_);
        killed_->executeUpdate("DROP TABLE p;");
        return true;
    }

    std::string directory_;
    std::ofstream answers_;
    Draw draw_;
    std::array<int, 3> rowsRead_{};  // of each query, in all rounds
    std::unique_ptr<FileDatabase> killed_;
};

}  // namespace
}  // namespace Kalt::Vemo::Test

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: " << argv[0]
                  << " DIRECTORY    an empty directory, for the files of the workload\n";
        return 2;
    }
    Kalt::Vemo::Test::Workload workload(argv[1]);
    const bool done = workload.run();
    if (!done) {
        std::cerr << argv[0] << ": a database below " << argv[1]
                  << " could not be opened or written, or holds no rows; VEMO_LOG_LEVEL=error shows why\n";
    }
    std::cout.flush();
    _exit(done ? 0 : 1);  // as a kill would: nothing is closed
}
