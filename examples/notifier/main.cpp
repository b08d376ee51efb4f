// A notification framework in small: reads subscription requests as JSON lines, applies them to a store,
// tells what came of each, and ends with a table of what is stored.
//
// What each request asks of the store is in tools/requests/Runner.cpp, a function for each operation; what
// another client does with the store's database is in OtherClient.cpp beside it.

#include <CLI/CLI.hpp>
#include <exception>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <utility>

#include "ISubscriptionDB.h"
#include "StoredTables.h"
#include "VEMOFileSubscriptionDB.h"
#include "console/LogListener.h"
#include "console/Printable.h"
#include "requests/Request.h"
#include "requests/Runner.h"

namespace Notifier {

using Kalt::Vemo::Notification::ISubscriptionDB;
using Kalt::Vemo::Notification::VEMOFileSubscriptionDB;
using Kalt::Vemo::Requests::Field;
using Kalt::Vemo::Requests::MalformedRequest;
using Kalt::Vemo::Requests::Operation;
using Kalt::Vemo::Requests::Outcome;
using Kalt::Vemo::Requests::Request;
using Kalt::Vemo::Requests::Runner;
using Kalt::Vemo::Tool::Escapes;
using Kalt::Vemo::Tool::LogListener;

namespace {

constexpr int kAllUnderstood = 0;
constexpr int kMalformedLines = 1;
constexpr int kTrouble = 2;

struct Options {
    std::string path;
    std::string file = "-";
    int expirySeconds = 0;
};

struct Counts {
    int succeeded = 0;
    int failed = 0;
    int malformed = 0;
};

std::string operationsHelp() {
    std::string text =
        "Requests\n"
        "  One JSON object a line: \"op\" names the operation, the other fields are its arguments. Any "
        "request may\n"
        "  have a field \"at\" as well, a text that is shown with the result. Blank lines are skipped.\n"
        "\n"
        "  On a fresh directory the store makes the table MySubscriptions only. The table Subscriptions "
        "comes\n"
        "  from another client of the database; a request \"provision\" plays that client.\n"
        "\n"
        "Operations (a field in brackets may be left out)\n";
    for (const Operation& operation : Runner::operations()) {
        text += std::string("  ") + operation.name + ":";
        for (const Field& field : operation.fields) {
            text += std::string(field.optional ? " [" : " ") + field.name + (field.optional ? "]" : "");
        }
        text += std::string("\n      ") + operation.summary + "\n";
    }
    return text +
           "\n"
           "Output\n"
           "  Standard output gets one line for each request, \"FILE:LINE: operation: ok\" or \"... "
           "failed\", and at\n"
           "  the end the tables. Standard error gets malformed lines, and what the store's log says of a "
           "request.\n"
           "\n"
           "Exit status\n"
           "  0  every line was a request, whether it succeeded or failed\n"
           "  1  at least one line was malformed; the others were applied\n"
           "  2  wrong usage, the store or FILE cannot be used, or the output cannot be written\n"
           "\n"
           "Example\n"
           "  echo '{\"op\": \"provision\"}' | notifier /tmp/home\n";
}

void printNotes(const std::string& place, const std::vector<std::string>& notes) {
    for (const std::string& note : notes) {
        std::cerr << place << ": note: " << printable(note, Escapes::kReversible) << '\n';
    }
}

/// Applies one line; a blank one is no request.
void applyLine(const std::string& line, const std::string& place, Runner& runner, LogListener& log,
               Counts& counts) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) {
        return;
    }
    try {
        const Request request = Request::parse(line, Runner::fieldsOf);
        const Outcome outcome = runner.run(request);
        std::cout << place << ": " << resultLine(request, outcome, Escapes::kReversible) << '\n';
        printNotes(place, log.takeErrors());
        ++(outcome.succeeded ? counts.succeeded : counts.failed);
    } catch (const MalformedRequest& error) {
        std::cerr << place << ": error: " << error.what() << '\n';
        ++counts.malformed;
    }
}

/// Applies every line. False when the input could not be read to its end.
bool applyAll(std::istream& input, const std::string& name, Runner& runner, LogListener& log,
              Counts& counts) {
    std::string line;
    for (int number = 1; std::getline(input, line); ++number) {
        applyLine(line, name + ':' + std::to_string(number), runner, log, counts);
    }
    return !input.bad();
}

int run(const Options& options) {
    const bool standardInput = options.file == "-";
    const std::string name = standardInput ? "<stdin>" : options.file;
    std::ifstream file;
    if (!standardInput) {
        file.open(options.file);
        if (!file) {
            std::cerr << "notifier: cannot open " << options.file
                      << "; give a file of JSON lines that can be read\n";
            return kTrouble;
        }
    }

    LogListener log(LogListener::Harmless::kCopiesAndOpenings);
    std::unique_ptr<ISubscriptionDB> store(VEMOFileSubscriptionDB::createInstance());
    Runner runner(std::move(store), options.path, options.expirySeconds);
    if (!runner.open()) {
        std::cerr << "notifier: cannot open a store at " << options.path
                  << "; give a path in a directory that exists and can be written\n";
        printNotes("notifier", log.takeErrors());
        return kTrouble;
    }

    Counts counts;
    const bool readAll = applyAll(standardInput ? std::cin : file, name, runner, log, counts);
    const int requests = counts.succeeded + counts.failed;
    std::cout << '\n'
              << requests << (requests == 1 ? " request: " : " requests: ") << counts.succeeded << " ok, "
              << counts.failed << " failed; " << counts.malformed
              << (counts.malformed == 1 ? " malformed line\n" : " malformed lines\n");
    runner.close();
    printStoredTables(std::cout, runner.path());
    if (!std::cout.flush()) {
        std::cerr << "notifier: standard output cannot be written\n";
        return kTrouble;
    }
    if (!readAll) {
        std::cerr << "notifier: " << name << " cannot be read to its end\n";
        return kTrouble;
    }
    return counts.malformed > 0 ? kMalformedLines : kAllUnderstood;
}

}  // namespace

}  // namespace Notifier

int main(int argc, char** argv) {
    try {
        CLI::App app("Applies subscription requests to a store and prints what is stored.", "notifier");
        Notifier::Options options;
        app.add_option("PATH", options.path, "the store's files go to the directory PATH_filedb")->required();
        app.add_option("FILE", options.file, "JSON lines; - is standard input")->capture_default_str();
        app.add_option("--expiry", options.expirySeconds,
                       "seconds that a saved subscription lives; below 1 it does not expire")
            ->capture_default_str();
        app.footer(Notifier::operationsHelp());
        try {
            app.parse(argc, argv);
        } catch (const CLI::ParseError& error) {
            return app.exit(error) == 0 ? 0 : Notifier::kTrouble;
        }
        return Notifier::run(options);
    } catch (const std::exception& error) {
        std::cerr << "notifier: " << error.what() << '\n';
        return Notifier::kTrouble;
    }
}
