#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "ConditionLog.h"
#include "Operators.h"
#include "TableFormat.h"

/// How values are compared: in conditions, and in the check of a primary key.
namespace Kalt::Vemo::Core::Database::Filedb {

// The inline functions are those that a condition calls for each record of a table.

// Most texts that differ do so at one of their ends.
inline bool isEqual(const char* text, std::string_view other) {
    return other.empty() || (text[0] == other.front() && text[other.size() - 1] == other.back() &&
                             std::memcmp(text, other.data(), other.size()) == 0);
}

inline bool isEqual(std::string_view text, std::string_view other) {
    return text.size() == other.size() && isEqual(text.data(), other);
}

inline bool startsWith(std::string_view value, std::string_view start) {
    return value.size() >= start.size() && isEqual(value.data(), start);
}

inline bool endsWith(std::string_view value, std::string_view end) {
    return value.size() >= end.size() && isEqual(value.data() + (value.size() - end.size()), end);
}

inline bool contains(std::string_view value, std::string_view part) {
    if (part.empty() || part.size() > value.size()) {
        return part.empty();
    }
    const char* position = value.data();
    const char* const stop = position + (value.size() - part.size()) + 1;  // no match begins here or later
    while (position != stop) {
        const void* const found =
            std::memchr(position, part.front(), static_cast<std::size_t>(stop - position));
        if (found == nullptr) {
            return false;
        }
        position = static_cast<const char*>(found);
        if (isEqual(position, part)) {
            return true;
        }
        ++position;
    }
    return false;
}

/// Whether the value matches the pattern, in which "%" stands for any text, at the pattern's ends only.
inline bool matchesPattern(std::string_view value, std::string_view pattern) {
    if (pattern.empty()) {
        return value.empty();
    }
    const bool anyStart = pattern.front() == '%';
    const bool anyEnd = pattern.back() == '%';
    if (anyStart && anyEnd && pattern.size() >= 2) {
        return contains(value, pattern.substr(1, pattern.size() - 2));
    }
    if (anyStart) {
        return endsWith(value, pattern.substr(1));
    }
    if (anyEnd) {
        return startsWith(value, pattern.substr(0, pattern.size() - 1));
    }
    return isEqual(value, pattern);
}

/// The slow path of withoutQuotes(), for a text that has quotes inside.
std::string_view rewriteInnerQuotes(std::string_view text, std::string& scratch);

/// The text without the quotes that enclose it, doubled quotes inside as one; a lone quote inside swallows
/// the character after it. Unchanged when it does not begin with a quote.
///
/// @param scratch holds the result when a quote inside had to be rewritten
inline std::string_view withoutQuotes(std::string_view text, std::string& scratch) {
    if (text.empty() || text.front() != '\'') {
        return text;
    }
    text.remove_prefix(1);
    if (!text.empty()) {
        text.remove_suffix(1);
    }
    return text.find('\'') == std::string_view::npos ? text : rewriteInnerQuotes(text, scratch);
}

/// Whether `op`, one of the five that compare by type, holds: as text, as unsigned 64-bit integers or as
/// single-precision numbers. False for any other type.
bool holds(Operator op, ValueType type, std::string_view left, std::string_view right);

/// The number of a text of plain digits that cannot overflow; nothing for any other text.
inline std::optional<std::uint64_t> plainNumber(std::string_view text) {
    constexpr std::size_t kSafeDigits = 19;
    if (text.empty() || text.size() > kSafeDigits) {
        return std::nullopt;
    }
    std::uint64_t number = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') {
            return std::nullopt;
        }
        number = 10 * number + static_cast<std::uint64_t>(c - '0');
    }
    return number;
}

/// The number that a text stands for where a truth value is meant.
bool isNotZero(std::string_view text);

/// What an operator is applied to.
struct ComparedValue {
    /// Becomes a field as it is stored.
    void setField(std::string_view field) {
        isNull = isEqual(field, kNullWord);
        text = withoutQuotes(field, scratch);
    }

    /// Becomes the result of an operator.
    void setResult(bool value) {
        isResult = true;
        result = value;
        text = std::string_view(value ? "1" : "0", 1);
    }

    bool isTrue() const { return isResult ? result : isNotZero(text); }

    std::string_view text;  ///< without quotes
    bool isNull = false;
    bool isResult = false;
    bool result = false;
    std::string scratch;  ///< holds a text that was rewritten
};

/// Whether "=" holds: it compares texts, whatever the type.
inline bool areEqual(const ComparedValue& left, const ComparedValue& right) {
    return !left.isNull && !right.isNull && isEqual(left.text, right.text);
}

/// Applies an operator. A comparison with NULL does not hold.
///
/// @param type how the ordering operators compare
inline bool apply(const OperatorEntry& entry, ValueType type, const ComparedValue& left,
                  const ComparedValue& right) {
    ConditionLog::operands(left.text, right.text, entry.text);
    const bool isNull = left.isNull || right.isNull;
    switch (entry.op) {
        case Operator::logicalAnd:
            return left.isTrue() && right.isTrue();
        case Operator::logicalOr:
            return left.isTrue() || right.isTrue();
        case Operator::meaningless:
            return false;
        case Operator::equal:
            return areEqual(left, right);
        case Operator::like:
            return !isNull && matchesPattern(left.text, right.text);
        default:
            return !isNull && holds(entry.op, type, left.text, right.text);
    }
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
