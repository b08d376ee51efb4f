// log PATH: listens to the library's log, and writes to it.
#include <string>
#include <vector>

#include "FileDatabase.h"
#include "Log.h"
#include "LogSink.h"
#include "check.h"

using Kalt::Vemo::Core::Database::Filedb::FileDatabase;
using Kalt::Vemo::Log::Log;
using Kalt::Vemo::Log::log_error;
using Kalt::Vemo::Log::LogMessage;
using Kalt::Vemo::Log::setLogSink;

int main(int, char* arguments[]) {
    std::vector<std::string> lines;
    setLogSink(
        [&](const LogMessage& message) { lines.push_back(std::string(message.tag) + ": " + message.text); },
        log_error);

    FileDatabase database;
    check(database.init(arguments[1]), "the database opens");
    lines.clear();
    check(database.executeQuery("SELECT * FROM missing;") == nullptr,
          "a table that is missing gives no result");
    check(!lines.empty(), "the library's message reaches the sink");

    lines.clear();
    Log::log("log.cpp", 1, 1, "client", log_error, "%d of %s", 7, "nine");
    check(lines == std::vector<std::string>{"client: 7 of nine"}, "the client's message reaches the sink");

    setLogSink({}, 0);
    return 0;
}
