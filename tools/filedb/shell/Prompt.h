#pragma once

#include "shell/Shell.h"

namespace Kalt::Vemo::Tool {

/// Talks with a person at a terminal until .quit or the end of the input: line editing, a history that is
/// kept in $XDG_STATE_HOME/filedb/history, and the completion of keywords, tables, columns and dot commands.
void runPrompt(Shell& shell);

}  // namespace Kalt::Vemo::Tool
