#include "Replay.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <vector>

#include "ExitStatus.h"
#include "LogNotes.h"
#include "Printable.h"
#include "Request.h"
#include "Runner.h"

namespace Kalt::Vemo::Tool {

namespace {

using Notifier::LogNotes;
using Notifier::MalformedRequest;
using Notifier::Outcome;
using Notifier::Request;
using Notifier::Runner;

/// Whether the line was a request that did what it says.
bool apply(const std::string& line, const std::string& place, Runner& runner, LogNotes& log) {
    try {
        const Request request = Request::parse(line, Runner::fieldsOf);
        const Outcome outcome = runner.run(request);
        std::cout << place << ": " << (request.has("at") ? printable(request.text("at")) + " " : "")
                  << request.operation() << (outcome.succeeded ? ": ok" : ": failed")
                  << (outcome.found.empty() ? "" : ", ") << outcome.found << '\n';
        const std::vector<std::string> notes = log.take();
        for (const std::string& note : notes) {
            std::cerr << place << ": error: " << printable(note) << '\n';
        }
        return outcome.succeeded && notes.empty();
    } catch (const MalformedRequest& error) {
        std::cerr << place << ": error: " << error.what() << '\n';
        return false;
    }
}

}  // namespace

int replay(const PathArgument& path, const std::string& fileName, int expirySeconds) {
    const bool isStandardInput = fileName == "-";
    std::ifstream file;
    if (!isStandardInput) {
        file.open(fileName);
        if (!file || std::filesystem::is_directory(fileName)) {
            throw Trouble(fileName + ": cannot be read; name a file of requests");
        }
    }
    std::istream& input = isStandardInput ? std::cin : file;
    const std::string name = isStandardInput ? "<stdin>" : printable(fileName);

    path.requireDirectory();
    path.requireUnused();
    LogNotes log;
    Runner runner(path.base(), expirySeconds);
    if (!runner.open()) {
        throw Trouble(path.directory() + ": the store cannot be opened");
    }
    bool allWell = true;
    std::string line;
    for (std::size_t number = 1; std::getline(input, line); ++number) {
        if (line.find_first_not_of(" \t\r") != std::string::npos) {
            allWell = apply(line, name + ":" + std::to_string(number), runner, log) && allWell;
        }
    }
    if (input.bad()) {
        throw Trouble(name + ": cannot be read to its end");
    }
    return allWell ? kDone : kFailed;
}

}  // namespace Kalt::Vemo::Tool
