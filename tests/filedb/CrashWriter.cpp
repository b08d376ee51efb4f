// The program that CrashRepairTest stops in the middle: opens the database and runs one scenario against it.
//
//     filedb_crash_writer PATH SCENARIO

#include <cstdio>
#include <map>
#include <string>

#include "FileDatabase.h"

using Kalt::Vemo::Core::Database::Filedb::FileDatabase;
using Kalt::Vemo::Core::Database::Filedb::Synchronous;

namespace {

bool insert(FileDatabase& database) {
    return database.executeUpdate("INSERT INTO accounts (id, owner) VALUES ('?', '?');", "3", "carol") == 0;
}

bool update(FileDatabase& database) {
    return database.executeUpdate("UPDATE notes SET text='?' WHERE text = '?';", "much longer than before",
                                  "first") == 0;
}

bool deleteRow(FileDatabase& database) {
    return database.executeUpdate("DELETE FROM notes WHERE text = '?';", "first") == 0;
}

bool create(FileDatabase& database) {
    return database.executeUpdate("CREATE TABLE tags (name TEXT PRIMARY KEY);") == 0;
}

bool drop(FileDatabase& database) {
    return database.executeUpdate("DROP TABLE orders;") == 0;
}

bool shortenRows(FileDatabase& database) {
    return database.executeUpdate("UPDATE ledger SET entry='?';", "short") == 0;
}

bool lengthenRows(FileDatabase& database) {
    return database.executeUpdate("UPDATE ledger SET entry='?';",
                                  "an entry that is longer than any of those that were there before") == 0;
}

bool commitThreeTables(FileDatabase& database) {
    return database.beginTransaction() && insert(database) && update(database) &&
           database.executeUpdate("DELETE FROM orders WHERE price > '?';", "2") == 0 &&
           database.commitTransaction();
}

bool commitDropOfChangedTable(FileDatabase& database) {
    return database.beginTransaction() && insert(database) &&
           database.executeUpdate("UPDATE orders SET id='?';", "9") == 0 && drop(database) &&
           create(database) && database.commitTransaction();
}

}  // namespace

int main(int argc, char** argv) {
    const std::map<std::string, bool (*)(FileDatabase&)> scenarios = {
        {"insert", insert},
        {"update", update},
        {"delete", deleteRow},
        {"create", create},
        {"drop", drop},
        {"shorten-200-rows", shortenRows},
        {"lengthen-200-rows", lengthenRows},
        {"commit-three-tables", commitThreeTables},
        {"commit-drop-of-changed-table", commitDropOfChangedTable}};
    const auto scenario = argc == 3 ? scenarios.find(argv[2]) : scenarios.end();
    if (scenario == scenarios.end()) {
        std::fputs("usage: filedb_crash_writer PATH SCENARIO\n", stderr);
        return 2;
    }
    // Only where tables are written over does a crash leave one to repair.
    FileDatabase database(Synchronous::off);
    return database.init(argv[1]) && scenario->second(database) ? 0 : 1;
}
