#include "check/TableLines.h"

#include <algorithm>
#include <charconv>

#include "FileUtils.h"
#include "RecordReader.h"

namespace Kalt::Vemo::Tool {

using namespace Core::Database::Filedb;

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

// A single-precision number is printed with two digits after the "e".
bool endsInExponent(std::string_view field) {
    const std::size_t size = field.size();
    return size > 4 && field[size - 4] == 'e' && (field[size - 3] == '+' || field[size - 3] == '-') &&
           isDigit(field[size - 2]) && isDigit(field[size - 1]);
}

// Another digit would make the number larger than any.
bool isLongestNumber(std::string_view field, std::uint64_t largest) {
    std::uint64_t number = 0;
    const char* const end = field.data() + field.size();
    const auto [rest, error] = std::from_chars(field.data(), end, number);
    return error == std::errc() && rest == end && number > largest / 10;
}

std::vector<TableLine> cut(std::string_view rest) {
    std::vector<TableLine> lines;
    while (!rest.empty()) {
        const std::size_t end = rest.find('\n');
        const bool hasLineFeed = end != std::string_view::npos;
        const std::string_view line = rest.substr(0, end);
        lines.push_back({lines.size() + 1, line, hasLineFeed});
        rest.remove_prefix(line.size() + (hasLineFeed ? 1 : 0));
    }
    return lines;
}

}  // namespace

std::vector<std::string> TableLine::fields() const {
    const std::string line = std::string(text) + '\n';
    Record record{std::string_view(line)};
    return {record.all().begin(), record.all().end()};
}

bool TableLine::hasEmptyField() const {
    return !text.empty() && (text.front() == FIELD_SEPARATOR || text.back() == FIELD_SEPARATOR ||
                             text.find(std::string(2, FIELD_SEPARATOR)) != std::string_view::npos);
}

// In another column than one of numbers any of these may be the beginning of a text without quotes.
bool TableLine::isComplete(long flag, std::uint64_t largest) const {
    const std::string_view field = text.substr(text.rfind(FIELD_SEPARATOR) + 1);
    if (field.empty() || field == kNullWord) {
        return true;
    }
    if ((flag & kRealFlag) != 0) {
        return field == "inf" || field == "-inf" || endsInExponent(field) || isLongestNumber(field, largest);
    }
    return (flag & kIntegerFlag) != 0 && isLongestNumber(field, largest);
}

TableLines TableLines::of(std::string_view text) {
    TableLines result;
    result.hasMark = text.substr(0, kByteOrderMark.size()) == kByteOrderMark;
    if (result.hasMark) {
        text.remove_prefix(kByteOrderMark.size());
    }
    result.lines = cut(text);
    const auto endsInReturn = [](const TableLine& line) {
        return !line.text.empty() && line.text.back() == '\r';
    };
    result.hasCarriageReturns =
        !result.lines.empty() && endsInReturn(result.lines.front()) &&
        std::all_of(result.lines.begin(), result.lines.end(),
                    [&](const TableLine& line) { return endsInReturn(line) || !line.hasLineFeed; });
    if (result.hasCarriageReturns) {
        for (TableLine& line : result.lines) {
            if (endsInReturn(line)) {
                line.text.remove_suffix(1);
                line.hasLineFeed = true;  // a last line that ends in the carriage return has all that counts
            }
        }
    }
    return result;
}

}  // namespace Kalt::Vemo::Tool
