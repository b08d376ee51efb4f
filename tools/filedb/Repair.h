#pragma once

namespace CLI {
class App;
}

namespace Kalt::Vemo::Tool {

/// Adds `repair PATH [--dry-run]` to the program: it mends the files of a database directory without guessing
/// and sets everything else aside.
///
/// @param status set when the command ran: 0 the directory is sound, 1 `check` still finds something or a
/// decision is left,
///               2 something could not be read or written, or the database is in use
void addRepairCommand(CLI::App& app, int& status);

}  // namespace Kalt::Vemo::Tool
