#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "transfer/StoredTable.h"

namespace Kalt::Vemo::Tool {

/// A table that rows are added to, in memory. The text becomes what INSERT statements of the engine would
/// make of it, but a row costs the same however large the table is. Records that are there stay as they are,
/// byte for byte.
class GrowingTable {
public:
    explicit GrowingTable(const StoredTable& table);

    /// Adds a row.
    ///
    /// @param values the visible columns' values in the stored form
    /// @param rowId the hidden ROWID; nothing for the one that the engine would give. Ignored when the table
    ///              has none.
    /// Throws: Failure, with the engine's text where the engine has one; nothing is added then.
    void add(std::vector<std::string> values, std::optional<std::uint64_t> rowId);

    std::size_t addedRows() const { return added_.size(); }

    /// The whole file.
    std::string text() const;

private:
    struct AddedLine {
        std::uint64_t rowId;
        std::string line;
    };

    void noteRecord(const std::vector<std::string_view>& fields);
    std::uint64_t nextRowId();
    std::string keyOf(const std::vector<std::string_view>& values) const;

    const StoredTable& table_;
    const std::vector<Column> columns_;
    std::vector<std::size_t> key_;  // positions of the key's columns
    std::unordered_set<std::string> keys_;
    std::unordered_set<std::uint64_t> rowIds_;
    std::uint64_t largestRowId_ = 0;
    std::uint64_t firstFree_ = 1;  // no free ROWID is below
    std::vector<AddedLine> added_;
};

}  // namespace Kalt::Vemo::Tool
