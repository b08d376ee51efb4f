#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Kalt::Vemo::Core::Database::Filedb {

/// The rows of a result: labels, cells as they are stored, and a cursor.
///
/// A query fills each row with startRow(), addCell() for each cell and finishRow().
///
/// Throws: DatabaseException, where a function says so.
class ResultRows {
public:
    explicit ResultRows(std::vector<std::string> labels = {}) : labels_(std::move(labels)) {}

    // Filling

    /// @param size about how many bytes all cells that are still to come have
    void startRow(std::size_t size);
    void addCell(std::string_view cell) {
        cells_.append(cell);
        cellEnds_.push_back(cells_.size());
    }
    void finishRow() {
        if (rowCount_ == 0) {
            cellsPerRow_ = cellEnds_.size();
        }
        ++rowCount_;
    }

    // Reading

    int rowCount() const { return rowCount_; }
    std::size_t cellsPerRow() const { return cellsPerRow_; }
    const std::string& label(std::size_t column) const { return labels_[column]; }

    /// Rows and columns are counted from 0.
    std::string_view cell(std::size_t row, std::size_t column) const {
        const std::size_t index = row * cellsPerRow_ + column;
        const std::size_t begin = index == 0 ? 0 : cellEnds_[index - 1];
        return {cells_.data() + begin, cellEnds_[index] - begin};
    }

    /// Moves the cursor, which at first stands before the first row; false when there is no further row.
    [[nodiscard]] bool next();

    /// The position of the first column with this label, counted from 1.
    ///
    /// Throws: "ResultSet Error: Wrong column Label or rowset is not set", "ResultSet Error: Column Label is
    /// not found in Result column List...".
    [[nodiscard]] int indexOf(const std::string& label) const;

    /// Reads the cell of the cursor's row at `index`, counted from 1, into value() and wasNull().
    ///
    /// @return whether the cell holds a value
    /// Throws: "ResultSet Error: Wrong column Index or rowset is not set".
    [[nodiscard]] bool read(int index);

    /// The cell read last, without its quotes. Valid as long as the object.
    std::string_view value() const { return value_; }
    bool wasNull() const { return wasNull_; }

private:
    std::vector<std::string> labels_;
    /// All cells, row after row, in one text; cell i ends before cellEnds_[i]. Every row has the same number
    /// of cells. There are fewer than labels when a select list named "*" twice.
    std::string cells_;
    std::vector<std::size_t> cellEnds_;
    std::size_t cellsPerRow_ = 0;
    int rowCount_ = 0;
    int cursor_ = 0;
    std::string_view value_;
    bool wasNull_ = false;
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
