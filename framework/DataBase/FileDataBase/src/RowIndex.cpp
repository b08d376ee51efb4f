#include "RowIndex.h"

#include <algorithm>
#include <limits>

#include "Comparison.h"
#include "RecordReader.h"
#include "TableFormat.h"

namespace Kalt::Vemo::Core::Database::Filedb {

static_assert(kMaxLineLength <= std::numeric_limits<std::uint16_t>::max());

std::optional<RowIndex> RowIndex::of(std::string_view text, std::size_t recordsStart, std::size_t columns,
                                     std::size_t idColumn, std::size_t room) {
    if (text.size() > std::numeric_limits<std::uint32_t>::max() || idColumn >= columns) {
        return std::nullopt;
    }
    RowIndex index(columns, idColumn, room);
    std::uint64_t last = 0;
    RecordReader reader(text.substr(recordsStart));
    while (reader.next()) {
        const auto position = static_cast<std::size_t>(reader.line().data() - text.data());
        const std::optional<Row> row = index.rowOf(reader, position);
        if (!row || !index.makeRoom()) {
            return std::nullopt;
        }
        index.rows_.push_back(*row);
        const std::uint64_t id = index.number(text, index.size() - 1);
        if (index.size() > 1 && id <= last) {
            return std::nullopt;
        }
        last = id;
    }
    return index;
}

// The entry of a record that the index fits.
std::optional<RowIndex::Row> RowIndex::rowOf(RecordReader& record, std::size_t position) const {
    if (!record.isWellFormed() || record.fields().size() != columns_) {
        return std::nullopt;
    }
    const std::string_view id = record.fields()[idColumn_];
    if (!plainNumber(id)) {
        return std::nullopt;
    }
    return Row{static_cast<std::uint32_t>(position),
               static_cast<std::uint16_t>(id.data() - record.line().data()),
               static_cast<std::uint16_t>(id.size())};
}

// For one row more. Grows by an eighth, as the text does.
bool RowIndex::makeRoom() {
    constexpr std::size_t kFewRows = 16;
    if (rows_.size() < rows_.capacity()) {
        return true;
    }
    const std::size_t rows = rows_.size() + std::max(rows_.size() / 8, kFewRows);
    if (rows * sizeof(Row) > room_) {
        return false;
    }
    rows_.reserve(rows);
    return true;
}

std::uint64_t RowIndex::number(std::string_view text, std::size_t row) const {
    return plainNumber(id(text, row)).value_or(0);
}

std::optional<std::size_t> RowIndex::find(std::string_view text, std::uint64_t id) const {
    const auto found =
        std::lower_bound(rows_.begin(), rows_.end(), id, [&](const Row& row, std::uint64_t wanted) {
            return number(text, static_cast<std::size_t>(&row - rows_.data())) < wanted;
        });
    const auto row = static_cast<std::size_t>(found - rows_.begin());
    return row < size() && number(text, row) == id ? std::make_optional(row) : std::nullopt;
}

// The first row that begins there or later.
std::size_t RowIndex::rowAt(std::size_t position) const {
    const auto found = std::lower_bound(rows_.begin(), rows_.end(), position,
                                        [](const Row& row, std::size_t wanted) { return row.line < wanted; });
    return static_cast<std::size_t>(found - rows_.begin());
}

bool RowIndex::follow(std::string_view text, std::size_t position, std::size_t removed,
                      std::size_t inserted) {
    if (text.size() > std::numeric_limits<std::uint32_t>::max()) {
        return false;
    }
    const std::size_t first = rowAt(position);
    const std::size_t end = rowAt(position + removed);
    std::optional<Row> row;
    if (inserted > 0) {
        RecordReader reader(text.substr(position, inserted));
        row = reader.next() ? rowOf(reader, position) : std::nullopt;
        if (!row || reader.line().size() != inserted) {
            return false;
        }
    }
    const auto at = [this](std::size_t index) { return rows_.begin() + static_cast<std::ptrdiff_t>(index); };
    rows_.erase(at(first), at(end));
    for (auto later = at(first); later != rows_.end(); ++later) {
        later->line = static_cast<std::uint32_t>(later->line + inserted - removed);
    }
    if (!row) {
        return true;
    }
    if (!makeRoom()) {
        return false;
    }
    rows_.insert(at(first), *row);
    const std::uint64_t id = number(text, first);
    return (first == 0 || number(text, first - 1) < id) &&
           (first + 1 == size() || id < number(text, first + 1));
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
