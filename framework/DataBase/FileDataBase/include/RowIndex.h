#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace Kalt::Vemo::Core::Database::Filedb {

class RecordReader;

/// Where each record of a table's text begins, and where its id stands in it: finds a row by its id without a
/// scan. It fits a text whose lines are all as a writer stores them, with one field for each column, and
/// whose ids are plain digits in strictly ascending order.
///
///     metadata, three lines
///     'a'~'b'~1          row 0
///     'c'~NULL~7         row 1
///
/// Lifetime: it holds positions, not the text. Whoever changes the text calls follow(), or drops the index.
class RowIndex {
public:
    /// The index of a text; nothing for one that it does not fit.
    ///
    /// @param recordsStart position of the first record
    /// @param columns      number of the table's columns
    /// @param idColumn     the column that holds the ids, counted from 0
    /// @param room         how many bytes the index may take
    [[nodiscard]] static std::optional<RowIndex> of(std::string_view text, std::size_t recordsStart,
                                                    std::size_t columns, std::size_t idColumn,
                                                    std::size_t room);

    std::size_t size() const { return rows_.size(); }

    /// Position of the record in the text.
    std::size_t position(std::size_t row) const { return rows_[row].line; }

    /// The record's id, as it stands in the text.
    std::string_view id(std::string_view text, std::size_t row) const {
        const Row& entry = rows_[row];
        return {text.data() + entry.line + entry.idOffset, entry.idLength};
    }

    /// The row with this id.
    [[nodiscard]] std::optional<std::size_t> find(std::string_view text, std::uint64_t id) const;

    /// Adjusts the index to a change of the text: from `position` on, `removed` bytes gave way to `inserted`
    /// others, in whole lines.
    ///
    /// @param text the text after the change
    /// @return false when the index does not fit the text any more
    [[nodiscard]] bool follow(std::string_view text, std::size_t position, std::size_t removed,
                              std::size_t inserted);

    /// Number of bytes that the rows take.
    std::size_t bytes() const { return rows_.capacity() * sizeof(Row); }

private:
    struct Row {
        std::uint32_t line;
        std::uint16_t idOffset;  // from the line's start
        std::uint16_t idLength;
    };

    RowIndex(std::size_t columns, std::size_t idColumn, std::size_t room)
        : columns_(columns), idColumn_(idColumn), room_(room) {}

    std::optional<Row> rowOf(RecordReader& record, std::size_t position) const;
    bool makeRoom();
    std::uint64_t number(std::string_view text, std::size_t row) const;
    std::size_t rowAt(std::size_t position) const;

    std::size_t columns_;
    std::size_t idColumn_;
    std::size_t room_;
    std::vector<Row> rows_;
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
