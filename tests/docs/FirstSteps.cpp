#include <iostream>
#include <memory>

#include "FileDatabase.h"
#include "IResultTable.h"

using Kalt::Vemo::Core::Database::IResultTable;
using Kalt::Vemo::Core::Database::Filedb::FileDatabase;

int main() {
    FileDatabase database;
    database.init("store");  // the files are in store_filedb
    database.executeUpdate("CREATE TABLE IF NOT EXISTS files (name TEXT, size INTEGER, ratio REAL);");
    database.executeUpdate("INSERT INTO files (name, size) VALUES ('?', ?);", "a.txt", "42");

    const std::unique_ptr<IResultTable> rows(
        database.executeQuery("SELECT name, size FROM files WHERE name = '?';", "a.txt"));
    while (rows && rows->next()) {
        std::cout << rows->getString("name") << ": " << rows->getLong("size") << '\n';
    }
}
