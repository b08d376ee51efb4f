#pragma once

#include <string>

namespace Kalt::Vemo::Tool {

/// Whether a statement could have made a table or a column of this name.
bool isPossibleName(const std::string& name);

/// Has a file that is to take the place of another one while a repair writes it. No longer than any other
/// name.
inline constexpr const char* kTemporaryName = "filedb.repair-tmp";

/// What an entry of a database's directory is, as its name tells.
struct EntryName {
    enum class Kind {
        kJournal,
        kTable,
        kCopy,
        kUnfinished,  // was to take the place of another file
        kImpossible,  // ends like a table or a working copy, but no statement makes a table of that name
        kForeign
    };

    Kind kind = Kind::kForeign;
    std::string table;  // of kTable, kCopy and kImpossible

    static EntryName of(const std::string& name);

    /// Whether the engine reads such files.
    bool isOfDatabase() const {
        return kind == Kind::kJournal || kind == Kind::kTable || kind == Kind::kCopy;
    }
};

}  // namespace Kalt::Vemo::Tool
