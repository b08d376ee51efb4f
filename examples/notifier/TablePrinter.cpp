#include "TablePrinter.h"

#include <algorithm>
#include <array>

namespace Notifier {

namespace {

/// Bytes of the UTF-8 character at `position`; 0 when there is none. Control characters count as none.
std::size_t characterLength(const std::string& text, std::size_t position) {
    const auto byte = [&](std::size_t offset) {
        return position + offset < text.size() ? static_cast<unsigned char>(text[position + offset]) : 0U;
    };
    const auto continues = [&](std::size_t offset) { return (byte(offset) & 0xC0U) == 0x80U; };
    const unsigned int first = byte(0);
    if (first < 0x80U) {
        return first >= 0x20U && first != 0x7FU ? 1 : 0;
    }
    if (first >= 0xC2U && first <= 0xDFU && continues(1)) {
        return first == 0xC2U && byte(1) < 0xA0U ? 0 : 2;
    }
    if ((first & 0xF0U) == 0xE0U && continues(1) && continues(2)) {
        const bool overlong = first == 0xE0U && byte(1) < 0xA0U;
        const bool surrogate = first == 0xEDU && byte(1) >= 0xA0U;
        return overlong || surrogate ? 0 : 3;
    }
    if (first >= 0xF0U && first <= 0xF4U && continues(1) && continues(2) && continues(3)) {
        const bool overlong = first == 0xF0U && byte(1) < 0x90U;
        const bool tooLarge = first == 0xF4U && byte(1) > 0x8FU;
        return overlong || tooLarge ? 0 : 4;
    }
    return 0;
}

std::string escaped(char character) {
    switch (character) {
        case '\n':
            return "\\n";
        case '\r':
            return "\\r";
        case '\t':
            return "\\t";
        default: {
            constexpr std::array<char, 17> digits{"0123456789abcdef"};
            const auto code = static_cast<unsigned char>(character);
            return {'\\', 'x', digits[code >> 4U], digits[code & 0xFU]};
        }
    }
}

std::size_t width(const std::string& printed) {
    return static_cast<std::size_t>(std::count_if(printed.begin(), printed.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
    }));
}

bool isNumber(const std::string& text) {
    const std::size_t sign = text.compare(0, 1, "-") == 0 ? 1 : 0;
    return text.size() > sign && text.find_first_not_of("0123456789", sign) == std::string::npos;
}

}  // namespace

std::string printable(const std::string& text) {
    std::string result;
    std::size_t position = 0;
    while (position < text.size()) {
        const std::size_t length = characterLength(text, position);
        if (length == 0) {
            result += escaped(text[position]);
            ++position;
        } else if (text[position] == '\\') {
            result += "\\\\";
            ++position;
        } else {
            result.append(text, position, length);
            position += length;
        }
    }
    return result;
}

void printTable(std::ostream& out, const std::vector<std::string>& heading,
                const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::vector<std::string>> lines = {heading};
    for (const std::vector<std::string>& row : rows) {
        std::vector<std::string>& line = lines.emplace_back();
        std::transform(row.begin(), row.end(), std::back_inserter(line), printable);
    }
    std::vector<std::size_t> widths(heading.size(), 0);
    for (const std::vector<std::string>& line : lines) {
        for (std::size_t column = 0; column < line.size(); ++column) {
            widths.at(column) = std::max(widths.at(column), width(line[column]));
        }
    }
    for (const std::vector<std::string>& line : lines) {
        std::string text;
        for (std::size_t column = 0; column < line.size(); ++column) {
            const std::string padding(widths.at(column) - width(line[column]), ' ');
            text += column == 0 ? "  " : "   ";
            text += isNumber(line[column]) ? padding + line[column] : line[column] + padding;
        }
        text.erase(text.find_last_not_of(' ') + 1);
        out << text << '\n';
    }
}

}  // namespace Notifier
