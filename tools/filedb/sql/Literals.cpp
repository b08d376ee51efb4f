#include "sql/Literals.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string_view>

#include "FileUtils.h"
#include "TableMetaData.h"
#include "console/ExitStatus.h"
#include "console/Printable.h"

namespace Kalt::Vemo::Tool {

using Core::Database::Value;
using namespace Core::Database::Filedb;

namespace {

template <typename Number>
std::optional<Number> wholeTextAs(std::string_view text) {
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
    }
    const std::size_t firstDigit = text.find_first_not_of('-');
    if (firstDigit == std::string_view::npos || text.find_first_of("0123456789.", firstDigit) != firstDigit) {
        return std::nullopt;  // also "inf" and "nan"
    }
    Number number{};
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && rest == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

std::string sixDigits(float number) {
    constexpr int kSignificantDigits = 6;
    std::array<char, 32> digits{};
    const std::to_chars_result end = std::to_chars(digits.data(), digits.data() + digits.size(), number,
                                                   std::chars_format::general, kSignificantDigits);
    return {digits.data(), end.ptr};
}

Failure refusal(const Column& column, const Literal& literal, const std::string& wanted) {
    return Failure("column " + column.name + " is " + column.typeName() + ": " + Tool::quoted(literal.text) +
                   " is not " + wanted);
}

std::string storedInteger(const Column& column, const Literal& literal) {
    if (const auto number = wholeNumber(literal.text)) {
        return std::to_string(*number);
    }
    throw refusal(column, literal, "a whole number of 64 bits");
}

std::string storedReal(const Column& column, const Literal& literal) {
    const auto number = wholeTextAs<double>(literal.text);
    const auto single = static_cast<float>(number.value_or(0));
    if (!number || !std::isfinite(single)) {
        throw refusal(column, literal, "a number of single precision");
    }
    return single == 0 ? "0" : sixDigits(single);
}

// What stands for the value, whether or not it fits into a file.
std::string typedForm(const Column& column, const Literal& literal) {
    if (literal.kind == Literal::Kind::kNull) {
        return kNullWord;
    }
    switch (column.type) {
        case Column::Type::kInteger:
            return storedInteger(column, literal);
        case Column::Type::kReal:
            return storedReal(column, literal);
        case Column::Type::kText:
            return "'" + literal.text + "'";
        case Column::Type::kUnknown:
            break;
    }
    throw Failure("the type of column " + printable(column.name) + " is not known; run filedb check");
}

}  // namespace

std::optional<std::uint64_t> wholeNumber(const std::string& text) {
    if (const auto number = wholeTextAs<std::int64_t>(text)) {
        return static_cast<std::uint64_t>(*number);
    }
    return wholeTextAs<std::uint64_t>(text);
}

std::optional<double> realNumber(const std::string& text) {
    if (text == "inf" || text == "-inf") {  // what a number beyond the type's range is stored as
        return text == "inf" ? std::numeric_limits<double>::infinity()
                             : -std::numeric_limits<double>::infinity();
    }
    return wholeTextAs<double>(text);
}

std::string shortestDigits(double number) {
    // As a person writes a number, where that is not long.
    constexpr double kSmallest = 1e-4;
    constexpr double kLarge = 1e15;
    const double size = std::abs(number);
    const bool isPlain = size == 0 || (size >= kSmallest && size < kLarge);
    std::array<char, 32> digits{};
    const std::to_chars_result end =
        isPlain
            ? std::to_chars(digits.data(), digits.data() + digits.size(), number, std::chars_format::fixed)
            : std::to_chars(digits.data(), digits.data() + digits.size(), number);
    return {digits.data(), end.ptr};
}

std::string storedLiteral(const Column& column, const Literal& literal) {
    const std::array<std::pair<char, const char*>, 3> impossible{
        {{FIELD_SEPARATOR, "\"~\""}, {'\n', "a line feed"}, {'\0', "a NUL byte"}}};
    for (const auto& [character, name] : impossible) {
        if (literal.text.find(character) != std::string::npos) {
            throw Failure("column " + column.name + ": a table file cannot hold " + name + ", as in " +
                          Tool::quoted(literal.text));
        }
    }
    if (literal.kind == Literal::Kind::kNull && column.notNull) {
        throw Failure("column " + column.name + " must not be NULL");
    }
    return typedForm(column, literal);
}

Value boundForm(const Column& column, const std::string& stored) {
    if (stored == kNullWord) {
        return nullptr;
    }
    // The database reads no exponents.
    return column.type == Column::Type::kReal ? Value(wholeTextAs<float>(stored).value_or(0)) : Value(stored);
}

std::string shownValue(const Column& column, const std::string& cell) {
    const auto number =
        column.type == Column::Type::kInteger ? wholeTextAs<std::uint64_t>(cell) : std::nullopt;
    if (number && *number > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        return std::to_string(static_cast<std::int64_t>(*number));
    }
    return cell;
}

bool isShownAsNumber(const Column& column, const std::string& shown) {
    if (shown.empty() || shown.front() == '+') {
        return false;
    }
    return (column.type == Column::Type::kInteger && wholeTextAs<std::int64_t>(shown)) ||
           (column.type == Column::Type::kReal && wholeTextAs<double>(shown));
}

}  // namespace Kalt::Vemo::Tool
