#include "Utils.h"

#include <algorithm>
#include <cstring>

#include "DatabaseException.h"
#include "EngineLog.h"

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

bool isNameCharacter(char c) {
    return isLetter(c) || isDigit(c);
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

// The C library looks at many bytes at a time, and few texts have more than a handful of what is counted.
std::size_t Utils::count(std::string_view text, char c) {
    std::size_t result = 0;
    const char* position = text.data();
    const char* const end = position + text.size();
    while (position != end) {
        const void* const found = std::memchr(position, c, static_cast<std::size_t>(end - position));
        if (found == nullptr) {
            break;
        }
        ++result;
        position = static_cast<const char*>(found) + 1;
    }
    return result;
}

std::vector<std::string> Utils::splitWords(std::string_view text) {
    constexpr std::size_t kMostWords = 65000;
    constexpr std::size_t kUsualWords = 8;
    std::vector<std::string> words;
    words.reserve(kUsualWords);
    const char* position = text.data();
    const char* const end = position + text.size();
    while (words.size() < kMostWords) {
        position = std::find_if_not(position, end, isWhiteSpace);
        if (position == end) {
            break;
        }
        const char* const first = position;
        position = std::find_if(position, end, isWhiteSpace);
        words.emplace_back(first, position);
    }
    return words;
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
    std::string quoted(s.size() + 2, '\'');
    std::copy(s.begin(), s.end(), quoted.begin() + 1);
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
    logSplit(piece, separator.c_str());
    if (separator.size() == 1) {
        out.reserve(count(piece, separator.front()) + 1);
    }
    if (separator.empty()) {
        out.emplace_back(piece);
        return;
    }
    splitAt(piece, separator, out);
}

void Utils::logSplit(std::string_view text, const char* separator) {
    FILEDB_LOG(kLogTrace, "String to split:'%.*s' with Separator: '%s'", static_cast<int>(text.size()),
               text.data(), separator);
}

std::string Utils::validateColumnName(const std::string& name) {
    logColumnName(name);
    const std::string_view result = trimmed(name);
    if (result.empty() || !isLetter(result.front())) {
        throw DatabaseException("validateColumnName", __LINE__,
                                "Syntax Error: Start Char is invalid for Column Name: %s", name.c_str());
    }
    for (const char c : result) {
        if (!isNameCharacter(c)) {
            throw DatabaseException("validateColumnName", __LINE__,
                                    "Syntax Error: '%c' Char is invalid for Column Name %s", c, name.c_str());
        }
    }
    return std::string(result);
}

std::string_view Utils::columnName(std::string_view name) {
    const std::string_view result = trimmed(name);
    const bool isName = !result.empty() && isLetter(result.front()) &&
                        std::all_of(result.begin(), result.end(), isNameCharacter);
    return isName ? result : std::string_view();
}

void Utils::logColumnName(const std::string& name) {
    FILEDB_LOG(kLogTrace, "Column Name:'%s'", name.c_str());
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
