#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "shell/Session.h"
#include "sql/ResultSet.h"
#include "virtual/DatabaseModule.h"
#include "virtual/TableSpace.h"

namespace Kalt::Vemo::Tool {

/// What a statement gave.
struct StatementOutcome {
    bool isQuery = false;
    ResultSet result;
    std::string changes;  ///< "2 rows changed", empty when the statement is no INSERT, UPDATE or DELETE
    bool isInsert = false;
};

/// Runs statements on a session's tables with all that SQLite can say. To SQLite each table is a virtual one
/// of a database in memory; CREATE TABLE and DROP TABLE go to the engine, and so do BEGIN, COMMIT and
/// ROLLBACK.
class SqlConnection {
public:
    /// @param session outlives the object
    explicit SqlConnection(Session& session);
    ~SqlConnection();
    SqlConnection(const SqlConnection&) = delete;
    SqlConnection& operator=(const SqlConnection&) = delete;

    /// Runs one statement. Throws: Failure; nothing is changed then.
    StatementOutcome run(const std::string& statement);

    /// To be called when something else has changed the session's tables.
    void forget();

    /// What a person should know of the statements since the last call, whether they failed or not.
    std::vector<std::string> takeWarnings();

    /// Adds one, unless it is empty or was there before.
    void warn(const std::string& warning);

private:
    bool runTransactionStatement(const std::string& statement);
    void commit();
    bool runDefinition(const std::string& statement);
    void requireDroppable(const std::string& table);
    StatementOutcome runInSqlite(const std::string& statement);
    StatementOutcome step(sqlite3_stmt* prepared);
    std::string describeChanges() const;
    void connectTables();
    void connectTable(const std::string& table);
    void disconnect(const std::string& table);
    std::unique_ptr<VirtualTable> makeTable(const std::string& table);
    void execute(const std::string& statement);
    [[noreturn]] void raise();
    void warnOfDamage();
    void warnOfRounding();
    int authorize(int action, const char* first, const char* second);
    int deny(std::string reason);

    Session& session_;
    std::shared_ptr<TableSpace> space_;
    sqlite3* sqlite_ = nullptr;
    std::map<std::string, std::string> connected_;  // each table with its definition
    std::map<std::string, std::string> broken_;     // names in upper case, with what is wrong
    bool isStale_ = true;
    bool isOwnStatement_ = false;
    // Of the statement that is running.
    std::string denial_;
    std::set<std::string> read_;
    int changeAction_ = 0;
    std::vector<std::string> warnings_;
    std::set<std::string> warned_;
};

}  // namespace Kalt::Vemo::Tool
