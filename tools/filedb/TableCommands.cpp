#include <CLI/CLI.hpp>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "Command.h"
#include "FileUtils.h"
#include "console/ExitStatus.h"
#include "console/Printable.h"
#include "rows/RowWriter.h"
#include "shell/Session.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr const char* kTablesFooter = R"(Examples:
  filedb tables /var/lib/app/subscriptions
  filedb tables /var/lib/app/subscriptions --mode json | jq '.[].table'
)";

constexpr const char* kSchemaFooter = R"(The statements are such as the database accepts.

Examples:
  filedb schema /var/lib/app/subscriptions
  filedb schema /var/lib/app/subscriptions MySubscriptions
)";

std::string columnList(const TableSchema& schema) {
    std::string text;
    for (const Column& column : schema.columns) {
        text += (text.empty() ? "" : ", ") + column.name + " " + column.typeName() +
                (column.notNull && !schema.isKey(column) ? " NOT NULL" : "");
    }
    return text;
}

std::string keyList(const TableSchema& schema) {
    std::string text;
    for (const std::string& name : schema.key) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

std::vector<Cell> describe(Session& session, const std::string& table) {
    const TableSchema schema = session.schemaOf(table);
    EngineStatement count;
    count.kind = EngineStatement::Kind::kQuery;
    count.text = "SELECT " + schema.columns.front().name + " FROM " + table + ";";
    count.columns = {schema.columns.front()};
    const std::size_t rows = session.run(count).rows.size();
    const auto bytes =
        std::filesystem::file_size(session.directory() + "/" + table + Core::Database::Filedb::kTableSuffix);
    const std::string key = keyList(schema);
    return {table, std::to_string(rows), std::to_string(bytes), columnList(schema), key};
}

// Does `action` for each table, and reports those that it failed for, and those that are damaged, behind all
// output.
int forEachTable(Session& session, const std::string& command, const std::vector<std::string>& tables,
                 const std::function<void(const std::string& table)>& action,
                 const std::function<void()>& finish) {
    std::string problems;
    std::vector<std::string> readable;
    for (const std::string& table : tables) {
        try {
            action(table);
            readable.push_back(table);
        } catch (const Failure& error) {
            problems += "filedb " + command + ": " + printable(error.what()) + "\n";
        }
    }
    finish();
    std::cout.flush();
    for (const std::string& table : readable) {
        warn(session.damageWarning(table));
    }
    std::cerr << problems;
    return problems.empty() ? kDone : kFailed;
}

int listTables(const std::string& path, Mode mode) {
    Session session(PathArgument(path), Session::Access::kLook);
    ResultSet result;
    result.columns = {{"table", Column::Type::kText},
                      {"rows", Column::Type::kInteger},
                      {"bytes", Column::Type::kInteger},
                      {"columns", Column::Type::kText},
                      {"key", Column::Type::kText}};
    return forEachTable(
        session, "tables", session.tables(),
        [&](const std::string& table) { result.rows.push_back(describe(session, table)); },
        [&] { show(result, mode); });
}

int printSchemas(const std::string& path, const std::string& table) {
    Session session(PathArgument(path), Session::Access::kLook);
    return forEachTable(
        session, "schema", table.empty() ? session.tables() : std::vector<std::string>{table},
        [&](const std::string& name) { std::cout << session.createStatements(name); }, [] {});
}

}  // namespace

void addTablesCommand(CLI::App& app, int& status) {
    struct Options {
        std::string path;
        std::string mode = "table";
    };
    CLI::App* const command =
        app.add_subcommand("tables", "List the tables with their rows, bytes, columns and keys");
    const auto options = std::make_shared<Options>();
    addPath(*command, options->path);
    addMode(*command, options->mode);
    command->footer(kTablesFooter);
    command->callback([options, &status] {
        status = runCommand("tables", [&] { return listTables(options->path, modeOf(options->mode)); });
    });
}

void addSchemaCommand(CLI::App& app, int& status) {
    struct Options {
        std::string path;
        std::string table;
    };
    CLI::App* const command = app.add_subcommand("schema", "Print the CREATE TABLE statements of the tables");
    const auto options = std::make_shared<Options>();
    addPath(*command, options->path);
    command->add_option("TABLE", options->table, "Only this table");
    command->footer(kSchemaFooter);
    command->callback([options, &status] {
        status = runCommand("schema", [&] { return printSchemas(options->path, options->table); });
    });
}

}  // namespace Kalt::Vemo::Tool
