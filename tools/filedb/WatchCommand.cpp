#include <CLI/CLI.hpp>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "Command.h"
#include "changes/ChangeText.h"
#include "changes/Changes.h"
#include "changes/Watch.h"
#include "console/ExitStatus.h"
#include "console/Printable.h"
#include "files/EntryName.h"
#include "files/PathArgument.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr const char* kFooter =
    R"(Prints what each commit changes, one change a line with the time of day, until Control-C:

  12:30:01.250 rooms +7 name='attic' floor=2    a row came, by its ROWID
  12:30:02.031 rooms ~7 floor=2 -> 3            a row has other values
  12:30:02.544 rooms -7 name='attic' floor=3    a row went
  12:30:03.900 rooms + (name TEXT)              a table came; - when it went

A transaction is printed when it is whole. Commits that follow each other faster than they can be read are
printed as one. With --json each commit is one line: {"time":...,"changes":[...]}.

The database is not opened, not locked and not changed. Its directory need not be there yet. What the
command is waiting for, and a table that cannot be read, are told on standard error.

Examples:
  filedb watch /var/lib/app/subscriptions
  filedb watch /var/lib/app/subscriptions Subscriptions --json | jq -c '.changes[]'
  filedb watch /var/lib/app/subscriptions --count 1 > /dev/null && echo changed
)";

struct Options {
    std::string path;
    std::string table;
    bool isJson = false;
    bool isInitial = false;
    std::size_t count = 0;
};

using Moment = std::chrono::system_clock::time_point;

// "12:30:01.250" here, or "2026-01-31T12:30:01.250Z".
std::string textOf(Moment moment, bool isComplete) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(moment);
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(moment.time_since_epoch()).count() % 1000;
    std::tm parts{};
    static_cast<void>(isComplete ? gmtime_r(&seconds, &parts) : localtime_r(&seconds, &parts));
    std::array<char, 32> text{};
    static_cast<void>(
        std::strftime(text.data(), text.size(), isComplete ? "%Y-%m-%dT%H:%M:%S" : "%H:%M:%S", &parts));
    std::array<char, 8> rest{};
    static_cast<void>(std::snprintf(rest.data(), rest.size(), ".%03d%s", static_cast<int>(milliseconds),
                                    isComplete ? "Z" : ""));
    return std::string(text.data()) + rest.data();
}

void print(const std::vector<Change>& changes, bool isJson) {
    const std::string time = textOf(std::chrono::system_clock::now(), isJson);
    if (isJson) {
        std::cout << "{\"time\":\"" << time << "\",\"changes\":[";
        for (const Change& change : changes) {
            std::cout << (&change == &changes.front() ? "" : ",") << jsonOf(change);
        }
        std::cout << "]}\n";
    } else {
        for (const Change& change : changes) {
            std::cout << time << ' ' << lineOf(change) << '\n';
        }
    }
    requireWritten(std::cout);
}

int watch(const Options& options) {
    const PathArgument path(options.path);
    if (!options.table.empty() && !isPossibleName(options.table)) {
        throw Trouble("table name " + Tool::quoted(options.table) +
                      ": no statement could have made it; \"filedb tables\" lists the names");
    }
    Watch watch(path.directory(), options.table);
    if (options.isInitial) {
        watch.beginWithNothing();
    }
    std::size_t printed = 0;
    while (watch.waitForCommit()) {
        print(watch.changes(), options.isJson);
        if (++printed == options.count) {
            break;
        }
    }
    return kDone;
}

}  // namespace

void addWatchCommand(CLI::App& app, int& status) {
    CLI::App* const command =
        app.add_subcommand("watch", "Print each change of a live database as it is committed");
    const auto options = std::make_shared<Options>();
    addPath(*command, options->path);
    command->add_option("TABLE", options->table, "Only this table");
    command->add_flag("--json", options->isJson, "Print a line of JSON for each commit");
    command->add_flag("--initial", options->isInitial, "First print the tables and rows that are there");
    command->add_option("--count", options->count, "End after so many commits; 0 means never")
        ->type_name("NUMBER")
        ->capture_default_str();
    command->footer(kFooter);
    command->callback([options, &status] { status = runCommand("watch", [&] { return watch(*options); }); });
}

}  // namespace Kalt::Vemo::Tool
