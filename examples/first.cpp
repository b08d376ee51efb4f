#include <iostream>

#include "DatabaseClient.h"
#include "FileDatabase.h"

using namespace Kalt::Vemo::Core::Database;

int main() {
    Filedb::FileDatabase database;
    if (!database.init("/tmp/first")) {  // files go to /tmp/first_filedb
        return 1;
    }
    DatabaseClient client(database);
    client.execute("CREATE TABLE IF NOT EXISTS lamps (name TEXT, brightness INTEGER);");
    Transaction transaction(database);
    client.execute("DELETE FROM lamps;");  // what an earlier run left
    client.execute("INSERT INTO lamps (name, brightness) VALUES ('?', ?);", "hall", 80);
    if (!transaction.commit()) {
        return 1;
    }
    for (const Row row : client.query("SELECT * FROM lamps WHERE brightness > ?;", 50)) {
        std::cout << row.get<std::string>("name") << ": " << row.get<int>("brightness") << '\n';
    }
}
