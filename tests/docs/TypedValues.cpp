#include <cstdint>
#include <iostream>
#include <string>

#include "DatabaseClient.h"
#include "FileDatabase.h"

using namespace Kalt::Vemo::Core::Database;

int main() {
    Filedb::FileDatabase database;
    database.init("store");
    DatabaseClient client(database);
    client.execute("INSERT INTO files (name, size) VALUES ('?', ?);", "b.txt", 7);
    for (const Row row : client.query("SELECT name, size FROM files WHERE size > ?;", 5)) {
        std::cout << row.get<std::string>("name") << ": " << row.get<std::int64_t>("size") << '\n';
    }
}
