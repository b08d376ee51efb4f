#include "sql/StatementBuilder.h"

#include <algorithm>

namespace Kalt::Vemo::Tool {

namespace {

// A value that the check of any value for this column accepts.
std::string acceptableValue(const Column& column) {
    return column.type == Column::Type::kText ? "''" : "0";
}

EngineStatement change(const TableSchema& schema, std::string text) {
    EngineStatement result;
    result.kind = EngineStatement::Kind::kChange;
    result.table = schema.name;
    result.text = std::move(text);
    return result;
}

void addCondition(EngineStatement& statement, RowRange range, bool isPlain) {
    if (range.first == range.last && isPlain) {
        statement.text += " WHERE ROWID = ?;";
        statement.values.emplace_back(range.first);
        return;
    }
    statement.text += " WHERE ROWID >= ? AND ROWID <= ?;";
    statement.values.emplace_back(range.first);
    statement.values.emplace_back(range.last);
}

}  // namespace

EngineStatement StatementBuilder::insertion(const std::string& table, const std::vector<Column>& columns,
                                            const std::vector<Literal>& literals) {
    EngineStatement result;
    result.kind = EngineStatement::Kind::kChange;
    result.table = table;
    std::string names;
    std::string holders;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const std::string stored = storedLiteral(columns[i], literals[i]);
        names += (i == 0 ? "" : ", ") + columns[i].name;
        holders += i == 0 ? "?" : ", ?";
        result.values.push_back(boundForm(columns[i], stored));
    }
    result.text = "INSERT INTO " + table + " (" + names + ") VALUES (" + holders + ");";
    return result;
}

EngineStatement StatementBuilder::update(const TableSchema& schema,
                                         const std::vector<Assignment>& assignments, RowRange range,
                                         bool isPlain) {
    const std::size_t last = std::max_element(assignments.begin(), assignments.end(),
                                              [](const Assignment& left, const Assignment& right) {
                                                  return left.column < right.column;
                                              })
                                 ->column;
    EngineStatement result = change(schema, "UPDATE " + schema.name + " SET ");
    for (std::size_t i = 0; i <= last; ++i) {
        const Column& place = schema.columns[i];
        const auto found = std::find_if(assignments.begin(), assignments.end(),
                                        [i](const Assignment& each) { return each.column == i; });
        const bool isSet = found != assignments.end();
        result.text += (i == 0 ? "" : ", ") + (isSet ? place : schema.columns[last]).name + "=?";
        result.values.push_back(boundForm(place, isSet ? found->stored : acceptableValue(place)));
    }
    addCondition(result, range, isPlain);
    return result;
}

EngineStatement StatementBuilder::deletion(const TableSchema& schema, RowRange range, bool isPlain) {
    EngineStatement result = change(schema, "DELETE FROM " + schema.name);
    addCondition(result, range, isPlain);
    return result;
}

EngineStatement StatementBuilder::reading(const TableSchema& schema) {
    EngineStatement result;
    result.kind = EngineStatement::Kind::kQuery;
    result.table = schema.name;
    result.columns = schema.columns;
    // "*" and no list: a list would end at a column whose name ends in FROM.
    result.text = "SELECT *";
    if (schema.hasHiddenRowId) {
        result.columns.push_back(*schema.find("ROWID"));
        result.text += ", ROWID";
    }
    result.text += " FROM " + schema.name + ";";
    return result;
}

EngineStatement StatementBuilder::reading(const TableSchema& schema, std::uint64_t rowId) {
    EngineStatement result = reading(schema);
    result.text.pop_back();
    addCondition(result, {rowId, rowId}, true);
    return result;
}

}  // namespace Kalt::Vemo::Tool
