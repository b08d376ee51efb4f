#pragma once

#include <string>
#include <vector>

namespace Kalt::Vemo::Tool {

/// The other processes that have the file open, by their numbers. A process that uses a database keeps its
/// journal open. Only the caller's own processes can be seen, for root all of them.
std::vector<int> processesWithOpenFile(const std::string& path);

/// Whether another process uses the database of this journal, as far as the system tells: by the lock, which
/// shows for every user's processes, or as above.
bool isJournalInUse(const std::string& path);

}  // namespace Kalt::Vemo::Tool
