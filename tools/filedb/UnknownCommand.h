#pragma once

#include <string>

namespace CLI {
class App;
}

namespace Kalt::Vemo::Tool {

/// What to say when the command line names a command, or a verb of one, that is not there: which one, the
/// nearest that is there, and where all are listed. Empty when something else is wrong with it.
///
/// @param app after it has parsed the command line
std::string describeUnknownCommand(const CLI::App& app);

}  // namespace Kalt::Vemo::Tool
