#pragma once

#include <optional>
#include <string>

#include "transfer/StoredTable.h"

namespace Kalt::Vemo::Tool {

/// Why a table is better not changed or taken for whole.
struct Unsoundness {
    std::string text;             // with the remedy
    bool isOfDefinition = false;  // nobody can tell what its records mean
};

/// Finds out whether a table of a recovered database may be changed: it is sound, as `filedb check` sees it,
/// and has no working copy from a crash, which may be the only place of committed rows.
///
/// @return why not; nothing when it may
std::optional<Unsoundness> unsoundnessOf(const std::string& directory, const StoredTable& table);

/// What to tell who reads the table of the named directory; empty when its file is sound.
std::string damageWarning(const std::string& directory, const StoredTable& table);

}  // namespace Kalt::Vemo::Tool
