#include "sql/StoredForm.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>

#include "TableMetaData.h"
#include "Utils.h"

namespace Kalt::Vemo::Tool {

using namespace Core::Database;
using namespace Core::Database::Filedb;

namespace {

// The whole of `text` as a number of type T.
template <typename T>
std::optional<T> parse(const std::string& text) {
    T number{};
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && rest == end ? std::optional<T>(number) : std::nullopt;
}

std::string withoutPlus(const std::string& text) {
    return text.rfind('+', 0) == 0 ? text.substr(1) : text;
}

std::optional<std::string> storedInteger(const std::string& value) {
    const std::optional<std::uint64_t> number =
        parse<std::uint64_t>(withoutPlus(Utils::removeSingleQuote(value)));
    return number ? std::optional(std::to_string(*number)) : std::nullopt;
}

std::string printReal(float number) {
    constexpr int kSignificantDigits = 6;
    std::array<char, 32> buffer{};
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number,
                                            std::chars_format::general, kSignificantDigits);
    static_cast<void>(error);  // six digits, sign, point and exponent always fit
    return {buffer.data(), end};
}

std::optional<std::string> storedReal(const std::string& value) {
    if (value == "inf" || value == "-inf") {  // what a number beyond the type's range is stored as
        return value;
    }
    const std::string text = withoutPlus(Utils::removeSingleQuote(value));
    if (text.find_first_not_of("+-.0123456789eE") != std::string::npos) {
        return std::nullopt;
    }
    const std::optional<float> number = parse<float>(text);
    if (!number) {
        return std::nullopt;
    }
    std::string stored = printReal(*number);
    return parse<float>(stored) == number ? std::optional(std::move(stored)) : std::nullopt;
}

std::optional<std::string> storedText(const std::string& value) {
    const bool opens = value.front() == '\'';
    const bool closes = value.back() == '\'';
    if (value == "'") {  // a statement can store the lone quote; it reads as the empty text
        return "''";
    }
    return opens == closes ? std::optional(Utils::addSingleQuote(value)) : std::nullopt;
}

}  // namespace

std::string typeOfFlag(long flag) {
    switch (flag & ~static_cast<long>(kNotNullFlag)) {
        case kIntegerFlag:
            return "INTEGER";
        case kRealFlag:
            return "REAL";
        case kTextFlag:
            return "TEXT";
        default:
            return "";
    }
}

std::optional<std::string> storedForm(long flag, const std::string& value) {
    if (value == kNullWord) {
        return value;
    }
    if ((flag & kRealFlag) != 0) {
        return storedReal(value);
    }
    return (flag & kIntegerFlag) != 0 ? storedInteger(value) : storedText(value);
}

std::string describeStoredForm(long flag) {
    if ((flag & kRealFlag) != 0) {
        return "a number with six significant digits";
    }
    return (flag & kIntegerFlag) != 0 ? "decimal digits of an unsigned 64-bit number"
                                      : "text in single quotes";
}

}  // namespace Kalt::Vemo::Tool
