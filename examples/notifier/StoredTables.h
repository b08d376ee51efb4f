#pragma once

#include <ostream>
#include <string>

namespace Notifier {

/// Prints both tables of the store as they are stored. Requires: the store at `path` is closed.
void printStoredTables(std::ostream& out, const std::string& path);

}  // namespace Notifier
