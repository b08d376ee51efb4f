#pragma once

#include <string>

#include "transfer/StoredTable.h"

namespace Kalt::Vemo::Tool {

/// Finds out whether a table of a recovered database may be changed: it is sound, as `filedb check` sees it,
/// and has no working copy from a crash, which may be the only place of committed rows.
///
/// @return why not, with the remedy; empty when it may
std::string describeUnsound(const std::string& directory, const StoredTable& table);

}  // namespace Kalt::Vemo::Tool
