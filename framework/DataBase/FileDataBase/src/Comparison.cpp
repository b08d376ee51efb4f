#include "Comparison.h"

#include <cstdint>
#include <cstring>

#include "EngineLog.h"
#include "StringConversion.h"
#include "TableFormat.h"

namespace Kalt::Vemo::Core::Database::Filedb {

using Platform::StringConversion;

namespace {

constexpr const char* kLogTag = "WhereClause";

// Plain digits, as long as they cannot overflow, are converted here; signs, blanks and the rest by the
// platform.
inline std::uint64_t toUnsigned(std::string_view value) {
    constexpr std::size_t kSafeDigits = 19;
    std::uint64_t number = 0;
    for (const char c : value) {
        if (c < '0' || c > '9' || value.size() > kSafeDigits) {
            return StringConversion::stringTouint64(std::string(value));
        }
        number = 10 * number + static_cast<std::uint64_t>(c - '0');
    }
    return number;
}

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

template <typename Value>
bool relation(Operator op, const Value& left, const Value& right) {
    switch (op) {
        case Operator::greater:
            return left > right;
        case Operator::less:
            return left < right;
        case Operator::greaterOrEqual:
            return left >= right;
        case Operator::lessOrEqual:
            return left <= right;
        default:
            return left != right;
    }
}

}  // namespace

std::string_view withoutQuotes(std::string_view text, std::string& scratch) {
    if (text.empty() || text.front() != '\'') {
        return text;
    }
    text.remove_prefix(1);
    if (!text.empty()) {
        text.remove_suffix(1);
    }
    if (text.find('\'') == std::string_view::npos) {
        return text;
    }
    scratch = text;
    for (std::size_t quote = scratch.find('\''); quote != std::string::npos;
         quote = scratch.find('\'', quote + 1)) {
        // A doubled quote becomes one; a lone quote swallows the character behind it.
        scratch.replace(quote, 2, "'");
    }
    return scratch;
}

bool matchesPattern(std::string_view value, std::string_view pattern) {
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

bool holds(Operator op, unsigned char type, std::string_view left, std::string_view right) {
    switch (static_cast<ValueType>(type)) {
        case ValueType::text:
            return relation(op, left, right);
        case ValueType::integer:
            return relation(op, toUnsigned(left), toUnsigned(right));
        case ValueType::real:
            return relation(op, StringConversion::stringToFloat(std::string(left)),
                            StringConversion::stringToFloat(std::string(right)));
    }
    return false;
}

void ComparedValue::take(std::string_view field) {
    isNull = isEqual(field, kNullWord);
    text = withoutQuotes(field, scratch);
}

void ComparedValue::setResult(bool value) {
    isResult = true;
    result = value;
    text = std::string_view(value ? "1" : "0", 1);
}

bool ComparedValue::isTrue() const {
    return isResult ? result : toUnsigned(text) != 0;
}

bool apply(const OperatorEntry& entry, unsigned char type, const ComparedValue& left,
           const ComparedValue& right) {
    FILEDB_LOG(kLogTrace, "left:[%.*s] right:[%.*s] operator:[%.*s]", static_cast<int>(left.text.size()),
               left.text.data(), static_cast<int>(right.text.size()), right.text.data(),
               static_cast<int>(entry.text.size()), entry.text.data());
    const bool isNull = left.isNull || right.isNull;
    switch (entry.op) {
        case Operator::logicalAnd:
            return left.isTrue() && right.isTrue();
        case Operator::logicalOr:
            return left.isTrue() || right.isTrue();
        case Operator::meaningless:
            return false;
        case Operator::equal:
            return !isNull && isEqual(left.text, right.text);
        case Operator::like:
            return !isNull && matchesPattern(left.text, right.text);
        default:
            return !isNull && holds(entry.op, type, left.text, right.text);
    }
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
