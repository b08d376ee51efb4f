#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "console/ExitStatus.h"
#include "console/Printable.h"
#include "sql/Literals.h"
#include "sql/SqlLexer.h"

namespace Kalt::Vemo::Tool {

/// Walks the pieces of one statement.
class TokenCursor {
public:
    explicit TokenCursor(std::vector<SqlToken> tokens) : tokens_(std::move(tokens)) {}

    const SqlToken& peek() const { return tokens_[position_]; }
    bool atEnd() const { return peek().kind == SqlToken::Kind::kEnd; }

    SqlToken take() {
        SqlToken token = peek();
        position_ += atEnd() ? 0U : 1U;
        return token;
    }

    /// Takes the next piece if it is this one.
    bool accept(std::string_view keyword) { return acceptIf(peek().is(keyword)); }
    bool acceptSymbol(std::string_view symbol) { return acceptIf(peek().isSymbol(symbol)); }

    // Each throws Failure when something else comes next.
    void expect(std::string_view keyword) {
        if (!accept(keyword)) {
            refuse(std::string(keyword));
        }
    }
    void expectSymbol(std::string_view symbol) {
        if (!acceptSymbol(symbol)) {
            refuse("\"" + std::string(symbol) + "\"");
        }
    }
    void expectEnd() {
        if (!atEnd()) {
            refuse("the end of the statement");
        }
    }
    std::string expectName(const std::string& what) {
        if (peek().kind != SqlToken::Kind::kWord && peek().kind != SqlToken::Kind::kName) {
            refuse(what);
        }
        return take().text;
    }
    Literal expectLiteral() {
        if (accept("NULL")) {
            return {};
        }
        if (peek().kind == SqlToken::Kind::kText) {
            return {Literal::Kind::kText, take().text};
        }
        const std::string sign = acceptSymbol("-") ? "-" : "";
        if (sign.empty()) {
            acceptSymbol("+");
        }
        if (peek().kind != SqlToken::Kind::kNumber) {
            refuse("a value");
        }
        return {Literal::Kind::kNumber, sign + take().text};
    }

    [[noreturn]] void refuse(const std::string& wanted) const {
        const std::string found = atEnd() ? "the end of the statement" : Tool::quoted(peek().text);
        throw Failure("expected " + wanted + ", found " + found);
    }

private:
    bool acceptIf(bool found) {
        position_ += found ? 1U : 0U;
        return found;
    }

    std::vector<SqlToken> tokens_;
    std::size_t position_ = 0;
};

}  // namespace Kalt::Vemo::Tool
