#include "StringConversion.h"

#include <clocale>
#include <cstdlib>
#include <limits>

namespace Kalt::Vemo::Platform {

namespace {

bool isBlank(char character) {
    return character == ' ' || (character >= '\t' && character <= '\r');
}

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

/// The beginning that all numbers share. A text's closing NUL is neither blank, sign nor digit, so that every
/// loop below ends there.
struct Start {
    const char* rest;  // what follows white space and sign
    bool negative;
};

Start skipBlanksAndSign(const char* position) {
    while (isBlank(*position)) {
        ++position;
    }
    const bool negative = *position == '-';
    if (negative || *position == '+') {
        ++position;
    }
    return {position, negative};
}

/// Reads decimal digits; false when their value does not fit.
bool readDigits(const char* position, std::uint64_t& value) {
    constexpr std::uint64_t kLargest = std::numeric_limits<std::uint64_t>::max();
    value = 0;
    for (; isDigit(*position); ++position) {
        const auto digit = static_cast<std::uint64_t>(*position - '0');
        if (value > kLargest / 10 || (value == kLargest / 10 && digit > kLargest % 10)) {
            return false;
        }
        value = value * 10 + digit;
    }
    return true;
}

}  // namespace

std::int64_t StringConversion::stringToint64(const std::string& text) {
    constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
    const Start start = skipBlanksAndSign(text.c_str());
    std::uint64_t magnitude = 0;
    if (!readDigits(start.rest, magnitude) || magnitude > static_cast<std::uint64_t>(kLargest)) {
        return start.negative ? std::numeric_limits<std::int64_t>::min() : kLargest;
    }
    const auto value = static_cast<std::int64_t>(magnitude);
    return start.negative ? -value : value;
}

std::uint64_t StringConversion::stringTouint64(const std::string& text) {
    const Start start = skipBlanksAndSign(text.c_str());
    std::uint64_t magnitude = 0;
    if (!readDigits(start.rest, magnitude)) {
        return std::numeric_limits<std::uint64_t>::max();
    }
    return start.negative ? 0 - magnitude : magnitude;
}

float StringConversion::stringToFloat(const std::string& text) {
    const Start start = skipBlanksAndSign(text.c_str());
    const char* const digits = start.rest + (*start.rest == '.' ? 1 : 0);
    if (!isDigit(*digits)) {
        return 0;  // also "inf" and "nan", which the library would read
    }
    if (start.rest[0] == '0' && (start.rest[1] == 'x' || start.rest[1] == 'X')) {
        return 0;  // the number ends before the x, where the library would go on in hexadecimal
    }
    static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);
    const float magnitude = strtof_l(start.rest, nullptr, cLocale);
    return start.negative ? -magnitude : magnitude;
}

}  // namespace Kalt::Vemo::Platform
