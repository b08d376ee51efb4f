#include "shell/SqlConnection.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>
#include <utility>

#include "console/ExitStatus.h"
#include "console/Printable.h"
#include "console/Progress.h"
#include "shell/SqliteResult.h"
#include "sql/DefinitionStatement.h"
#include "sql/SqlLexer.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr const char* kModule = "filedb";

std::string quotedName(const std::string& name) {
    return "\"" + name + "\"";
}

std::string describeHidden(const std::string& column, const std::string& table) {
    return "column " + column + " of table " + table +
           " differs from another in case only; statements mean the other, --raw reaches it";
}

bool isOneOf(const std::string& word, std::initializer_list<const char*> words) {
    for (const char* each : words) {
        if (word == each) {
            return true;
        }
    }
    return false;
}

// What SQLite would make in its own database in memory, where it would be lost.
void refuseForeignCreation(const std::vector<std::string>& words) {
    if (words.size() < 2 || words[0] != "CREATE" || words[1] == "TABLE") {
        return;
    }
    for (const auto& [word, noun] :
         {std::pair{"INDEX", "indexes"}, std::pair{"TRIGGER", "triggers"}, std::pair{"VIEW", "views"},
          std::pair{"VIRTUAL", "virtual tables"}, std::pair{"TEMP", "temporary tables"},
          std::pair{"TEMPORARY", "temporary tables"}}) {
        if (std::find(words.begin(), words.end(), word) != words.end()) {
            throw Failure(std::string("the engine has no ") + noun + "; they would be gone with the shell");
        }
    }
}

}  // namespace

