#include "Comparison.h"

#include "StringConversion.h"

namespace Kalt::Vemo::Core::Database::Filedb {

using Platform::StringConversion;

namespace {

// Signs, blanks and the rest go to the platform.
std::uint64_t toUnsigned(std::string_view value) {
    const std::optional<std::uint64_t> number = plainNumber(value);
    return number ? *number : StringConversion::stringTouint64(std::string(value));
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

std::string_view rewriteInnerQuotes(std::string_view text, std::string& scratch) {
    scratch = text;
    for (std::size_t quote = scratch.find('\''); quote != std::string::npos;
         quote = scratch.find('\'', quote + 1)) {
        // A doubled quote becomes one; a lone quote swallows the character after it.
        scratch.replace(quote, 2, "'");
    }
    return scratch;
}

bool holds(Operator op, ValueType type, std::string_view left, std::string_view right) {
    switch (type) {
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

bool isNotZero(std::string_view text) {
    return toUnsigned(text) != 0;
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
