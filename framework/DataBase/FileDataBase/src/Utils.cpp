#include "Utils.h"

#include <algorithm>
#include <utility>

#include "DatabaseException.h"
#include "EngineLog.h"
#include "Tokenizer.h"

namespace Kalt::Vemo::Core::Database::Filedb {

namespace {

constexpr const char* kLogTag = "Utils";

// ASCII in every locale: names mean the same on every device.
bool isLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}
bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

std::string_view leftTrimmed(std::string_view s) {
    while (!s.empty() && Utils::isWhiteSpace(s.front())) {
        s.remove_prefix(1);
    }
    return s;
}

std::string_view rightTrimmed(std::string_view s) {
    while (!s.empty() && Utils::isWhiteSpace(s.back())) {
        s.remove_suffix(1);
    }
    return s;
}

}  // namespace

template <>
std::string Utils::toString<unsigned int>(unsigned int value) {
    return std::to_string(value);
}

// The character with that code, not the number: the journal records operations as raw bytes.
template <>
std::string Utils::toString<signed char>(signed char value) {
    return std::string(1, static_cast<char>(value));
}

std::vector<std::string> Utils::splitWords(std::string text) {
    constexpr int kMostWords = 65000;
    return Tokenizer(std::move(text), WHITESPACE).split(kMostWords);
}

std::string Utils::trimString(const std::string& s) {
    return std::string(trimmed(s));
}

std::string Utils::leftTrimString(const std::string& s) {
    return std::string(leftTrimmed(s));
}

std::string Utils::rightTrimString(const std::string& s) {
    return std::string(rightTrimmed(s));
}

std::string_view Utils::trimmed(std::string_view s) {
    return leftTrimmed(rightTrimmed(s));
}

std::string Utils::addSingleQuote(std::string s) {
    if (!s.empty() && s.front() == '\'' && s.back() == '\'') {
        return s;
    }
    return inSingleQuotes(s);
}

std::string Utils::inSingleQuotes(std::string_view s) {
    std::string quoted;
    quoted.reserve(s.size() + 2);
    quoted += '\'';
    quoted += s;
    quoted += '\'';
    return quoted;
}

std::string Utils::removeSingleQuote(const std::string& s) {
    if (s.empty() || s.front() != '\'' || s.back() != '\'') {
        return s;
    }
    return s.size() == 1 ? std::string() : s.substr(1, s.size() - 2);
}

int Utils::isNumber(const std::string& s) {
    int result = 1;
    const std::size_t start = !s.empty() && (s[0] == '+' || s[0] == '-') ? 1 : 0;
    for (std::size_t i = start; i < s.size(); ++i) {
        if (s[i] == '.' && result == 1) {
            result = 2;
        } else if (!isDigit(s[i])) {
            return 0;
        }
    }
    return result;
}

void Utils::getSplitVector(const std::string& str, unsigned int first, unsigned int last,
                           std::vector<std::string>& out, const std::string& separator) {
    out.clear();
    // The sum wraps to 0 on purpose: an empty piece before the first character has the largest number as its
    // `last`.
    const std::size_t end = std::min<std::size_t>(last + 1U, str.size());
    const std::size_t start = std::min<std::size_t>(first, end);
    const std::string_view piece = std::string_view(str).substr(start, end - start);
    FILEDB_LOG(kLogTrace, "String to split:'%.*s' with Separator: '%s'", static_cast<int>(piece.size()),
               piece.data(), separator.c_str());
    if (separator.size() == 1) {
        out.reserve(static_cast<std::size_t>(std::count(piece.begin(), piece.end(), separator.front())) + 1);
    }
    if (separator.empty()) {
        out.emplace_back(piece);
        return;
    }
    std::size_t position = 0;
    for (std::size_t found = piece.find(separator); found != std::string_view::npos;
         found = piece.find(separator, position)) {
        out.emplace_back(piece.substr(position, found - position));
        position = found + 1;
    }
    out.emplace_back(piece.substr(position));
}

std::string Utils::validateColumnName(const std::string& name) {
    FILEDB_LOG(kLogTrace, "Column Name:'%s'", name.c_str());
    const std::string_view result = trimmed(name);
    if (result.empty() || !isLetter(result.front())) {
        throw DatabaseException("validateColumnName", __LINE__,
                                "Syntax Error: Start Char is invalid for Column Name: %s", name.c_str());
    }
    for (const char c : result) {
        if (!isLetter(c) && !isDigit(c)) {
            throw DatabaseException("validateColumnName", __LINE__,
                                    "Syntax Error: '%c' Char is invalid for Column Name %s", c, name.c_str());
        }
    }
    return std::string(result);
}

unsigned int Utils::getColumnNameIndex(const std::string& name, const std::vector<std::string>& columns) {
    for (unsigned int index = 0; index < columns.size(); ++index) {
        if (columns[index] == name) {
            FILEDB_LOG(kLogTrace, "columnName:'%s' Index=%d", name.c_str(), static_cast<int>(index));
            return index;
        }
    }
    throw DatabaseException("getColumnNameIndex", __LINE__, "Column %s not found in Table Definition",
                            name.c_str());
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
