#include <unistd.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "Command.h"
#include "console/ExitStatus.h"
#include "console/Terminal.h"
#include "shell/Prompt.h"
#include "shell/Shell.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr const char* kFooter =
    R"text(Statements come from -c, then from -f; without either from standard input, with a prompt on a terminal.
A database that is not there is made by a CREATE TABLE, unless --read-only is given. Outside of the prompt
the first statement that fails ends the shell, and an open transaction is rolled back.

SELECT, INSERT, UPDATE and DELETE are SQLite's, with joins, aggregates, subqueries and functions, over all
tables at once. CREATE TABLE and DROP TABLE have the form that the engine knows; BEGIN, COMMIT and ROLLBACK
drive a transaction. A statement that changes many rows changes all of them or none.

A table whose file is damaged is read with a warning, and not changed unless --force is given.

Examples:
  filedb shell /tmp/home
  filedb shell /tmp/home -c "create table rooms (name text, area real)" -c "insert into rooms values ('attic', 12.5)"
  filedb shell /tmp/home --read-only --mode json -c "select count(*), max(area) from rooms where area > 10"
  filedb shell /tmp/home < statements.sql
)text";

struct Options {
    std::string path;
    std::vector<std::string> texts;
    std::string file;
    std::string mode = "table";
    bool raw = false;
    bool readOnly = false;
    bool wide = false;
    bool force = false;
};

bool isAtTerminal() {
    return isTerminal(STDIN_FILENO) && isTerminal(STDOUT_FILENO);
}

void runFile(Shell& shell, const std::string& name) {
    std::ifstream file(name);
    if (!file || std::filesystem::is_directory(name)) {
        throw Trouble(name + ": cannot be read; name a file of statements");
    }
    shell.runStream(file, name);
}

int runShell(const Options& options) {
    const bool hasTexts = !options.texts.empty() || !options.file.empty();
    const bool isPrompt = !hasTexts && isAtTerminal();
    Session session(PathArgument(options.path),
                    options.readOnly ? Session::Access::kLook : Session::Access::kChangeOrCreate,
                    options.force ? Session::Damage::kAccepted : Session::Damage::kRefusedUnlessForced,
                    options.raw ? Session::LongLines::kStored : Session::LongLines::kRefused);
    const ResultView view(isPrompt, options.wide ? CellWidth::kWhole : CellWidth::kFitting);
    Shell shell(session, {modeOf(options.mode), options.raw, isPrompt, view});
    for (const std::string& text : options.texts) {
        if (!shell.isOver()) {
            shell.runText(text);
        }
    }
    if (!options.file.empty() && !shell.isOver()) {
        runFile(shell, options.file);
    }
    if (isPrompt) {
        std::cout << "filedb " FILEDB_VERSION ", " << session.namedDirectory()
                  << (options.readOnly ? ", for looking only" : "") << "\n.help lists the commands\n";
        runPrompt(shell);
    } else if (!hasTexts) {
        shell.runStream(std::cin, "<stdin>");
    }
    if (session.inTransaction()) {
        session.rollback();
        std::cerr << "filedb shell: the transaction was still open and is rolled back; COMMIT keeps it\n";
        return kFailed;
    }
    return shell.hasFailed() ? kFailed : kDone;
}

}  // namespace

void addShellCommand(CLI::App& app, int& status) {
    CLI::App* const command = app.add_subcommand("shell", "Run SQL statements");
    const auto options = std::make_shared<Options>();
    addPath(*command, options->path);
    command->add_option("-c", options->texts, "Run this SQL; may be given several times")
        ->type_name("SQL")
        ->allow_extra_args(false);
    command->add_option("-f", options->file, "Run the statements of this file")->type_name("FILE");
    addMode(*command, options->mode);
    command->add_flag("--raw", options->raw,
                      "Send the text to the engine as it stands, each -c as one statement");
    command->add_flag("--read-only", options->readOnly, "Look at a copy; refuse changes");
    command->add_flag("--wide", options->wide, "Print cells whole that do not fit into the terminal");
    command->add_flag("--force", options->force, "Change tables whose files are damaged, too");
    command->footer(kFooter);
    command->callback(
        [options, &status] { status = runCommand("shell", [&] { return runShell(*options); }); });
}

}  // namespace Kalt::Vemo::Tool
