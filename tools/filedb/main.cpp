// filedb: looks into, queries, checks and repairs a database of text files from a terminal.

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <clocale>
#include <csignal>
#include <exception>
#include <iostream>
#include <string>

#include "Command.h"
#include "UnknownCommand.h"
#include "console/ExitStatus.h"
#include "console/Printable.h"

namespace {

constexpr const char* kDescription =
    "Looks into, queries, checks and repairs a database of text files.\n"
    "\n"
    "PATH is the path that the database was opened with, or its directory, whose name ends in _filedb.";

constexpr const char* kFooter =
    R"(Exit status: 0 done, 1 findings or a failed statement, 2 wrong usage or trouble, 3 a repair has set aside a
table or rows.

Examples:
  filedb tables /var/lib/app/subscriptions
  filedb shell /var/lib/app/subscriptions -c "select * from Subscriptions where deviceId = 'lamp'"
  filedb check /var/lib/app/subscriptions

filedb COMMAND --help tells more of each command.)";

int run(int argc, char** argv) {
    using namespace Kalt::Vemo::Tool;
    int status = kDone;
    CLI::App app(kDescription, "filedb");
    app.footer(kFooter);
    app.set_version_flag("--version", "filedb " FILEDB_VERSION);
    app.require_subcommand(1);
    app.failure_message([](const CLI::App* /*app*/, const CLI::Error& error) {
        return Kalt::Vemo::Tool::printable(error.what()) + "\nRun with --help for more information.\n";
    });
    addShellCommand(app, status);
    addTablesCommand(app, status);
    addSchemaCommand(app, status);
    addExportCommand(app, status);
    addImportCommand(app, status);
    addDumpCommand(app, status);
    addLoadCommand(app, status);
    addWatchCommand(app, status);
    addDiffCommand(app, status);
    addCheckCommand(app, status);
    addRepairCommand(app, status);
    addRestoreCommand(app, status);
    addSubsCommand(app, status);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const std::string unknown = error.get_exit_code() == 0 ? "" : describeUnknownCommand(app);
        if (!unknown.empty()) {
            std::cerr << "filedb: " << unknown << '\n';
            return kTrouble;
        }
        const bool isHelp = app.exit(error) == 0;
        return isHelp && std::cout.flush() ? kDone : kTrouble;
    }
    return status;
}

// A file that is opened while one of them is closed would take its place, and what is printed would go into
// it. What stands there now makes reading, or writing, fail.
bool occupyStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        const bool isClosed = fcntl(stream, F_GETFD) < 0;
        if (isClosed && open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY) != stream) {
            return false;
        }
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (!occupyStandardStreams()) {
        return Kalt::Vemo::Tool::kTrouble;
    }
    // A reader that leaves early makes a write fail, which every command looks at when its work is done: what
    // is being changed is not left in the middle.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    static_cast<void>(std::setlocale(LC_CTYPE, ""));
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "filedb: " << error.what() << '\n';
        return Kalt::Vemo::Tool::kTrouble;
    }
}
