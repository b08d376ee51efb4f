#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "Buffer.h"
#include "File.h"
#include "RowIndex.h"

namespace Kalt::Vemo::Core::Database::Filedb {

class TableMetaData;

/// One change of a text: `length` bytes now stand at `position` in the place of `removed`.
struct Edit {
    std::size_t position;
    std::size_t length;
    std::string removed;
};

/// The whole text of a table file, and what is known of it.
struct TableVersion {
    TableVersion() = default;
    explicit TableVersion(Buffer content) : text(std::move(content)) {}

    /// The table's definition, from the first three lines. Every call logs and throws as
    /// TableMetaData::readTableMetaData, but only the first one reads.
    TableMetaData& readMetaData();

    /// The lines of the records. Requires: readMetaData() was called.
    std::string_view recordText() const { return text.view().substr(recordsStart); }

    /// The index of the rows by their ids; null when the text has none. Requires: readMetaData() was called.
    [[nodiscard]] const RowIndex* rowIndex();
    bool mayHaveIndex() const { return indexRoom > 0; }

    /// Number of bytes of memory that the index takes, that all takes, and the definition of it.
    std::size_t indexBytes() const { return rows ? rows->bytes() : 0; }
    std::size_t bytes() const;
    std::size_t definitionBytes() const;

    /// The text that this one was made of. Needs no memory. Requires: undo.
    [[nodiscard]] Buffer previous() &&;

    Buffer text;
    /// The text that this one was made of: as a whole, or as the one change. Nothing for a text that was made
    /// of no other.
    std::optional<std::variant<Buffer, Edit>> undo;
    Difference difference;  ///< to the version that it was made of

    std::shared_ptr<TableMetaData> metaData;  ///< once it was read
    std::size_t recordsStart = 0;             ///< the first position after it
    std::optional<int> wellFormedRecords;     ///< their number, once all are known to be well-formed lines
    std::size_t indexRoom = 0;                ///< how many bytes `rows` may take; 0: there shall be none
    std::optional<RowIndex> rows;             ///< once it was needed
    bool fitsIndex = true;                    ///< false when it could not be made
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
