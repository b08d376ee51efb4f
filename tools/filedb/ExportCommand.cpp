#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <string>

#include "Command.h"
#include "CsvOptions.h"
#include "console/ExitStatus.h"
#include "files/ReadOnlyCopy.h"
#include "rows/RowWriter.h"
#include "transfer/DatabaseUse.h"
#include "transfer/SoundTable.h"
#include "transfer/StoredTable.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr const char* kFooter = R"(csv    RFC 4180 with a heading; NULL is an empty field, an empty text is ""
json   an array of objects, one a line
jsonl  an object a line
sql    a transaction that makes the table and fills it, for filedb shell -f

ROWIDs are exported with --rowid only, as the last column; an import without --rowid numbers the rows anew.
On a terminal csv and sql show control characters as \xNN; files and pipes get the exact bytes. JSON writes
them as \uNNNN, and refuses texts that are not valid UTF-8.

Examples:
  filedb export /var/lib/app/subscriptions Subscriptions > subscriptions.csv
  filedb export /var/lib/app/subscriptions Subscriptions --format json | jq length
  filedb export /var/lib/app/subscriptions Subscriptions --format sql | filedb shell /tmp/copy
  filedb export /var/lib/app/subscriptions Subscriptions --delimiter '\t' --newline lf > subscriptions.tsv
)";

struct Options {
    std::string path;
    std::string table;
    std::string format = "csv";
    std::string delimiter;
    std::string newline;
    bool withRowIds = false;
};

CsvFormat csvFormatOf(const Options& options) {
    CsvFormat csv;
    csv.delimiter = delimiterFrom(options.delimiter, options.format);
    if (!options.newline.empty() && options.format != "csv") {
        throw Trouble("--newline: only csv has a choice; leave it out for " + options.format);
    }
    if (options.newline == "lf") {
        csv.lineEnd = "\n";
    }
    if (options.withRowIds && options.format == "sql") {
        throw Trouble("--rowid: an INSERT cannot set a ROWID; take csv or json, or filedb dump");
    }
    return csv;
}

std::unique_ptr<RowWriter> makeWriter(const std::string& format, const CsvFormat& csv,
                                      const TableSchema& schema) {
    if (format == "json") {
        return makeJsonWriter(std::cout);
    }
    if (format == "jsonl") {
        return makeJsonLinesWriter(std::cout);
    }
    return format == "sql" ? makeSqlWriter(std::cout, bytesForOutput(), schema)
                           : makeCsvWriter(std::cout, bytesForOutput(), csv);
}

int exportTable(const Options& options) {
    const CsvFormat csv = csvFormatOf(options);
    LogListener log;
    const PathArgument path(options.path);
    const ReadOnlyCopy copy(path);
    recoverDatabase(copy.path().base(), path.directory(), log);
    const StoredTable table(copy.path().directory(), options.table);
    if (options.withRowIds) {
        requireRowIdsApart(table.schema());
    }
    writeRows(*makeWriter(options.format, csv, table.schema()), table.rows(options.withRowIds), std::cout);
    warn(damageWarning(path.directory(), table));
    return kDone;
}

}  // namespace

void addExportCommand(CLI::App& app, int& status) {
    CLI::App* const command = app.add_subcommand("export", "Write a table as CSV, JSON or SQL");
    const auto options = std::make_shared<Options>();
    addPath(*command, options->path);
    command->add_option("TABLE", options->table, "The table")->required();
    command->add_option("--format", options->format, "csv, json, jsonl (JSON lines) or sql")
        ->check(CLI::IsMember({"csv", "json", "jsonl", "sql"}))
        ->capture_default_str();
    addDelimiter(*command, options->delimiter);
    command->add_option("--newline", options->newline, "How lines of CSV end: crlf, by itself, or lf")
        ->check(CLI::IsMember({"crlf", "lf"}));
    command->add_flag("--rowid", options->withRowIds, "Export the hidden ROWIDs, too");
    command->footer(kFooter);
    command->callback(
        [options, &status] { status = runCommand("export", [&] { return exportTable(*options); }); });
}

}  // namespace Kalt::Vemo::Tool
