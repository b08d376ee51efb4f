#include "Query.h"

#include <optional>
#include <utility>
#include <vector>

#include "DatabaseException.h"
#include "EngineErrors.h"
#include "EngineLog.h"
#include "RecordReader.h"
#include "RecordScan.h"
#include "ResultRows.h"
#include "TableMetaData.h"
#include "TableStore.h"
#include "Utils.h"
#include "WhereClause.h"

namespace Kalt::Vemo::Core::Database::Filedb {

namespace {

constexpr const char* kLogTag = "FileDatabase";

// What a select list asks for. Every "*" stands for the first `starWidth` columns.
struct Selection {
    struct Item {
        bool isStar;
        std::size_t column;
    };
    std::vector<Item> items;
    std::size_t starWidth = 0;
    std::vector<std::string> labels;
};

Selection parseSelection(const TableMetaData& metaData, const std::vector<std::string>& pieces) {
    const std::vector<std::string>& names = metaData.columnNames();
    Selection selection;
    selection.starWidth = names.size();
    selection.items.reserve(pieces.size());
    selection.labels.reserve(pieces.size());
    for (const std::string& piece : pieces) {
        if (Utils::trimmed(piece) == "*") {
            // Each "*" makes all rows one column narrower, also under the labels of an earlier "*".
            if (!metaData.hasAliasPrimaryKey() && selection.starWidth > 0) {
                --selection.starWidth;
            }
            for (std::size_t column = 0; column < selection.starWidth; ++column) {
                selection.labels.push_back(names[column]);
            }
            selection.items.push_back({true, 0});
        } else {
            std::string name = Utils::validateColumnName(piece);
            const bool isAlias = metaData.hasAliasPrimaryKey() && name == kRowIdColumn;
            selection.items.push_back(
                {false,
                 Utils::getColumnNameIndex(isAlias ? metaData.primaryKeyColumns().front() : name, names)});
            selection.labels.push_back(std::move(name));
        }
    }
    return selection;
}

void logResult(const ResultRows& result) {
    const std::size_t width = result.cellsPerRow();
    for (std::size_t row = 0; row < static_cast<std::size_t>(result.rowCount()); ++row) {
        for (std::size_t column = 0; column < width; ++column) {
            const std::string_view cell = result.cell(row, column);
            FILEDB_LOG(kLogTrace, "ResultSet[%d][%d](%s)=%.*s", static_cast<int>(row),
                       static_cast<int>(column), result.label(column).c_str(), static_cast<int>(cell.size()),
                       cell.data());
        }
    }
}

}  // namespace

std::unique_ptr<ResultRows> selectRows(TableStore& store, const std::string& statement,
                                       const SqlText::Select& select, const Values& values) {
    std::optional<TableSource> table =
        store.openForQuery(store.locate(Utils::validateColumnName(select.table)));
    if (!table) {
        throw DatabaseException("executeQuery", __LINE__, "DB Error: Table does not exists...");
    }
    TableMetaData& metaData = table->readMetaData();
    FILEDB_LOG(kLogTrace, "%s", "Parsing of SELECT Column..");
    Selection selection = parseSelection(metaData, SqlText::splitItems(statement, select));
    auto result = std::make_unique<ResultRows>(std::move(selection.labels));
    WhereClause where(metaData);
    if (select.condition) {
        where.parseWhereClause(statement, select.condition->first, 0, values);
    }

    RecordReader& reader = table->records();
    RecordScan scan(reader, where, table->version());
    while (scan.next()) {
        if (!scan.isMatch()) {
            continue;
        }
        const std::vector<std::string_view>& record = reader.fields();
        result->startRow(reader.line().size() + (select.condition ? 0 : reader.remaining()));
        for (const Selection::Item& item : selection.items) {
            const std::size_t end = item.isStar ? selection.starWidth : item.column + 1;
            if (end > record.size()) {
                throw shortRecordError("executeQuery");
            }
            for (std::size_t column = item.isStar ? 0 : item.column; column < end; ++column) {
                result->addCell(record[column]);
            }
        }
        result->finishRow();
    }
    logResult(*result);
    return result;
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
