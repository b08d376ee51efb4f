// database PATH: uses the database without the store, and catches the exception that a getter of a result
// throws.
#include <cstring>
#include <exception>
#include <memory>
#include <string>

#include "DatabaseException.h"
#include "FileDatabase.h"
#include "IDatabase.h"
#include "IResultTable.h"
#include "VEMOFileSubscriptionDBVersion.h"
#include "check.h"

using Kalt::Vemo::Core::Database::DatabaseException;
using Kalt::Vemo::Core::Database::IDatabase;
using Kalt::Vemo::Core::Database::IResultTable;
using Kalt::Vemo::Core::Database::Filedb::FileDatabase;

namespace {

void catchWhatTheLibraryThrows(IResultTable& rows) {
    bool caught = false;
    try {
        rows.getInt("no such column");
    } catch (const DatabaseException& error) {
        caught = std::strstr(error.what(), "Column Label is not found") != nullptr;
    }
    check(caught, "an exception of the library is caught by its type");

    caught = false;
    try {
        rows.getInt(99);
    } catch (const std::exception& error) {
        caught = dynamic_cast<const DatabaseException*>(&error) != nullptr;
    }
    check(caught, "an exception of the library is known by its type behind its base");
}

void throwWhatTheLibraryDefines() {
    std::string message;
    try {
        throw DatabaseException("main", 7, "%s %d", "error", 5);
    } catch (const std::exception& error) {
        message = error.what();
    }
    check(message == "main::7 ->error 5\n", "a client can make and throw the exception");
}

void compareTheVersions() {
#if VEMO_FILESUBSCRIPTIONDB_VERSION < 10000
#error "The version of the library compares as a number"
#endif
    const auto number = [](int value) { return std::to_string(value); };
    check(VEMO_FILESUBSCRIPTIONDB_VERSION_STRING == number(VEMO_FILESUBSCRIPTIONDB_VERSION / 10000) + "." +
                                                        number(VEMO_FILESUBSCRIPTIONDB_VERSION / 100 % 100) +
                                                        "." + number(VEMO_FILESUBSCRIPTIONDB_VERSION % 100),
          "the version's text and number agree");
}

}  // namespace

int main(int, char* arguments[]) {
    const std::unique_ptr<IDatabase> database = std::make_unique<FileDatabase>();
    check(database->init(arguments[1]), "the database opens");
    check(database->executeUpdate("CREATE TABLE files (name TEXT, size INTEGER);") == 0, "a table is made");
    check(database->executeUpdate("INSERT INTO files (name, size) VALUES ('?', ?);", "a.txt", "42") == 0,
          "a row is inserted");
    check(database->getLastInsertRowid() == 1, "the first row is number 1");

    const std::unique_ptr<IResultTable> rows(
        database->executeQuery("SELECT name, size FROM files WHERE name = '?';", "a.txt"));
    check(rows != nullptr, "the query succeeds");
    check(rows->getCount() == 1 && rows->next(), "one row is found");
    check(rows->getString("name") == "a.txt", "a text reads back");
    check(rows->getLong("size") == 42, "a number reads back");
    check(dynamic_cast<FileDatabase*>(database.get()) != nullptr, "type information crosses the boundary");
    catchWhatTheLibraryThrows(*rows);
    throwWhatTheLibraryDefines();
    compareTheVersions();
    return 0;
}
