#include "check/ValueForm.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>

#include "TableFormat.h"
#include "Utils.h"
#include "sql/Literals.h"
#include "sql/StoredForm.h"

namespace Kalt::Vemo::Tool {

using namespace Core::Database::Filedb;

namespace {

using Kind = ValueForm::Kind;

constexpr const char* kBlanks = " \t\n\v\f\r";
constexpr const char* kDigits = "0123456789";

/// The parts of a decimal number.
struct Number {
    bool isNegative = false;
    std::string digits;
    std::string fraction;
    bool hasExponent = false;
};

std::string withoutBlanks(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(kBlanks);
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

std::string takeDigits(const std::string& text, std::size_t& position) {
    const std::size_t begin = position;
    position = std::min(text.find_first_not_of(kDigits, begin), text.size());
    return text.substr(begin, position - begin);
}

// The number that the engine reads, if that is all there is in the text besides blanks.
std::optional<Number> numberIn(const std::string& value) {
    const std::string text = withoutBlanks(Utils::removeSingleQuote(value));
    Number number;
    std::size_t position = 0;
    if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
        number.isNegative = text[0] == '-';
        ++position;
    }
    number.digits = takeDigits(text, position);
    if (position < text.size() && text[position] == '.') {
        number.fraction = takeDigits(text, ++position);
    }
    if (number.digits.empty() && number.fraction.empty()) {
        return std::nullopt;
    }
    if (position < text.size() && (text[position] == 'e' || text[position] == 'E')) {
        number.hasExponent = true;
        ++position;
        if (position < text.size() && (text[position] == '-' || text[position] == '+')) {
            ++position;
        }
        if (takeDigits(text, position).empty()) {
            return std::nullopt;
        }
    }
    return position == text.size() ? std::optional(number) : std::nullopt;
}

// Of a negative number the file holds the unsigned one with the same bits.
std::optional<std::string> wholeNumber(const Number& number) {
    if (number.hasExponent || number.digits.empty() ||
        number.fraction.find_first_not_of('0') != std::string::npos) {
        return std::nullopt;
    }
    constexpr std::uint64_t kLargestNegative = std::uint64_t{1} << 63U;
    std::uint64_t magnitude = 0;
    const char* const end = number.digits.data() + number.digits.size();
    const auto [rest, error] = std::from_chars(number.digits.data(), end, magnitude);
    if (error != std::errc() || rest != end || (number.isNegative && magnitude > kLargestNegative)) {
        return std::nullopt;
    }
    return std::to_string(number.isNegative ? 0 - magnitude : magnitude);
}

// Digits that the engine reads as the largest number there is, whatever they say.
bool isBeyondRange(const Number& number) {
    return !wholeNumber({number.isNegative, number.digits.empty() ? "0" : number.digits, "", false});
}

bool isQuoted(const std::string& value) {
    return value.size() > 1 && value.front() == '\'' && value.back() == '\'';
}

ValueForm integerForm(const std::string& value) {
    if (const std::optional<Number> number = numberIn(value)) {
        if (const std::optional<std::string> whole = wholeNumber(*number)) {
            return {Kind::kMended, *whole};
        }
        return {isBeyondRange(*number) ? Kind::kUnreadable : Kind::kReadable, value};
    }
    return {isQuoted(value) || value == "inf" || value == "-inf" ? Kind::kReadable : Kind::kUnreadable,
            value};
}

ValueForm realForm(const std::string& value) {
    if (!numberIn(value)) {
        return {isQuoted(value) ? Kind::kReadable : Kind::kUnreadable, value};
    }
    const std::string text = withoutBlanks(Utils::removeSingleQuote(value));
    const std::optional<std::string> stored = storedForm(kRealFlag, text);
    // The engine compares in single precision, other readers do not.
    const bool isSame = stored && realNumber(*stored) == realNumber(text);
    return isSame ? ValueForm{Kind::kMended, *stored} : ValueForm{Kind::kReadable, value};
}

ValueForm textForm(const std::string& value, const std::optional<std::string>& stored) {
    const bool hasQuotesInside = value.front() != '\'' && value.find('\'') != std::string::npos;
    if (!stored) {
        return {Kind::kUnreadable, value};
    }
    return hasQuotesInside ? ValueForm{Kind::kReadable, value} : ValueForm{Kind::kMended, *stored};
}

}  // namespace

ValueForm ValueForm::of(long flag, const std::string& value) {
    const std::optional<std::string> stored = storedForm(flag, value);
    if (stored == value) {
        return {Kind::kStored, value};
    }
    if ((flag & kRealFlag) != 0) {
        return realForm(value);
    }
    return (flag & kIntegerFlag) != 0 ? integerForm(value) : textForm(value, stored);
}

}  // namespace Kalt::Vemo::Tool
