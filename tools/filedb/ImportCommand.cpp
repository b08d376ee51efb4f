#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "Command.h"
#include "CsvOptions.h"
#include "console/ExitStatus.h"
#include "console/Printable.h"
#include "console/Progress.h"
#include "rows/CsvReader.h"
#include "rows/InputFile.h"
#include "rows/JsonRowReader.h"
#include "transfer/DatabaseUse.h"
#include "transfer/RowImport.h"
#include "transfer/SoundTable.h"
#include "transfer/TableReplacement.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr const char* kFooter =
    R"(The table must exist. A CSV file names the columns in its first line, an object of a JSON array or a
line of JSON lines names them itself; columns that are not named become NULL, and so does an empty CSV
field without quotes. FILE - is standard input.

The import is one transaction: after any error the table is as it was. An error is told as
FILE:LINE: error: what is wrong. Refused are values that a column or a table file cannot hold: a "~",
a line feed or a NUL byte in a text, and rows that take a line of more than 1023 bytes.

A table that is not sound is refused, unless --force is given: its records then stay as they are. With
--rowid a column ROWID of the file sets the hidden ROWIDs; rows without one are numbered on.

Examples:
  filedb import /var/lib/app/subscriptions Subscriptions subscriptions.csv
  filedb import /tmp/copy Subscriptions subscriptions.json
  filedb import /tmp/copy Subscriptions subscriptions.tsv --delimiter '\t'
)";

struct Options {
    std::string path;
    std::string table;
    std::string file;
    std::string format;
    std::string delimiter;
    bool takesRowIds = false;
    bool isForced = false;
};

std::string formatOf(const Options& options) {
    if (!options.format.empty()) {
        return options.format;
    }
    const std::string extension = std::filesystem::path(options.file).extension();
    return extension == ".json" ? "json" : extension == ".jsonl" || extension == ".ndjson" ? "jsonl" : "csv";
}

void readRows(CountedInput& input, const std::string& format, char delimiter, RowImport& rows,
              const TakeRow& take) {
    if (format == "json") {
        readJsonRows(input, take);
    } else if (format == "jsonl") {
        readJsonLines(input, take);
    } else {
        readCsv(
            input, delimiter, [&](std::size_t line, const auto& names) { rows.takeHeading(line, names); },
            take);
    }
}

int importFile(const Options& options) {
    const std::string format = formatOf(options);
    const char delimiter = delimiterFrom(options.delimiter, format);
    InputFile file(options.file, "a CSV or JSON file");
    const DatabaseUse database(
        PathArgument(options.path), DatabaseUse::Missing::kRefused,
        options.isForced ? DatabaseUse::Unfinished::kLost : DatabaseUse::Unfinished::kRefusedUnlessForced);
    const StoredTable stored(database.directory(), options.table);
    const std::optional<Unsoundness> unsound = unsoundnessOf(database.directory(), stored);
    if (unsound && unsound->isOfDefinition) {
        throw Failure(unsound->text);
    }
    if (unsound && !options.isForced) {
        throw Failure(unsound->text + ", --force imports all the same");
    }
    if (options.takesRowIds) {
        requireRowIdsApart(stored.schema());
    }
    GrowingTable table(stored);
    RowImport rows(table, stored, options.takesRowIds);
    try {
        Progress progress(file.size());
        readRows(file.input(), format, delimiter, rows, [&](const ImportedRow& row) {
            rows.take(row);
            progress.update(file.input().bytes(), table.addedRows());
        });
    } catch (const ImportError& error) {
        file.report(error);
        return kFailed;
    }
    file.requireReadToEnd();
    if (table.addedRows() > 0) {
        TableReplacement replacement(database.directory());
        replacement.prepare(options.table, table.text());
        replacement.finish();
    }
    std::cout << "imported " << counted(table.addedRows(), "row") << " into " << options.table << '\n';
    return kDone;
}

}  // namespace

void addImportCommand(CLI::App& app, int& status) {
    CLI::App* const command =
        app.add_subcommand("import", "Insert the rows of a CSV or JSON file into a table");
    const auto options = std::make_shared<Options>();
    addPath(*command, options->path);
    command->add_option("TABLE", options->table, "The table")->required();
    command->add_option("FILE", options->file, "The file, - for standard input")->required();
    command
        ->add_option("--format", options->format,
                     "csv, json or jsonl (JSON lines); by itself what the FILE's name ends in")
        ->check(CLI::IsMember({"csv", "json", "jsonl"}));
    addDelimiter(*command, options->delimiter);
    command->add_flag("--rowid", options->takesRowIds, "Take the ROWIDs from the file's column ROWID");
    command->add_flag("--force", options->isForced, "Change the table also when it is not sound");
    command->footer(kFooter);
    command->callback(
        [options, &status] { status = runCommand("import", [&] { return importFile(*options); }); });
}

}  // namespace Kalt::Vemo::Tool
