#include "sql/DefinitionStatement.h"

#include "console/ExitStatus.h"
#include "sql/TokenCursor.h"

namespace Kalt::Vemo::Tool {

namespace {

bool isWord(const SqlToken& token) {
    return token.kind == SqlToken::Kind::kWord || token.kind == SqlToken::Kind::kName;
}

void requireDefinitionToken(const SqlToken& token) {
    if (isWord(token) || token.isSymbol("(") || token.isSymbol(")") || token.isSymbol(",")) {
        return;
    }
    throw Failure(token.kind == SqlToken::Kind::kEnd
                      ? "expected \")\", found the end of the statement"
                      : "a definition cannot hold " + Tool::quoted(token.text));
}

// What stands behind the opening bracket, up to the one that closes it.
std::string definitionList(TokenCursor& cursor) {
    std::string text;
    int depth = 1;
    bool startsDefinition = true;
    bool followsWord = false;
    while (depth > 0) {
        const SqlToken token = cursor.take();
        requireDefinitionToken(token);
        depth += token.isSymbol("(") ? 1 : token.isSymbol(")") ? -1 : 0;
        const bool isConstraint = token.is("PRIMARY") || token.is("FOREIGN") || token.is("CHECK");
        const bool isColumn = startsDefinition && !isConstraint && depth == 1;
        // No blank next to a bracket or a comma: the engine wants "PRIMARY KEY(a,b)".
        text += isWord(token) && followsWord ? " " : "";
        text += token.kind == SqlToken::Kind::kWord && !isColumn && depth == 1 ? upperCase(token.text)
                                                                               : token.text;
        followsWord = isWord(token);
        startsDefinition = token.isSymbol(",") && depth == 1;
    }
    return text;
}

EngineStatement creation(TokenCursor& cursor) {
    EngineStatement result;
    result.kind = EngineStatement::Kind::kChange;
    result.text = "CREATE TABLE ";
    if (cursor.accept("IF")) {
        cursor.expect("NOT");
        cursor.expect("EXISTS");
        result.text += "IF NOT EXISTS ";
    }
    result.table = cursor.expectName("the name of a table");
    if (cursor.peek().is("AS")) {
        throw Failure(
            "CREATE TABLE ... AS names no types; create the table with its columns, then fill it with "
            "INSERT INTO " +
            result.table + " SELECT ...");
    }
    cursor.expectSymbol("(");
    result.text += result.table + " (" + definitionList(cursor) + ";";
    cursor.expectEnd();
    return result;
}

EngineStatement removal(TokenCursor& cursor, const std::function<bool(const std::string& table)>& exists) {
    const bool ifExists = cursor.accept("IF");
    if (ifExists) {
        cursor.expect("EXISTS");
    }
    EngineStatement result;
    result.table = cursor.expectName("the name of a table");
    cursor.expectEnd();
    if (!ifExists || exists(result.table)) {
        result.kind = EngineStatement::Kind::kChange;
        result.text = "DROP TABLE " + result.table + ";";
        result.isDrop = true;
    }
    return result;
}

}  // namespace

bool isDefinitionStatement(std::string_view statement) {
    const std::vector<std::string> words = leadingWords(statement, 2);
    return words.size() == 2 && (words[0] == "CREATE" || words[0] == "DROP") && words[1] == "TABLE";
}

EngineStatement definitionStatement(std::string_view statement,
                                    const std::function<bool(const std::string& table)>& exists) {
    TokenCursor cursor(lexStatement(statement));
    const bool isCreation = cursor.accept("CREATE");
    if (!isCreation) {
        cursor.expect("DROP");
    }
    cursor.expect("TABLE");
    return isCreation ? creation(cursor) : removal(cursor, exists);
}

}  // namespace Kalt::Vemo::Tool
