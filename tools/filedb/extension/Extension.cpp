// vemofiledb: the tables of a database directory as virtual tables of any program that speaks SQLite.
//
//     CREATE VIRTUAL TABLE temp.s USING vemofiledb('/data/home', 'Subscriptions');
//     CREATE VIRTUAL TABLE temp.s USING vemofiledb('/data/home', 'Subscriptions', 'write');
//     SELECT vemofiledb_attach('/data/home');            -- all tables, into temp
//     SELECT vemofiledb_attach('/data/home', 'write');

#include <exception>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "console/ExitStatus.h"
#include "extension/DirectorySource.h"
#include "files/TemporaryPlace.h"
#include "sql/SqlLexer.h"
#include "virtual/DatabaseModule.h"
#include "virtual/Sqlite.h"
#include "virtual/TableSpace.h"

SQLITE_EXTENSION_INIT1

namespace Kalt::Vemo::Tool {

namespace {

constexpr const char* kModule = "vemofiledb";
constexpr const char* kUsage =
    "vemofiledb takes the path of a database and the name of a table, as in vemofiledb('/data/home', "
    "'rooms'), "
    "and 'write' behind them to change it";

/// A directory that a connection has attached, and what its tables have in common.
struct Attachment {
    Attachment(sqlite3* database, const std::string& path, DirectorySource::Access access)
        : source(path, access), space(source, [database] { return sqlite3_get_autocommit(database) == 0; }) {}

