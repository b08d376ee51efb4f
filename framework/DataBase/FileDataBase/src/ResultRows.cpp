#include "ResultRows.h"

#include <algorithm>

#include "DatabaseException.h"
#include "TableFormat.h"

namespace Kalt::Vemo::Core::Database::Filedb {

void ResultRows::startRow(std::size_t size) {
    if (rowCount_ == 0) {
        cells_.reserve(size);
        cellEnds_.reserve(labels_.size());
    }
}

bool ResultRows::next() {
    if (cursor_ >= rowCount_) {
        return false;
    }
    ++cursor_;
    return true;
}

int ResultRows::indexOf(const std::string& label) const {
    if (label.empty() || cursor_ < 1) {
        throw DatabaseException("getColumnLabelIndex", __LINE__,
                                "ResultSet Error: Wrong column Label or rowset is not set");
    }
    const auto found = std::find(labels_.begin(), labels_.end(), label);
    if (found == labels_.end()) {
        throw DatabaseException("getColumnLabelIndex", __LINE__,
                                "ResultSet Error: Column Label is not found in Result column List...");
    }
    return static_cast<int>(found - labels_.begin()) + 1;
}

bool ResultRows::read(int index) {
    const auto column = static_cast<std::size_t>(index) - 1;
    if (index < 1 || column >= labels_.size() || cursor_ < 1 || column >= cellsPerRow_) {
        throw DatabaseException("readCheckNullness", __LINE__,
                                "ResultSet Error: Wrong column Index or rowset is not set");
    }
    value_ = cell(static_cast<std::size_t>(cursor_) - 1, column);
    wasNull_ = value_.empty() || value_ == kNullWord;
    if (!wasNull_ && value_.front() == '\'' && value_.back() == '\'') {
        value_ = value_.size() == 1 ? std::string_view() : value_.substr(1, value_.size() - 2);
    }
    return !wasNull_;
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
