#include "Command.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

#include "console/ExitStatus.h"
#include "console/Printable.h"

namespace Kalt::Vemo::Tool {

int runCommand(const std::string& name, const std::function<int()>& body) {
    const auto report = [&name](const std::exception& error, int status) {
        std::cout.flush();
        std::cerr << "filedb " << name << ": " << printable(error.what()) << '\n';
        return status;
    };
    try {
        const int status = body();
        requireWritten(std::cout);
        return status;
    } catch (const Failure& error) {
        return report(error, kFailed);
    } catch (const ReaderGone&) {
        endAsByBrokenPipe();
    } catch (const std::exception& error) {
        return report(error, kTrouble);
    }
}

void addPath(CLI::App& command, std::string& path) {
    command.add_option("PATH", path, "The path that init takes, or the _filedb directory itself")->required();
}

void addMode(CLI::App& command, std::string& mode) {
    command.add_option("--mode", mode, "How to print results: table, line, csv or json")
        ->check(CLI::IsMember({"table", "line", "csv", "json"}))
        ->capture_default_str();
}

void warn(const std::string& warning) {
    if (!warning.empty()) {
        std::cout.flush();
        std::cerr << "warning: " << printable(warning) << '\n';
    }
}

}  // namespace Kalt::Vemo::Tool