SqlConnection::SqlConnection(Session& session)
    : session_(session), space_(std::make_shared<TableSpace>(session)) {
    if (sqlite3_open(":memory:", &sqlite_) != SQLITE_OK) {
        throw Trouble("SQLite cannot be started: not enough memory");
    }
    // A misspelt name in double quotes must not turn into a text.
    sqlite3_db_config(sqlite_, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    sqlite3_db_config(sqlite_, SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
    DatabaseModule::add(sqlite_, kModule, [this](sqlite3*, const std::vector<std::string>& arguments) {
        return makeTable(arguments.at(0));
    });
    sqlite3_set_authorizer(
        sqlite_,
        [](void* self, int action, const char* first, const char* second, const char*, const char*) {
            return static_cast<SqlConnection*>(self)->authorize(action, first, second);
        },
        this);
}

SqlConnection::~SqlConnection() {
    sqlite3_close(sqlite_);
}

StatementOutcome SqlConnection::run(const std::string& statement) {
    if (runTransactionStatement(statement) || runDefinition(statement)) {
        return {};
    }
    session_.requireOpen();
    connectTables();
    return runInSqlite(statement);
}

void SqlConnection::forget() {
    space_->forget();
    isStale_ = true;
}

std::vector<std::string> SqlConnection::takeWarnings() {
    return std::exchange(warnings_, {});
}

void SqlConnection::warn(const std::string& warning) {
    if (!warning.empty() && warned_.insert(warning).second) {
        warnings_.push_back(warning);
    }
}

// ---- Statements that are the engine's

bool SqlConnection::runTransactionStatement(const std::string& statement) {
    const std::vector<std::string> words = leadingWords(statement, 4);
    const std::string first = words.empty() ? "" : words.front();
    if (!isOneOf(first, {"BEGIN", "COMMIT", "END", "ROLLBACK", "SAVEPOINT", "RELEASE"})) {
        return false;
    }
    std::size_t known = 1;
    if (first == "BEGIN" && words.size() > known &&
        isOneOf(words[known], {"DEFERRED", "IMMEDIATE", "EXCLUSIVE"})) {
        ++known;
    }
    if (words.size() > known && words[known] == "TRANSACTION") {
        ++known;
    }
    if (first == "SAVEPOINT" || first == "RELEASE" || (words.size() > known && words[known] == "TO")) {
        throw Failure("the engine has no savepoints; a transaction is kept or dropped as a whole");
    }
    if (lexStatement(statement).size() != known + 1) {
        throw Failure("expected the end of the statement after " + words[known - 1]);
    }
    if (first == "BEGIN") {
        session_.begin();
    } else if (first == "ROLLBACK") {
        forget();
        session_.rollback();
    } else {
        commit();
    }
    return true;
}

void SqlConnection::commit() {
    try {
        session_.commit();
    } catch (const Failure& error) {
        if (!session_.inTransaction()) {
            throw;
        }
        throw Failure(std::string(error.what()) +
                      "; the transaction is still open: try COMMIT again, or drop it with ROLLBACK");
    }
}

bool SqlConnection::runDefinition(const std::string& statement) {
    if (leadingWords(statement, 1) == std::vector<std::string>{"ALTER"}) {
        throw Failure(
            "the engine only checks an ALTER TABLE and changes nothing; create a table with the new columns, "
            "and fill it with INSERT INTO ... SELECT");
    }
    refuseForeignCreation(leadingWords(statement, 3));
    if (!isDefinitionStatement(statement)) {
        return false;
    }
    const EngineStatement definition =
        definitionStatement(statement, [this](const std::string& table) { return session_.exists(table); });
    session_.requireOpen(!definition.isDrop);
    if (definition.isDrop) {
        requireDroppable(definition.table);
    }
    session_.run(definition);
    forget();
    return true;
}

// Names mean the tables that they mean in other statements.
void SqlConnection::requireDroppable(const std::string& table) {
    const std::vector<std::string> tables = session_.tables();
    const auto other = std::find_if(tables.begin(), tables.end(), [&table](const std::string& each) {
        return upperCase(each) == upperCase(table) && each < table;
    });
    if (other != tables.end()) {
        throw Failure(
            "table " + table + " differs from " + *other +
            " in case only, and statements mean the latter; name that one, or drop this one with --raw");
    }
    if (session_.exists(table)) {
        session_.requireChangeable(table);
    }
}

// ---- Statements that are SQLite's

void SqlConnection::raise() {
    const std::string message = denial_.empty() ? sqlite3_errmsg(sqlite_) : denial_;
    constexpr std::string_view kNoTable = "no such table: ";
    if (message.rfind(kNoTable, 0) == 0) {
        const auto found = broken_.find(upperCase(message.substr(kNoTable.size())));
        if (found != broken_.end()) {
            throw Failure(found->second);
        }
    }
    throw Failure(message);
}

StatementOutcome SqlConnection::runInSqlite(const std::string& statement) {
    denial_.clear();
    read_.clear();
    changeAction_ = 0;
    sqlite3_stmt* prepared = nullptr;
    const char* rest = nullptr;
    if (statement.find('\0') != std::string::npos) {
        throw Failure("the statement holds a NUL byte, where SQLite would end it");
    }
    if (sqlite3_prepare_v2(sqlite_, statement.c_str(), -1, &prepared, &rest) != SQLITE_OK) {
        raise();
    }
    const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> owner(prepared, &sqlite3_finalize);
    if (prepared == nullptr) {
        return {};
    }
    if (!isBlankStatement(rest)) {
        throw Failure("expected one statement, found another behind it: " + quoted(rest));
    }
    if (sqlite3_bind_parameter_count(prepared) > 0) {
        throw Failure("there is no value for the \"?\"; write the value itself");
    }
    if (sqlite3_stmt_isexplain(prepared) != 0) {
        changeAction_ = 0;
    }
    if (changeAction_ != 0 && sqlite3_column_count(prepared) > 0) {
        throw Failure(
            "RETURNING would give the values as they are written in the statement, not as they are stored; "
            "leave it out, and ask with SELECT");
    }
    warnOfDamage();
    return step(prepared);
}

StatementOutcome SqlConnection::step(sqlite3_stmt* prepared) {
    const bool wasInTransaction = session_.inTransaction();
    StatementOutcome outcome;
    outcome.isQuery = sqlite3_column_count(prepared) > 0;
    outcome.isInsert = changeAction_ == SQLITE_INSERT;
    std::unique_ptr<Progress> progress;
    space_->showProgress([&progress](std::size_t done, std::size_t all) {
        if (!progress) {
            progress = std::make_unique<Progress>(all);
        }
        progress->update(done, done);
    });
    SqliteResult result(prepared);
    int status = SQLITE_ROW;
    while ((status = sqlite3_step(prepared)) == SQLITE_ROW) {
        result.takeRow();
    }
    progress.reset();
    warnOfRounding();
    if (status != SQLITE_DONE) {
        isStale_ = isStale_ || wasInTransaction != session_.inTransaction();
        raise();
    }
    outcome.changes = describeChanges();
    outcome.result = result.take();
    return outcome;
}

std::string SqlConnection::describeChanges() const {
    const char* const verb = changeAction_ == SQLITE_INSERT   ? " inserted"
                             : changeAction_ == SQLITE_UPDATE ? " changed"
                             : changeAction_ == SQLITE_DELETE ? " deleted"
                                                              : nullptr;
    return verb == nullptr ? std::string()
                           : counted(static_cast<std::size_t>(sqlite3_changes64(sqlite_)), "row") + verb;
}

void SqlConnection::warnOfDamage() {
    for (const std::string& table : read_) {
        warn(session_.damageWarning(table));
    }
}

void SqlConnection::warnOfRounding() {
    const TableSpace::Rounding rounding = space_->takeRounding();
    if (rounding.count == 0) {
        return;
    }
    std::string text = "REAL keeps six digits: " + rounding.first;
    if (rounding.count > 1) {
        text += " (and " + counted(rounding.count - 1, "more value") + ")";
    }
    warnings_.push_back(std::move(text));
}

// ---- Which tables there are

void SqlConnection::execute(const std::string& statement) {
    isOwnStatement_ = true;
    const int status = sqlite3_exec(sqlite_, statement.c_str(), nullptr, nullptr, nullptr);
    isOwnStatement_ = false;
    if (status != SQLITE_OK) {
        throw Failure(sqlite3_errmsg(sqlite_));
    }
}

void SqlConnection::connectTables() {
    if (!std::exchange(isStale_, false)) {
        return;
    }
    broken_.clear();
    std::map<std::string, std::string> shown;  // by their names in upper case
    for (const std::string& table : session_.tables()) {
        const auto [found, isFirst] = shown.emplace(upperCase(table), table);
        if (!isFirst) {
            warn("table " + table + " differs from " + found->second +
                 " in case only; statements mean the latter, --raw reaches the former");
        }
    }
    const auto connected = connected_;
    for (const auto& [table, definition] : connected) {
        const auto found = shown.find(upperCase(table));
        if (found == shown.end() || found->second != table ||
            definition != session_.schemaOf(table).definition()) {
            disconnect(table);
        }
    }
    for (const auto& [upper, table] : shown) {
        if (connected_.count(table) == 0) {
            connectTable(table);
        }
    }
}

void SqlConnection::connectTable(const std::string& table) {
    try {
        const std::string definition = session_.schemaOf(table).definition();
        if (DatabaseModule::isSqlitesOwn(table)) {
            throw Failure("table " + table +
                          ": names that begin with sqlite_ are SQLite's own; statements with --raw reach it");
        }
        execute("CREATE VIRTUAL TABLE main." + quotedName(table) + " USING " + kModule + "(" + table + ")");
        connected_.emplace(table, definition);
    } catch (const Failure& error) {
        broken_.emplace(upperCase(table), error.what());
    }
}

void SqlConnection::disconnect(const std::string& table) {
    execute("DROP TABLE main." + quotedName(table));
    connected_.erase(table);
}

std::unique_ptr<VirtualTable> SqlConnection::makeTable(const std::string& table) {
    auto result = std::make_unique<VirtualTable>(space_, session_.schemaOf(table));
    for (const std::string& column : result->hiddenColumns()) {
        warn(describeHidden(column, table));
    }
    return result;
}

// ---- What statements may do

int SqlConnection::deny(std::string reason) {
    denial_ = std::move(reason);
    return SQLITE_DENY;
}

int SqlConnection::authorize(int action, const char* first, const char* /*second*/) {
    if (isOwnStatement_) {
        return SQLITE_OK;
    }
    const std::string subject = first == nullptr ? "" : first;
    switch (action) {
        case SQLITE_SELECT:
        case SQLITE_FUNCTION:
        case SQLITE_RECURSIVE:
            return SQLITE_OK;
        case SQLITE_READ:
            if (connected_.count(subject) > 0) {
                read_.insert(subject);
            }
            return SQLITE_OK;
        case SQLITE_INSERT:
        case SQLITE_UPDATE:
        case SQLITE_DELETE:
            if (connected_.count(subject) > 0) {
                changeAction_ = action;
            }
            return SQLITE_OK;
        case SQLITE_PRAGMA:
            return isOneOf(subject, {"table_info", "table_xinfo", "table_list", "function_list",
                                     "collation_list", "compile_options", "case_sensitive_like"})
                       ? SQLITE_OK
                       : deny("PRAGMA " + subject + " is SQLite's, and the engine has no such setting");
        case SQLITE_ATTACH:
            return deny("ATTACH, DETACH and VACUUM are for files of SQLite; the shell has one database open");
        default:
            break;
    }
    return deny("the engine has no such statement; it is SQLite's for its own files");
}

}  // namespace Kalt::Vemo::Tool
