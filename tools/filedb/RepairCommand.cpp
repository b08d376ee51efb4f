#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <string>

#include "Command.h"
#include "check/DirectoryExamination.h"
#include "check/DirectoryRepair.h"
#include "check/FindingsReport.h"
#include "console/ExitStatus.h"
#include "files/PathArgument.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr const char* kFooter =
    R"(Kept is what the engine reads. Mended is what needs no guess: a copy-over that was interrupted is finished from
the working copies; carriage returns and a byte-order mark are taken out; a last line feed is added where
nothing else can be missing; empty fields, quotes around numbers and the like are put into the form in which
the database stores the same value; records are sorted by ROWID.

After a crash and a new start of the program no journal line names the working copy any more. It is then
taken only for a table that is empty, or unsound and a beginning of the copy followed by the end of an
older file. A sound table that differs from the copy is left together with the copy: both readings and the
command for each are printed, the exit status is 1. Run one of the two, then the repair once more. The same
holds for a damaged working copy of a committed transaction that has records which the table lacks.

Everything else is set aside, nothing is deleted: the directory PATH_filedb.repair-N beside the database
takes the original of every changed file, the working copies of transactions that were not committed,
tables with a broken definition, files that are none of the database's, and TABLE.rejects with the
lines that cannot be kept, each behind its line number and a tabulator. Originals are linked where the
system can do that; --aside leads to another directory, also on another file system. "filedb restore" takes
back what is corrected there.

Stop the process that uses the database first: repair refuses to run while a process has it open, and keeps
other processes out while it works. A repair that was itself interrupted is simply run again; what the
first run had set aside is in a directory of its own, and the second one does not count it.

Exit status: 0 the database is sound and has all it had, 1 findings or a decision are left, 2 wrong usage, a
database in use, or a file that could not be read or written, 3 a table or a row was set aside; the last
line counts them.

Examples:
  filedb repair /var/lib/app/subscriptions --dry-run
  filedb repair /var/lib/app/subscriptions
)";

struct Options {
    std::string path;
    std::string aside;
    bool dryRun = false;
};

int repair(const Options& options) {
    const PathArgument argument(options.path);
    argument.requireDirectory();
    const std::string& directory = argument.directory();
    DirectoryRepair repair(directory, options.dryRun, std::cout, options.aside);
    try {
        repair.run();
    } catch (const Trouble&) {
        repair.countRemoved(options.path);
        throw;
    }
    bool isSound = !repair.leavesDecision();
    if (!options.dryRun) {
        const DirectoryExamination after(Snapshot::ofLocked(directory));
        printFindings(std::cout, directory, after.findings());
        isSound = after.findings().empty();
    }
    repair.countRemoved(options.path);
    if (repair.hasRemoved()) {
        return kRemoved;
    }
    return isSound ? kDone : kFailed;
}

}  // namespace

void addRepairCommand(CLI::App& app, int& status) {
    CLI::App* const command =
        app.add_subcommand("repair", "Mend the files of a database, setting aside what cannot be mended");
    const auto options = std::make_shared<Options>();
    addPath(*command, options->path);
    command->add_flag("--dry-run", options->dryRun, "print the actions and do none of them");
    command
        ->add_option("--aside", options->aside,
                     "The directory in which PATH_filedb.repair-N is made, instead of beside the database")
        ->type_name("DIR");
    command->footer(kFooter);
    command->callback(
        [options, &status] { status = runCommand("repair", [&] { return repair(*options); }); });
}

}  // namespace Kalt::Vemo::Tool
