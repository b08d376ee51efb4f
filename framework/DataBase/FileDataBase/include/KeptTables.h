#pragma once

#include <cstddef>
#include <list>
#include <optional>

#include "KnownFile.h"
#include "TableVersion.h"

namespace Kalt::Vemo::Core::Database::Filedb {

/// The texts of the tables that were read or written last, so that the next statement need not read them
/// again. A text counts only as long as its file is provably unchanged. All texts together, with what was
/// found out about them, stay within a bound, and there are few of them; those that were not used for the
/// longest time go first.
///
/// Two names of one file share its text: what is kept is a file's, not a name's.
///
/// Threads: calls come under the database's lock.
///
///     if (TableVersion* const version = kept.find(files.read(file))) { use(version->text.view()); }
class KeptTables {
public:
    explicit KeptTables(std::size_t bound) : bound_(bound) {}
    KeptTables(const KeptTables&) = delete;
    KeptTables& operator=(const KeptTables&) = delete;

    /// Begins anew with another bound, in bytes; 0: nothing is kept.
    void setBound(std::size_t bytes);

    void clear() { entries_.clear(); }

    /// Whether a text of this size can be kept.
    bool takes(std::size_t textSize) const;

    /// Lets the text have an index, as large as the bound allows.
    void allowIndex(TableVersion& version) const;

    /// The text of the file, as it looks now; null when it is not kept. Valid until the next call of keep(),
    /// take() or clear().
    [[nodiscard]] TableVersion* find(const KnownFile& file);

    /// Moves the text of the file to the caller, who is about to change the table.
    [[nodiscard]] std::optional<TableVersion> take(const KnownFile& file);

    /// Drops the text of a file.
    void forget(const FileIdentity& file);

    /// Keeps the text of a file.
    ///
    /// @return as find(); null when it is too large, the file cannot be known again, or memory is refused
    TableVersion* keep(const KnownFile& file, TableVersion version);

private:
    struct Entry {
        KnownFile file;
        TableVersion version;
        std::size_t ownBytes;  // all but the index, which a statement may make later
    };
    using Entries = std::list<Entry>;

    Entries::iterator entryOf(const FileIdentity& file);
    static std::size_t ownBytes(const TableVersion& version);
    void trim();

    std::size_t bound_;
    Entries entries_;  // the one that was used last is the first
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
