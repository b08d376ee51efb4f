#pragma once

#include <string>

namespace Kalt::Vemo::Tool {

/// The command of the user's pager: $FILEDB_PAGER, else $PAGER, else "less -FRX" where that is installed.
/// Empty where there is none, or where $FILEDB_PAGER is set and empty.
std::string pagerCommand();

/// Shows `text` with a pager, as a shell understands its command, and waits for its end. Meanwhile the keys
/// that end a program mean the pager. One that ends before it has read everything is fine.
///
/// @return false when it cannot be run, or says that it failed
bool runPager(const std::string& command, const std::string& text);

}  // namespace Kalt::Vemo::Tool
