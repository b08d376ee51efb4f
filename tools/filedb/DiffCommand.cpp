#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "Command.h"
#include "changes/ChangeText.h"
#include "changes/Changes.h"
#include "changes/TableState.h"
#include "console/ExitStatus.h"
#include "files/EntryName.h"
#include "files/PathArgument.h"
#include "files/Snapshot.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr const char* kFooter =
    R"(Prints what makes the second of the first, one change a line, and nothing when they are equal:

  rooms + (name TEXT, floor INTEGER)    a table that only the second has; - one that only the first has
  rooms +7 name='attic' floor=2         a row that only the second has, by its ROWID
  rooms ~7 floor=2 -> 3                 a row with other values
  rooms -7 name='attic' floor=2         a row that only the first has
  rooms +? "'attic'~2" line 9: ...      a line that is no row, and why; - likewise

OTHER is a database as well, or any directory with table files: a copy, or what a repair has set aside.
Journals and working copies are left out, and so is the order of the rows. Databases in use are compared as
they are at one moment.

Exit status: 0 equal, 1 different, 2 wrong usage or a file that could not be read.

Examples:
  filedb diff /var/lib/app/subscriptions /backup/subscriptions_filedb
  filedb diff /var/lib/app/subscriptions /backup/subscriptions --json | jq '.changes[].table'
)";

// A database, or any directory that is one by its files.
std::string directoryOf(const std::string& path) {
    const PathArgument argument(path);
    std::error_code ignored;
    if (!std::filesystem::is_directory(argument.directory(), ignored) &&
        std::filesystem::is_directory(path, ignored)) {
        return path;
    }
    argument.requireDirectory();
    return argument.directory();
}

DatabaseState readAll(const std::string& path) {
    const std::string directory = directoryOf(path);
    const Snapshot snapshot = Snapshot::ofLive(directory);
    for (const auto& [name, file] : snapshot.files()) {
        if (EntryName::of(name).kind == EntryName::Kind::kTable && !file.isRegular()) {
            throw Trouble(pathIn(directory, name) + ": " + file.problem);
        }
    }
    return tablesOf(snapshot);
}

int compare(const std::string& path, const std::string& other, bool isJson) {
    const DatabaseState before = readAll(path);
    const DatabaseState after = readAll(other);
    const std::vector<Change> changes = changesBetween(before, after);
    if (isJson) {
        std::cout << "{\"changes\":[";
        for (const Change& change : changes) {
            std::cout << (&change == &changes.front() ? "\n" : ",\n") << jsonOf(change);
        }
        std::cout << (changes.empty() ? "]}\n" : "\n]}\n");
    } else {
        for (const Change& change : changes) {
            std::cout << lineOf(change) << '\n';
        }
    }
    return changes.empty() ? kDone : kFailed;
}

}  // namespace

void addDiffCommand(CLI::App& app, int& status) {
    struct Options {
        std::string path;
        std::string other;
        bool isJson = false;
    };
    CLI::App* const command = app.add_subcommand("diff", "Compare two databases, or one with its backup");
    const auto options = std::make_shared<Options>();
    addPath(*command, options->path);
    command->add_option("OTHER", options->other, "Another database, or a directory of table files")
        ->required();
    command->add_flag("--json", options->isJson, "Print one JSON document");
    command->footer(kFooter);
    command->callback([options, &status] {
        status = runCommand("diff", [&] { return compare(options->path, options->other, options->isJson); });
    });
}

}  // namespace Kalt::Vemo::Tool
