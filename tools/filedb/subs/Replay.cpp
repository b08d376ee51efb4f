#include "subs/Replay.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <vector>

#include "VEMOFileSubscriptionDB.h"
#include "console/ExitStatus.h"
#include "console/LogListener.h"
#include "console/Printable.h"
#include "files/DirectoryUse.h"
#include "requests/Request.h"
#include "requests/Runner.h"

namespace Kalt::Vemo::Tool {

namespace {

using Notification::VEMOFileSubscriptionDB;
using Requests::MalformedRequest;
using Requests::Request;
using Requests::Runner;

/// Whether the line was a request that did what it says.
bool apply(const std::string& line, const std::string& place, Runner& runner, LogListener& log) {
    try {
        const Request request = Request::parse(line, Runner::fieldsOf);
        const Requests::Outcome outcome = runner.run(request);
        std::cout << place << ": " << resultLine(request, outcome, Escapes::kHexadecimal) << '\n';
        const std::vector<std::string> notes = log.takeErrors();
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
    DirectoryUse use(path.directory());
    LogListener log(LogListener::Harmless::kCopiesAndOpenings);
    Runner runner(std::unique_ptr<Notification::ISubscriptionDB>(VEMOFileSubscriptionDB::createInstance()),
                  path.base(), expirySeconds);
    if (!runner.open()) {
        throw Trouble(path.directory() + ": the store cannot be opened");
    }
    use.lock();  // some requests close the store for a moment, and it may have made its journal just now
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
