#include "TableVersion.h"

#include <algorithm>
#include <new>
#include <utility>

#include "RecordReader.h"
#include "TableFormat.h"
#include "TableMetaData.h"

namespace Kalt::Vemo::Core::Database::Filedb {

Buffer TableVersion::previous() && {
    if (auto* const whole = std::get_if<Buffer>(&*undo)) {
        return std::move(*whole);
    }
    // A buffer keeps its room when it shrinks, so there is room for what was removed.
    const Edit& edit = std::get<Edit>(*undo);
    text.replace(edit.position, edit.length, edit.removed);
    return std::move(text);
}

TableMetaData& TableVersion::readMetaData() {
    if (metaData != nullptr) {
        static_cast<void>(metaData->isAliasPrimaryKey());  // logs what reading it logs
        return *metaData;
    }
    auto read = std::make_shared<TableMetaData>(nullptr);
    RecordReader reader(text.view());
    read->readTableMetaData(reader);
    recordsStart = text.size() - reader.unread().size();
    metaData = std::move(read);
    return *metaData;
}

const RowIndex* TableVersion::rowIndex() {
    if (!rows && fitsIndex && mayHaveIndex() && metaData->wasWellFormed()) {
        const std::vector<std::string>& names = metaData->columnNames();
        const auto idColumn = static_cast<std::size_t>(
            std::find(names.begin(), names.end(), metaData->idColumn()) - names.begin());
        try {
            rows = RowIndex::of(text.view(), recordsStart, names.size(), idColumn, indexRoom);
        } catch (const std::bad_alloc&) {
            return nullptr;  // the records are read one after the other
        }
        fitsIndex = rows.has_value();
        if (rows) {
            wellFormedRecords = static_cast<int>(rows->size());
        }
    }
    return rows ? &*rows : nullptr;
}

std::size_t TableVersion::bytes() const {
    return text.size() + text.room() + indexBytes() + definitionBytes();
}

// What the definition takes at most, whether it was read or not: a text that is kept does not grow by it.
std::size_t TableVersion::definitionBytes() const {
    constexpr int kLines = 3;
    constexpr std::size_t kFactor = 8;  // a name of some letters becomes a string, and its flag another
    const std::string_view start = text.view().substr(0, kLines * kMaxLineLength);
    std::size_t end = 0;
    for (int line = 0; line < kLines && end < start.size(); ++line) {
        end = std::min(start.find('\n', end), start.size() - 1) + 1;
    }
    return kFactor * end;
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
