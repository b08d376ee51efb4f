#pragma once

namespace CLI {
class App;
}

namespace Kalt::Vemo::Tool {

/// Adds `check PATH [--json]` to the program: it reads the raw files of a database directory, changes
/// nothing, and prints what is wrong with them.
///
/// @param status set when the command ran: 0 nothing found, 1 findings of any kind, 2 something could not be
/// read
void addCheckCommand(CLI::App& app, int& status);

}  // namespace Kalt::Vemo::Tool
