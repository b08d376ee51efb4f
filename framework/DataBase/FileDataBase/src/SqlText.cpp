#include "SqlText.h"

#include <string_view>

#include "DatabaseException.h"
#include "Utils.h"

namespace Kalt::Vemo::Core::Database::Filedb::SqlText {

namespace {

constexpr std::string_view kWhere = " WHERE ";
constexpr std::string_view kSelect = "SELECT";
constexpr std::string_view kFrom = "FROM ";
constexpr std::string_view kValues = "VALUES";

// Comma-separated pieces of the characters from `first` up to but not including `end`.
std::vector<std::string> split(const std::string& text, std::size_t first, std::size_t end) {
    std::vector<std::string> pieces;
    Utils::getSplitVector(text, static_cast<unsigned int>(first), static_cast<unsigned int>(end) - 1U, pieces,
                          ",");
    return pieces;
}

}  // namespace

std::optional<Condition> findCondition(const std::string& statement, std::size_t from) {
    const std::size_t keyword = statement.find(kWhere, from);
    if (keyword == std::string::npos) {
        return std::nullopt;
    }
    return Condition{keyword, static_cast<unsigned int>(keyword + kWhere.size())};
}

Insert parseInsert(const std::string& text) {
    Insert insert;
    std::size_t position = text.find_first_not_of(WHITESPACE);
    if (position == std::string::npos) {
        throw DatabaseException("insertTable", __LINE__,
                                "Syntax Error: Wrong statement after TableName clause");
    }
    if (text[position] == '(') {
        const std::size_t close = text.find(')', position);
        if (close == std::string::npos) {
            throw DatabaseException("insertTable", __LINE__, "No matching ) bracket for column list");
        }
        insert.names = split(text, position + 1, close);
        for (std::string& name : insert.names) {
            name = Utils::validateColumnName(name);
        }
        position = close + 1;
    } else {
        position = 0;
    }

    position = text.find_first_not_of(WHITESPACE, position);
    if (position == std::string::npos || text.compare(position, kValues.size(), kValues) != 0) {
        throw DatabaseException("insertTable", __LINE__, "Syntax error: At VALUES phrase");
    }
    const std::size_t open = text.find_first_not_of(WHITESPACE, position + kValues.size());
    const std::size_t close = open == std::string::npos ? open : text.find(')', open);
    if (close == std::string::npos || text[open] != '(' ||
        text.find_first_not_of(WHITESPACE, close + 1) != std::string::npos) {
        throw DatabaseException("insertTable", __LINE__, "Syntax Error: At value phrase");
    }
    insert.values = split(text, open + 1, close);
    if (insert.values.size() < insert.names.size()) {
        throw DatabaseException("insertTable", __LINE__, "Syntax Error: At value phrase");
    }
    return insert;
}

Assignment parseAssignment(const std::string& text) {
    const std::size_t equal = text.find('=');
    if (equal == std::string::npos) {
        throw DatabaseException("updateTable", __LINE__, "Syntax Error: Not found '=' in set clause");
    }
    return {Utils::validateColumnName(text.substr(0, equal)), text.substr(equal + 1)};
}

std::vector<std::string> splitSetList(const std::string& text, const std::optional<Condition>& condition) {
    return split(text, 0, condition ? condition->keyword : text.size());
}

Select parseSelect(const std::string& statement) {
    const auto isBoundary = [&](std::size_t position) {
        return position < statement.size() &&
               (statement[position] == '*' || Utils::isWhiteSpace(statement[position]));
    };
    const std::size_t select = statement.find_first_not_of(WHITESPACE);
    const std::size_t from = statement.find(kFrom);
    if (select == std::string::npos || statement.compare(select, kSelect.size(), kSelect) != 0 ||
        !isBoundary(select + kSelect.size()) || from == std::string::npos || !isBoundary(from - 1)) {
        throw DatabaseException("executeQuery", __LINE__, "DB Syntax Error: Error at SELECT or FROM clause");
    }
    const std::size_t table = from + kFrom.size();
    const std::optional<Condition> condition = findCondition(statement, table);
    // The blank before WHERE is part of the table's text, too, and trimmed with it.
    const std::size_t length = condition ? condition->keyword + 1 - table : std::string::npos;
    return {select + kSelect.size(), from, statement.substr(table, length), condition};
}

std::vector<std::string> splitItems(const std::string& statement, const Select& select) {
    return split(statement, select.itemsFirst, select.itemsEnd);
}

std::vector<std::string> splitDefinitions(const std::string& text) {
    const std::size_t open = text.find_first_not_of(WHITESPACE);
    if (open == std::string::npos || text[open] != '(' || text.back() != ')') {
        throw DatabaseException("createTable", __LINE__,
                                "DB Syntax Error: No proper start & end bracket after TableName.");
    }
    return split(text, open + 1, text.size() - 1);
}

}  // namespace Kalt::Vemo::Core::Database::Filedb::SqlText
