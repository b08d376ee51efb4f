#include "StatementRewriter.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "ExitStatus.h"
#include "TableMetaData.h"
#include "TokenCursor.h"

namespace Kalt::Vemo::Tool {

using Core::Database::Value;

namespace {

using Kind = EngineStatement::Kind;

Column requireColumn(const TableSchema& schema, const std::string& name) {
    std::optional<Column> column = schema.find(name);
    if (!column) {
        throw Failure("table " + schema.name + " has no column " + name);
    }
    return *column;
}

// A column that can be written: not the hidden ROWID, and not named before.
Column requireWritable(const TableSchema& schema, const std::string& name, const std::vector<Column>& named) {
    Column column = requireColumn(schema, name);
    if (column.isRowId) {
        throw Failure("the ROWID of table " + schema.name + " is given by the engine; it cannot be set");
    }
    if (std::any_of(named.begin(), named.end(),
                    [&column](const Column& other) { return other.name == column.name; })) {
        throw Failure("column " + column.name + " is named twice");
    }
    return column;
}

Condition optionalCondition(TokenCursor& cursor, const TableSchema& schema) {
    Condition condition = cursor.accept("WHERE") ? Condition(cursor, schema) : Condition();
    for (const char* clause : {"ORDER", "GROUP", "LIMIT", "HAVING"}) {
        if (cursor.peek().is(clause)) {
            throw Failure("the engine has no " + std::string(clause) +
                          "; it gives the rows in the order of the file");
        }
    }
    cursor.expectEnd();
    return condition;
}

void append(std::vector<Value>& values, const std::vector<Value>& more) {
    values.insert(values.end(), more.begin(), more.end());
}

// A value that the check of any value for this column accepts.
std::string acceptableValue(const Column& column) {
    return column.type == Column::Type::kText ? "''" : "0";
}

}  // namespace

EngineStatement StatementRewriter::rewrite(std::string_view statement) const {
    TokenCursor cursor(lexStatement(statement));
    if (cursor.atEnd()) {
        return {};
    }
    for (const auto& [keyword, kind] :
         {std::pair{"BEGIN", Kind::kBegin}, std::pair{"COMMIT", Kind::kCommit},
          std::pair{"END", Kind::kCommit}, std::pair{"ROLLBACK", Kind::kRollback}}) {
        if (cursor.accept(keyword)) {
            static_cast<void>(cursor.accept("TRANSACTION"));
            cursor.expectEnd();
            EngineStatement result;
            result.kind = kind;
            return result;
        }
    }
    using Rewrite = EngineStatement (StatementRewriter::*)(TokenCursor&) const;
    const std::initializer_list<std::pair<const char*, Rewrite>> statements{
        {"SELECT", &StatementRewriter::rewriteSelect}, {"INSERT", &StatementRewriter::rewriteInsert},
        {"UPDATE", &StatementRewriter::rewriteUpdate}, {"DELETE", &StatementRewriter::rewriteDelete},
        {"CREATE", &StatementRewriter::rewriteCreate}, {"DROP", &StatementRewriter::rewriteDrop}};
    for (const auto& [keyword, rewrite] : statements) {
        if (cursor.accept(keyword)) {
            return (this->*rewrite)(cursor);
        }
    }
    if (cursor.accept("ALTER")) {
        throw Failure(
            "the engine only checks an ALTER TABLE and changes nothing; create a table with the new "
            "column, and copy the rows with export and import");
    }
    cursor.refuse("SELECT, INSERT, UPDATE, DELETE, CREATE TABLE, DROP TABLE, BEGIN, COMMIT or ROLLBACK");
}

EngineStatement StatementRewriter::rewriteSelect(TokenCursor& cursor) const {
    std::vector<std::string> items;
    do {
        items.push_back(cursor.acceptSymbol("*") ? "*" : cursor.expectName("the name of a column or *"));
        if (cursor.peek().isSymbol("(")) {
            throw Failure("the engine has no functions, as " + items.back() + "(); name columns");
        }
    } while (cursor.acceptSymbol(","));
    cursor.expect("FROM");

    EngineStatement result;
    result.kind = Kind::kQuery;
    result.table = cursor.expectName("the name of a table");
    const TableSchema schema = schemaOf_(result.table);
    std::string list;
    for (const std::string& item : items) {
        if (item == "*") {
            result.columns.insert(result.columns.end(), schema.columns.begin(), schema.columns.end());
        } else {
            result.columns.push_back(requireColumn(schema, item));
        }
    }
    for (const Column& column : result.columns) {
        list += (list.empty() ? "" : ", ") + column.name;
    }
    const Condition condition = optionalCondition(cursor, schema);
    result.text = "SELECT " + list + " FROM " + result.table + condition.text() + ";";
    result.values = condition.values();
    return result;
}

EngineStatement StatementRewriter::rewriteInsert(TokenCursor& cursor) const {
    cursor.expect("INTO");
    const std::string table = cursor.expectName("the name of a table");
    const TableSchema schema = schemaOf_(table);
    std::vector<Column> columns = schema.columns;
    if (cursor.acceptSymbol("(")) {
        columns.clear();
        do {
            columns.push_back(requireWritable(schema, cursor.expectName("the name of a column"), columns));
        } while (cursor.acceptSymbol(","));
        cursor.expectSymbol(")");
    }
    cursor.expect("VALUES");
    cursor.expectSymbol("(");
    std::vector<Literal> literals;
    do {
        literals.push_back(cursor.expectLiteral());
    } while (cursor.acceptSymbol(","));
    cursor.expectSymbol(")");
    if (cursor.peek().isSymbol(",")) {
        throw Failure("INSERT takes one row; write a statement for each");
    }
    cursor.expectEnd();
    if (literals.size() != columns.size()) {
        throw Failure(std::to_string(literals.size()) + " values for " + std::to_string(columns.size()) +
                      " columns of table " + table);
    }
    return insertion(table, columns, literals);
}

EngineStatement StatementRewriter::insertion(const std::string& table, const std::vector<Column>& columns,
                                             const std::vector<Literal>& literals) {
    EngineStatement result;
    result.kind = Kind::kChange;
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

EngineStatement StatementRewriter::rewriteUpdate(TokenCursor& cursor) const {
    EngineStatement result;
    result.kind = Kind::kChange;
    result.table = cursor.expectName("the name of a table");
    cursor.expect("SET");
    const TableSchema schema = schemaOf_(result.table);
    std::vector<Column> targets;
    std::vector<std::string> stored;
    do {
        targets.push_back(requireWritable(schema, cursor.expectName("the name of a column"), targets));
        cursor.expectSymbol("=");
        stored.push_back(storedLiteral(targets.back(), cursor.expectLiteral()));
    } while (cursor.acceptSymbol(","));
    const Condition condition = optionalCondition(cursor, schema);

    const auto targetOf = [&targets](const Column& column) {
        const auto found = std::find_if(targets.begin(), targets.end(),
                                        [&](const Column& target) { return target.name == column.name; });
        return static_cast<std::size_t>(found - targets.begin());
    };
    std::size_t last = schema.columns.size();
    while (targetOf(schema.columns[last - 1]) == targets.size()) {
        --last;
    }
    std::string list;
    for (std::size_t i = 0; i < last; ++i) {
        const Column& place = schema.columns[i];
        const std::size_t target = targetOf(place);
        const bool isSet = target < targets.size();
        list += (i == 0 ? "" : ", ") + (isSet ? place : schema.columns[last - 1]).name + "=?";
        result.values.push_back(boundForm(place, isSet ? stored[target] : acceptableValue(place)));
    }
    result.text = "UPDATE " + result.table + " SET " + list + condition.text() + ";";
    append(result.values, condition.values());
    return result;
}

EngineStatement StatementRewriter::rewriteDelete(TokenCursor& cursor) const {
    cursor.expect("FROM");
    EngineStatement result;
    result.kind = Kind::kChange;
    result.table = cursor.expectName("the name of a table");
    const Condition condition = optionalCondition(cursor, schemaOf_(result.table));
    result.text = "DELETE FROM " + result.table + condition.text() + ";";
    result.values = condition.values();
    return result;
}

EngineStatement StatementRewriter::rewriteCreate(TokenCursor& cursor) const {
    cursor.expect("TABLE");
    EngineStatement result;
    result.kind = Kind::kChange;
    result.text = "CREATE TABLE ";
    if (cursor.accept("IF")) {
        cursor.expect("NOT");
        cursor.expect("EXISTS");
        result.text += "IF NOT EXISTS ";
    }
    result.table = cursor.expectName("the name of a table");
    cursor.expectSymbol("(");
    result.text += result.table + " (";
    // Only the words' spelling matters here; which definitions there are is the engine's to say.
    int depth = 1;
    bool startsDefinition = true;
    bool followsWord = false;
    while (depth > 0) {
        const SqlToken token = cursor.take();
        const bool isWord = token.kind == SqlToken::Kind::kWord || token.kind == SqlToken::Kind::kName;
        if (!isWord && !token.isSymbol("(") && !token.isSymbol(")") && !token.isSymbol(",")) {
            throw Failure(token.kind == SqlToken::Kind::kEnd
                              ? "expected \")\", found the end of the statement"
                              : "a definition cannot hold " + Tool::quoted(token.text));
        }
        depth += token.isSymbol("(") ? 1 : token.isSymbol(")") ? -1 : 0;
        const bool isConstraint = token.is("PRIMARY") || token.is("FOREIGN") || token.is("CHECK");
        const bool isColumn = startsDefinition && !isConstraint && depth == 1;
        // No blank next to a bracket or a comma: the engine wants "PRIMARY KEY(a,b)".
        result.text += isWord && followsWord ? " " : "";
        result.text += token.kind == SqlToken::Kind::kWord && !isColumn && depth == 1 ? upperCase(token.text)
                                                                                      : token.text;
        followsWord = isWord;
        startsDefinition = token.isSymbol(",") && depth == 1;
    }
    cursor.expectEnd();
    result.text += ";";
    return result;
}

EngineStatement StatementRewriter::rewriteDrop(TokenCursor& cursor) const {
    cursor.expect("TABLE");
    const bool ifExists = cursor.accept("IF");
    if (ifExists) {
        cursor.expect("EXISTS");
    }
    EngineStatement result;
    result.table = cursor.expectName("the name of a table");
    cursor.expectEnd();
    if (!ifExists || exists_(result.table)) {
        result.kind = Kind::kChange;
        result.text = "DROP TABLE " + result.table + ";";
        result.isDrop = true;
    }
    return result;
}

}  // namespace Kalt::Vemo::Tool
