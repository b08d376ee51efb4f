#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "Command.h"
#include "TableFormat.h"
#include "console/ExitStatus.h"
#include "console/Printable.h"
#include "files/RawFile.h"
#include "rows/InputFile.h"
#include "transfer/DatabaseUse.h"
#include "transfer/DumpFormat.h"
#include "transfer/TableReplacement.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr const char* kFooter =
    R"(Makes the tables of a dump, as filedb dump writes it, and the database when it is missing. FILE - is standard
input. Tables that the dump does not name stay.

A table that is there already must be equal to that of the dump; with --replace it is replaced. The whole dump is
read and checked before anything is changed, and an error is told as FILE:LINE: error: what is wrong. A load that
is stopped leaves each table as it was or as in the dump; run it again.

Examples:
  filedb load /tmp/copy subscriptions.dump
  filedb dump /var/lib/app/subscriptions | filedb load /tmp/copy -
)";

struct Options {
    std::string path;
    std::string file;
    bool replaces = false;
};

std::vector<DumpedTable> tablesOf(InputFile& file) {
    std::vector<DumpedTable> tables = readDump(file.input());
    file.requireReadToEnd();
    return tables;
}

// The tables that are not in the database as they are in the dump.
std::vector<DumpedTable> differingTables(std::vector<DumpedTable> tables, const std::string& directory,
                                         bool replaces) {
    const auto isThere = [&](const DumpedTable& table) {
        const RawFile file =
            RawFile::read(directory + "/" + table.name + Core::Database::Filedb::kTableSuffix);
        if (file.exists() && file.text != table.text && !replaces) {
            throw Failure("table " + table.name +
                          " is there already and differs from the dump; --replace replaces it, nothing was "
                          "changed");
        }
        return file.exists() && file.text == table.text;
    };
    tables.erase(std::remove_if(tables.begin(), tables.end(), isThere), tables.end());
    return tables;
}

int load(const Options& options) {
    InputFile file(options.file, "a file that filedb dump has made");
    std::vector<DumpedTable> dumped;
    try {
        dumped = tablesOf(file);
    } catch (const ImportError& error) {
        file.requireReadToEnd();
        file.report(error);
        return kFailed;
    }
    const std::size_t tableCount = dumped.size();
    const DatabaseUse database(PathArgument(options.path), DatabaseUse::Missing::kMade);
    const std::vector<DumpedTable> tables =
        differingTables(std::move(dumped), database.directory(), options.replaces);
    TableReplacement replacement(database.directory());
    std::size_t rows = 0;
    for (const DumpedTable& table : tables) {
        replacement.prepare(table.name, table.text);
        rows += table.rows;
    }
    replacement.finish();
    std::cout << "loaded " << counted(tables.size(), "table") << " with " << counted(rows, "row");
    if (tables.size() < tableCount) {
        std::cout << "; as in the dump already: " << counted(tableCount - tables.size(), "table");
    }
    std::cout << '\n';
    return kDone;
}

}  // namespace

void addLoadCommand(CLI::App& app, int& status) {
    CLI::App* const command = app.add_subcommand("load", "Make the tables of a dump");
    const auto options = std::make_shared<Options>();
    addPath(*command, options->path);
    command->add_option("FILE", options->file, "The dump, - for standard input")->required();
    command->add_flag("--replace", options->replaces, "Replace tables that are there and differ");
    command->footer(kFooter);
    command->callback([options, &status] { status = runCommand("load", [&] { return load(*options); }); });
}

}  // namespace Kalt::Vemo::Tool
