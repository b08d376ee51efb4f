#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <string>

#include "Command.h"
#include "console/ExitStatus.h"
#include "rows/RowWriter.h"
#include "shell/Session.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr const char* kFooter = R"(csv   RFC 4180 with a heading; NULL is an empty field, an empty text is ""
json  an array of objects, one a line
sql   a transaction that makes the table and fills it, for filedb shell -f

ROWIDs are not exported; an import numbers the rows anew.

Examples:
  filedb export /var/lib/app/subscriptions Subscriptions > subscriptions.csv
  filedb export /var/lib/app/subscriptions Subscriptions --format json | jq length
  filedb export /var/lib/app/subscriptions Subscriptions --format sql | filedb shell /tmp/copy
)";

int exportTable(const std::string& path, const std::string& table, const std::string& format) {
    Session session(PathArgument(path), Session::Access::kLook);
    const TableSchema schema = session.schemaOf(table);
    EngineStatement statement;
    statement.kind = EngineStatement::Kind::kQuery;
    statement.text = "SELECT * FROM " + table + ";";
    statement.columns = schema.columns;
    const ResultSet result = session.run(statement);
    const std::unique_ptr<RowWriter> writer = format == "json"  ? makeJsonWriter(std::cout)
                                              : format == "sql" ? makeSqlWriter(std::cout, schema)
                                                                : makeCsvWriter(std::cout);
    writeRows(*writer, result, std::cout);
    warnOfDamage(session, table);
    return kDone;
}

}  // namespace

void addExportCommand(CLI::App& app, int& status) {
    struct Options {
        std::string path;
        std::string table;
        std::string format = "csv";
    };
    CLI::App* const command = app.add_subcommand("export", "Write a table as CSV, JSON or SQL");
    const auto options = std::make_shared<Options>();
    addPath(*command, options->path);
    command->add_option("TABLE", options->table, "The table")->required();
    command->add_option("--format", options->format, "csv, json or sql")
        ->check(CLI::IsMember({"csv", "json", "sql"}))
        ->capture_default_str();
    command->footer(kFooter);
    command->callback([options, &status] {
        status =
            runCommand("export", [&] { return exportTable(options->path, options->table, options->format); });
    });
}

}  // namespace Kalt::Vemo::Tool
