#include "transfer/StoredTable.h"

#include "RecordReader.h"
#include "TableFormat.h"
#include "Utils.h"
#include "console/ExitStatus.h"
#include "console/Printable.h"
#include "files/RawFile.h"
#include "sql/Literals.h"
#include "sql/StoredForm.h"

namespace Kalt::Vemo::Tool {

using namespace Core::Database::Filedb;

namespace {

constexpr std::size_t kMetaLineCount = 3;

Cell shownCell(const Column& column, std::string_view field) {
    if (field == kNullWord) {
        return std::nullopt;
    }
    return shownValue(column, Utils::removeSingleQuote(std::string(field)));
}

}  // namespace

StoredTable::StoredTable(const std::string& directory, const std::string& table) {
    const std::string fileName = directory + "/" + table + kTableSuffix;
    RawFile file = isPossibleName(table) ? RawFile::read(fileName) : RawFile();
    if (!file.exists()) {
        throw Failure("no such table: " + table);
    }
    if (!file.isRegular()) {
        throw Trouble(fileName + ": " + file.problem);
    }
    schema_ = readSchema(table, fileName);
    text_ = std::move(file.text);
    for (std::size_t line = 0; line < kMetaLineCount; ++line) {
        definitionLength_ = text_.find('\n', definitionLength_) + 1;
    }
}

std::vector<Column> StoredTable::storedColumns() const {
    std::vector<Column> columns = schema_.columns;
    if (schema_.hasHiddenRowId) {
        columns.push_back({kRowIdColumn, Column::Type::kInteger, false, true});
    }
    return columns;
}

void StoredTable::forEachRecord(const TakeRecord& take) const {
    RecordReader reader(std::string_view(text_).substr(definitionLength_));
    for (std::size_t line = kMetaLineCount + 1; reader.next(); ++line) {
        take(reader.fields(), line);
    }
}

ResultSet StoredTable::rows(bool withRowIds) const {
    ResultSet result{withRowIds ? storedColumns() : schema_.columns, {}};
    forEachRecord([&](const std::vector<std::string_view>& fields, std::size_t line) {
        if (fields.size() < result.columns.size()) {
            throw Failure("table " + schema_.name + ", line " + std::to_string(line) +
                          " of its file: the record has fewer fields than the table has columns; run filedb "
                          "check");
        }
        std::vector<Cell> cells;
        cells.reserve(result.columns.size());
        for (std::size_t i = 0; i < result.columns.size(); ++i) {
            cells.push_back(shownCell(result.columns[i], fields[i]));
        }
        result.rows.push_back(std::move(cells));
    });
    return result;
}

}  // namespace Kalt::Vemo::Tool
