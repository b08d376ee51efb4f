#include "sql/SqlLexer.h"

#include <algorithm>
#include <array>

#include "console/ExitStatus.h"
#include "console/Printable.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr std::string_view kBlanks = " \t\n\v\f\r";
constexpr std::string_view kDigits = "0123456789";
constexpr std::array<std::string_view, 20> kSymbols{"<=", ">=", "<>", "!=", "==", "||", "(", ")", ",", "=",
                                                    "<",  ">",  "+",  "-",  "*",  "/",  "%", "&", "|", ";"};

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isNameStart(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}

// Length of the blank or comment at the start of `text`; all of it for a comment that is not closed.
std::size_t skippedLength(std::string_view text) {
    if (kBlanks.find(text.front()) != std::string_view::npos) {
        return 1;
    }
    if (text.substr(0, 2) == "--") {
        return std::min(text.find('\n'), text.size());
    }
    if (text.substr(0, 2) == "/*") {
        const std::size_t end = text.find("*/", 2);
        return end == std::string_view::npos ? text.size() : end + 2;
    }
    return 0;
}

// Length of the quoted piece at the start of `text`, npos when it is not closed. A doubled quote stays
// inside.
std::size_t quotedLength(std::string_view text) {
    const char quote = text.front();
    if (quote == '[') {
        const std::size_t end = text.find(']');
        return end == std::string_view::npos ? end : end + 1;
    }
    for (std::size_t i = 1; i < text.size(); ++i) {
        if (text[i] == quote) {
            if (i + 1 == text.size() || text[i + 1] != quote) {
                return i + 1;
            }
            ++i;
        }
    }
    return std::string_view::npos;
}

bool isQuote(char c) {
    return c == '\'' || c == '"' || c == '`' || c == '[';
}

std::size_t numberLength(std::string_view text) {
    std::size_t end = std::min(text.find_first_not_of("0123456789."), text.size());
    if (end < text.size() && (text[end] == 'e' || text[end] == 'E')) {
        std::size_t exponent = end + 1;
        if (exponent < text.size() && (text[exponent] == '+' || text[exponent] == '-')) {
            ++exponent;
        }
        if (exponent < text.size() && isDigit(text[exponent])) {
            end = std::min(text.find_first_not_of(kDigits, exponent), text.size());
        }
    }
    return end;
}

std::size_t nameLength(std::string_view text) {
    std::size_t end = 1;
    while (end < text.size() && (isNameStart(text[end]) || isDigit(text[end]))) {
        ++end;
    }
    return end;
}

std::string unquoted(std::string_view text) {
    const char quote = text.front();
    std::string result;
    for (std::size_t i = 1; i + 1 < text.size(); ++i) {
        result += text[i];
        i += text[i] == quote ? 1U : 0U;
    }
    return result;
}

SqlToken lexQuoted(std::string_view& text) {
    const std::size_t length = quotedLength(text);
    if (length == std::string_view::npos) {
        throw Failure("a quote is not closed: " + Tool::quoted(text));
    }
    const bool isText = text.front() == '\'';
    SqlToken token{isText ? SqlToken::Kind::kText : SqlToken::Kind::kName, unquoted(text.substr(0, length))};
    if (!isText && (token.text.empty() || !isNameStart(token.text.front()) ||
                    nameLength(token.text) != token.text.size())) {
        throw Failure("not a name: " + Tool::quoted(token.text) + "; a text belongs in single quotes");
    }
    text.remove_prefix(length);
    return token;
}

SqlToken takeFrom(std::string_view& text, SqlToken::Kind kind, std::size_t length) {
    SqlToken token{kind, std::string(text.substr(0, length))};
    text.remove_prefix(length);
    return token;
}

SqlToken lexToken(std::string_view& text) {
    if (isQuote(text.front())) {
        return lexQuoted(text);
    }
    if (isNameStart(text.front())) {
        return takeFrom(text, SqlToken::Kind::kWord, nameLength(text));
    }
    if (isDigit(text.front()) || (text.size() > 1 && text[0] == '.' && isDigit(text[1]))) {
        SqlToken token = takeFrom(text, SqlToken::Kind::kNumber, numberLength(text));
        if (!text.empty() && isNameStart(text.front())) {
            throw Failure("not a number: " +
                          Tool::quoted(token.text + std::string(text.substr(0, nameLength(text)))));
        }
        return token;
    }
    for (const std::string_view symbol : kSymbols) {
        if (text.substr(0, symbol.size()) == symbol) {
            return takeFrom(text, SqlToken::Kind::kSymbol, symbol.size());
        }
    }
    if (text.front() == '?') {
        throw Failure("there is no value for the \"?\"; write the value itself");
    }
    throw Failure("no statement has " + Tool::quoted(text.substr(0, 1)) + " outside of a text");
}

}  // namespace

bool SqlToken::is(std::string_view keyword) const {
    return kind == Kind::kWord && upperCase(text) == keyword;
}

std::string upperCase(std::string text) {
    for (char& c : text) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    return text;
}

std::vector<SqlToken> lexStatement(std::string_view statement) {
    std::vector<SqlToken> tokens;
    while (!statement.empty()) {
        if (const std::size_t skipped = skippedLength(statement)) {
            if (statement.substr(0, 2) == "/*" && statement.find("*/", 2) == std::string_view::npos) {
                throw Failure("a comment is not closed: " + Tool::quoted(statement));
            }
            statement.remove_prefix(skipped);
            continue;
        }
        tokens.push_back(lexToken(statement));
    }
    while (!tokens.empty() && tokens.back().isSymbol(";")) {
        tokens.pop_back();
    }
    tokens.emplace_back();
    return tokens;
}

std::vector<std::string> leadingWords(std::string_view statement, std::size_t count) {
    std::vector<std::string> words;
    while (!statement.empty() && words.size() < count) {
        if (const std::size_t skipped = skippedLength(statement)) {
            statement.remove_prefix(skipped);
            continue;
        }
        if (!isNameStart(statement.front())) {
            break;
        }
        words.push_back(upperCase(takeFrom(statement, SqlToken::Kind::kWord, nameLength(statement)).text));
    }
    return words;
}

std::size_t endOfStatement(std::string_view text) {
    for (std::size_t i = 0; i < text.size();) {
        const std::string_view rest = text.substr(i);
        if (rest.front() == ';') {
            return i + 1;
        }
        std::size_t length = isQuote(rest.front()) ? quotedLength(rest) : skippedLength(rest);
        if (length == std::string_view::npos) {
            return std::string_view::npos;
        }
        i += length == 0 ? 1 : length;
    }
    return std::string_view::npos;
}

bool isBlankStatement(std::string_view text) {
    while (!text.empty()) {
        const std::size_t skipped = text.front() == ';' ? 1 : skippedLength(text);
        if (skipped == 0) {
            return false;
        }
        // A comment that is not closed may hold anything; it is for the lexer to refuse.
        if (text.substr(0, 2) == "/*" && text.find("*/", 2) == std::string_view::npos) {
            return false;
        }
        text.remove_prefix(skipped);
    }
    return true;
}

}  // namespace Kalt::Vemo::Tool
