#pragma once

#include <functional>
#include <string>

namespace CLI {
class App;
}

namespace Kalt::Vemo::Tool {

/// Runs a command: gives its exit status, prints what ended it early, and sees to it that standard output
/// took everything.
///
/// @param name what the message begins with, as "filedb NAME: "
int runCommand(const std::string& name, const std::function<int()>& body);

/// Adds the argument that every command begins with.
void addPath(CLI::App& command, std::string& path);

/// Adds the option that says how results are printed.
void addMode(CLI::App& command, std::string& mode);

// Each adds one command to the program; `status` is set when the command ran.
void addCheckCommand(CLI::App& app, int& status);
void addDumpCommand(CLI::App& app, int& status);
void addExportCommand(CLI::App& app, int& status);
void addImportCommand(CLI::App& app, int& status);
void addLoadCommand(CLI::App& app, int& status);
void addRepairCommand(CLI::App& app, int& status);
void addRestoreCommand(CLI::App& app, int& status);
void addSchemaCommand(CLI::App& app, int& status);
void addShellCommand(CLI::App& app, int& status);
void addSubsCommand(CLI::App& app, int& status);
void addTablesCommand(CLI::App& app, int& status);

}  // namespace Kalt::Vemo::Tool
