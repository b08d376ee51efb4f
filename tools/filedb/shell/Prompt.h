#pragma once

#include "shell/Shell.h"

namespace Kalt::Vemo::Tool {

/// Talks with a person at a terminal until .quit, the end of the input, or Control-C twice in a row.
void runPrompt(Shell& shell);

}  // namespace Kalt::Vemo::Tool
