#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

#include "Command.h"
#include "check/DirectoryRestore.h"
#include "console/ExitStatus.h"
#include "files/PathArgument.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr const char* kFooter =
    R"(ASIDE is the directory PATH_filedb.repair-N that a repair has named. Correct there what the repair could not:
the lines of TABLE.rejects, each behind its number and a tabulator, or a table that was set aside whole. Then
restore takes back

  - each line with which its table is still sound,
  - each table that is sound, unless the database has a table of that name with records that it lacks,

and tells what it did not take, and why. What is in the database already is left alone, so a restore may be run
again. It changes nothing in ASIDE. What a table held before it was replaced is kept in PATH_filedb.restore-N.

Stop the process that uses the database first: restore refuses to run while a process has it open, and keeps
other processes out while it works.

Exit status: 0 all is back, 1 something was not taken, or the database needs a repair first, 2 wrong usage, a
database in use, or a file that could not be read or written.

Examples:
  filedb restore /var/lib/app/subscriptions /var/lib/app/subscriptions_filedb.repair-1 --dry-run
  filedb restore /var/lib/app/subscriptions /var/lib/app/subscriptions_filedb.repair-1
)";

struct Options {
    std::string path;
    std::string source;
    std::string aside;
    bool dryRun = false;
};

void requireSource(const std::string& source, const std::string& directory) {
    std::error_code error;
    if (!std::filesystem::is_directory(source, error)) {
        throw Trouble(source +
                      " is not a directory; name the directory in which a repair has set something aside");
    }
    if (std::filesystem::equivalent(source, directory, error)) {
        throw Trouble(source +
                      " is the database itself; name the directory in which a repair has set something "
                      "aside");
    }
}

int restore(const Options& options) {
    const PathArgument argument(options.path);
    argument.requireDirectory();
    requireSource(options.source, argument.directory());
    DirectoryRestore restore(argument.directory(), options.source, options.dryRun, std::cout, options.aside);
    restore.run();
    return restore.leavesAnything() ? kFailed : kDone;
}

}  // namespace

void addRestoreCommand(CLI::App& app, int& status) {
    CLI::App* const command =
        app.add_subcommand("restore", "Take back what a repair has set aside, once it is corrected");
    const auto options = std::make_shared<Options>();
    addPath(*command, options->path);
    command->add_option("ASIDE", options->source, "The directory with what the repair has set aside")
        ->required();
    command->add_flag("--dry-run", options->dryRun, "print the actions and do none of them");
    command
        ->add_option("--aside", options->aside,
                     "The directory in which PATH_filedb.restore-N is made, instead of beside the database")
        ->type_name("DIR");
    command->footer(kFooter);
    command->callback(
        [options, &status] { status = runCommand("restore", [&] { return restore(*options); }); });
}

}  // namespace Kalt::Vemo::Tool