    DirectorySource source;
    TableSpace space;
};

/// The attachments of one connection; each lives as long as a table of it.
class Attachments {
public:
    std::shared_ptr<Attachment> find(sqlite3* database, const std::string& given,
                                     DirectorySource::Access access) {
        // The program may go to another directory later.
        const std::string path = given.empty() ? given : std::filesystem::absolute(given).string();
        std::weak_ptr<Attachment>& known = known_[{PathArgument(path).directory(), access}];
        std::shared_ptr<Attachment> attachment = known.lock();
        if (!attachment) {
            attachment = std::make_shared<Attachment>(database, path, access);
            known = attachment;
        }
        return attachment;
    }

private:
    std::map<std::pair<std::string, DirectorySource::Access>, std::weak_ptr<Attachment>> known_;
};

/// Keeps one snapshot for several looks at it.
class Look {
public:
    explicit Look(TableSpace& space) : space_(space) { space_.cursorOpened(); }
    ~Look() { space_.cursorClosed(); }
    Look(const Look&) = delete;
    Look& operator=(const Look&) = delete;

private:
    TableSpace& space_;
};

// An argument as it stands in the statement: in quotes of either kind, or in none.
std::string unquoted(const std::string& argument) {
    const char quote = argument.empty() ? '\0' : argument.front();
    if (argument.size() < 2 || (quote != '\'' && quote != '"') || argument.back() != quote) {
        return argument;
    }
    std::string text;
    for (std::size_t i = 1; i + 1 < argument.size(); ++i) {
        text += argument[i];
        i += argument[i] == quote ? 1U : 0U;
    }
    return text;
}

DirectorySource::Access accessOf(const std::string& word) {
    if (word != "write" && word != "read") {
        throw Failure("expected 'read' or 'write', found '" + word + "'; " + kUsage);
    }
    return word == "write" ? DirectorySource::Access::kWrite : DirectorySource::Access::kRead;
}

std::unique_ptr<VirtualTable> connect(Attachments& attachments, sqlite3* database,
                                      const std::vector<std::string>& arguments) {
    if (arguments.size() < 2 || arguments.size() > 3) {
        throw Failure(kUsage);
    }
    const auto access =
        arguments.size() == 3 ? accessOf(unquoted(arguments[2])) : DirectorySource::Access::kRead;
    const std::shared_ptr<Attachment> attachment = attachments.find(database, unquoted(arguments[0]), access);
    const Look look(attachment->space);
    const std::string table = unquoted(arguments[1]);
    const TableSchema schema = attachment->source.schemaOf(table);
    auto result =
        std::make_unique<VirtualTable>(std::shared_ptr<TableSpace>(attachment, &attachment->space), schema);
    const std::string damage = attachment->source.damageWarning(table);
    if (!damage.empty()) {
        sqlite3_log(SQLITE_WARNING, "%s", damage.c_str());
    }
    for (const std::string& column : result->hiddenColumns()) {
        sqlite3_log(SQLITE_WARNING,
                    "column %s of table %s differs from another in case only and is not shown",
                    column.c_str(), table.c_str());
    }
    return result;
}

// ---- vemofiledb_attach(PATH [, 'write'])

void create(sqlite3* database, const std::string& path, const std::string& table, const std::string& access) {
    char* const statement =
        sqlite3_mprintf("CREATE VIRTUAL TABLE temp.\"%w\" USING %s(%Q, %Q, %Q)", table.c_str(), kModule,
                        path.c_str(), table.c_str(), access.c_str());
    const int status = sqlite3_exec(database, statement, nullptr, nullptr, nullptr);
    sqlite3_free(statement);
    if (status != SQLITE_OK) {
        throw Failure(sqlite3_errmsg(database));
    }
}

std::string textOf(sqlite3_value* value) {
    const auto* const text = sqlite3_value_text(value);
    return text == nullptr ? "" : reinterpret_cast<const char*>(text);
}

// Those that can be tables of SQLite; the log tells of the others.
std::vector<std::string> shownTables(DirectorySource& source) {
    std::map<std::string, std::string> shown;  // by their names in upper case
    for (const std::string& table : source.tables()) {
        try {
            static_cast<void>(source.schemaOf(table));
        } catch (const Failure& error) {
            sqlite3_log(SQLITE_WARNING, "%s", error.what());
            continue;
        }
        if (DatabaseModule::isSqlitesOwn(table)) {
            sqlite3_log(SQLITE_WARNING,
                        "table %s is not shown: names that begin with sqlite_ are SQLite's own",
                        table.c_str());
            continue;
        }
        const auto [found, isFirst] = shown.emplace(upperCase(table), table);
        if (!isFirst) {
            sqlite3_log(SQLITE_WARNING, "table %s differs from %s in case only and is not shown",
                        table.c_str(), found->second.c_str());
        }
    }
    std::vector<std::string> names;
    names.reserve(shown.size());
    for (const auto& [upper, table] : shown) {
        names.push_back(table);
    }
    return names;
}

// Makes the tables, and gives their number.
void attach(sqlite3_context* context, int count, sqlite3_value** values) noexcept {
    sqlite3* const database = sqlite3_context_db_handle(context);
    try {
        auto& attachments = **static_cast<std::shared_ptr<Attachments>*>(sqlite3_user_data(context));
        const std::string path = textOf(values[0]);
        const std::string access = count == 2 ? textOf(values[1]) : "read";
        const std::shared_ptr<Attachment> attachment = attachments.find(database, path, accessOf(access));
        const Look look(attachment->space);
        sqlite3_int64 made = 0;
        for (const std::string& table : shownTables(attachment->source)) {
            create(database, path, table, access);
            ++made;
        }
        sqlite3_result_int64(context, made);
    } catch (const std::exception& error) {
        sqlite3_result_error(context, error.what(), -1);
    }
}

void release(void* data) {
    delete static_cast<std::shared_ptr<Attachments>*>(data);
}

int addFunction(sqlite3* database, int count, const std::shared_ptr<Attachments>& attachments) {
    return sqlite3_create_function_v2(database, "vemofiledb_attach", count, SQLITE_UTF8 | SQLITE_DIRECTONLY,
                                      new std::shared_ptr<Attachments>(attachments), &attach, nullptr,
                                      nullptr, &release);
}

int initialize(sqlite3* database) {
    TemporaryPlace::leaveSignalsAlone();
    const auto attachments = std::make_shared<Attachments>();
    int status = DatabaseModule::add(
        database, kModule, [attachments](sqlite3* connection, const std::vector<std::string>& arguments) {
            return connect(*attachments, connection, arguments);
        });
    for (const int count : {1, 2}) {
        status = status == SQLITE_OK ? addFunction(database, count, attachments) : status;
    }
    return status;
}

}  // namespace

}  // namespace Kalt::Vemo::Tool

extern "C" __attribute__((visibility("default"))) int sqlite3_vemofiledb_init(
    sqlite3* database, char** /*error*/, const sqlite3_api_routines* api) {
    SQLITE_EXTENSION_INIT2(api);
    try {
        return Kalt::Vemo::Tool::initialize(database);
    } catch (const std::exception&) {
        return SQLITE_NOMEM;
    }
}
