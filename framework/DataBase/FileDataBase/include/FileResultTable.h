#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "IResultTable.h"

namespace Kalt::Vemo::Core::Database::Filedb {

/// The result of a query: the selected cells as they are stored, a cursor, and getters that convert on each
/// read. IResultTable tells what every call does.
class VEMO_DATABASE_EXPORT FileResultTable : public IResultTable {
public:
    FileResultTable();
    ~FileResultTable() override;

    int getCount() override;
    bool next() override;
    bool wasNull() override;
    std::string getString(int columnIndex) override;
    std::string getString(const std::string& columnLabel) override;
    bool getBoolean(int columnIndex) override;
    bool getBoolean(const std::string& columnLabel) override;
    signed char getByte(int columnIndex) override;
    signed char getByte(const std::string& columnLabel) override;
    short getShort(int columnIndex) override;
    short getShort(const std::string& columnLabel) override;
    int getInt(int columnIndex) override;
    int getInt(const std::string& columnLabel) override;
    std::int64_t getLong(int columnIndex) override;
    std::int64_t getLong(const std::string& columnLabel) override;
    float getDouble(int columnIndex) override;
    float getDouble(const std::string& columnLabel) override;

private:
    friend class FileDatabase;

    /// The query fills a result in this order: reserve() and all labels; for each row startRow() with about
    /// the length of all cells that are still to come, the cells and rowFinished().
    void reserve(std::size_t labels);
    void addLabel(std::string label);
    void startRow(std::size_t size);
    void addCell(std::string_view cell) {
        cells_.append(cell);
        cellEnds_.push_back(cells_.size());
    }
    void rowFinished() {
        if (rowCount_ == 0) {
            cellsPerRow_ = cellEnds_.size();
        }
        ++rowCount_;
    }

    template <typename Integer>
    Integer readInteger(int columnIndex);

    int getColumnLabelIndex(const std::string& columnLabel) const;
    bool readCheckNullness(int columnIndex);
    std::string_view cell(std::size_t row, std::size_t column) const {
        const std::size_t index = row * cellsPerRow_ + column;
        const std::size_t begin = index == 0 ? 0 : cellEnds_[index - 1];
        return {cells_.data() + begin, cellEnds_[index] - begin};
    }

    int rowCount_ = 0;
    int columnCount_ = 0;
    int cursor_ = 0;
    bool wasNull_ = false;
    std::vector<std::string> columnLabels_;
    /// All cells, row after row, in one text; cell i ends before cellEnds_[i]. Every row has the same number
    /// of cells, which is smaller than the number of labels when a select list named "*" twice.
    std::string cells_;
    std::vector<std::size_t> cellEnds_;
    std::size_t cellsPerRow_ = 0;
    std::string_view currentValue_;  // the cell read last, in cells_, without its quotes
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
