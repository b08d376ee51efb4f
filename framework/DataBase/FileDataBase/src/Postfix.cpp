#include "Postfix.h"

#include <string_view>
#include <utility>

#include "BoundValues.h"
#include "DatabaseException.h"
#include "EngineLog.h"
#include "Operators.h"
#include "Utils.h"

namespace Kalt::Vemo::Core::Database::Filedb::Postfix {

namespace {

constexpr const char* kLogTag = "WhereClause";

constexpr std::string_view kOpeningBracket = "(";
constexpr std::string_view kClosingBracket = ")";
constexpr std::string_view kPlaceholder = "?";
constexpr std::string_view kQuotedPlaceholder = "'?'";

std::string joined(const std::vector<std::string>& words) {
    std::size_t size = 0;
    for (const std::string& word : words) {
        size += 1 + word.size();
    }
    std::string text;
    text.reserve(size);
    for (const std::string& word : words) {
        text += ' ';
        text += word;
    }
    return text;
}

void moveTop(std::vector<std::string>& stack, std::vector<std::string>& postfix) {
    postfix.push_back(std::move(stack.back()));
    stack.pop_back();
}

// Pops to the matching "(". The test after it does not check for a match: it compares the number of operators
// that were popped with the number of entries that are left. So a ")" without "(" passes while the stack
// holds anything, and a group with one operator after one other operator is refused. Conditions in the field
// rely on it.
void closeBracket(std::vector<std::string>& stack, std::vector<std::string>& postfix) {
    std::size_t moved = 0;
    bool opened = false;
    while (!stack.empty() && !opened) {
        opened = stack.back() == kOpeningBracket;
        if (opened) {
            stack.pop_back();
        } else {
            moveTop(stack, postfix);
            ++moved;
        }
    }
    if (moved == stack.size()) {
        throw DatabaseException("InfixToPostFix", __LINE__, "DB Syntax Error: No matching bracket for ')'");
    }
}

// The counter rises while the stack shrinks: at most half of the entries, rounded up, are popped. So
// a = 1 AND b = 2 OR c = 3 groups as a = 1 AND ( b = 2 OR c = 3 ).
void popStronger(int precedence, std::vector<std::string>& stack, std::vector<std::string>& postfix) {
    for (std::size_t popped = 0; popped < stack.size(); ++popped) {
        const OperatorEntry* const top =
            stack.back() == kOpeningBracket ? nullptr : operatorOrOperand(stack.back());
        if (top == nullptr || top->precedence < precedence) {
            return;
        }
        moveTop(stack, postfix);
    }
}

}  // namespace

std::vector<std::string> words(const std::string& statement, unsigned int first, unsigned int valueIndex,
                               const std::vector<std::string>& values) {
    std::vector<std::string> result = Utils::splitWords(std::string_view(statement).substr(first));
    std::size_t next = valueIndex;
    for (std::string& word : result) {
        const bool isQuoted = word == kQuotedPlaceholder;
        if (!isQuoted && word != kPlaceholder) {
            continue;
        }
        if (next >= values.size()) {
            throw DatabaseException("parseWhereClause", __LINE__,
                                    "Syntax Error: passed values less than required values in where clause");
        }
        word = BoundValues::written(values[next], isQuoted);
        ++next;
    }
    FILEDB_LOG(kLogTrace, "WHERE Vec=[%s]", joined(result).c_str());
    return result;
}

void append(std::vector<std::string> words, std::vector<std::string>& postfix) {
    FILEDB_LOG(kLogInfo, "%s", "InfixToPostFix");
    postfix.reserve(postfix.size() + words.size());
    std::vector<std::string> stack;
    stack.reserve(words.size());
    for (std::string& word : words) {
        if (word == kOpeningBracket) {
            stack.push_back(std::move(word));
        } else if (word == kClosingBracket) {
            closeBracket(stack, postfix);
        } else if (const OperatorEntry* const entry = operatorOrOperand(word)) {
            popStronger(entry->precedence, stack, postfix);
            stack.push_back(std::move(word));
        } else {
            postfix.push_back(std::move(word));
        }
    }

    while (!stack.empty()) {
        if (stack.back() == kOpeningBracket) {
            throw DatabaseException("InfixToPostFix", __LINE__,
                                    "DB Syntax Error: Stack contains the '(' bracket at end..')'");
        }
        moveTop(stack, postfix);
    }
    FILEDB_LOG(kLogTrace, "POSTFIX FORM=[%s]", joined(postfix).c_str());
}

}  // namespace Kalt::Vemo::Core::Database::Filedb::Postfix
