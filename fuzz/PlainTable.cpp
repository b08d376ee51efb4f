#include "PlainTable.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>

namespace Kalt::Vemo::Fuzz {

namespace {

constexpr std::size_t kLongestLine = 1023;
constexpr char kSeparator = '~';
constexpr long kInteger = 1;

Fields fieldsOf(std::string_view line) {
    line = line.substr(0, line.find('\0'));
    if (!line.empty()) {
        line.remove_suffix(1);
    }
    Fields fields;
    std::string field;
    for (const char c : line) {
        if (c != kSeparator) {
            field += c;
        } else if (!field.empty()) {
            fields.push_back(std::move(field));
            field.clear();
        }
    }
    if (!field.empty()) {
        fields.push_back(std::move(field));
    }
    return fields;
}

}  // namespace

std::vector<Fields> plainLines(std::string_view text) {
    std::vector<Fields> lines;
    while (!text.empty()) {
        const std::size_t lineFeed = text.substr(0, kLongestLine).find('\n');
        const std::size_t length =
            lineFeed == std::string_view::npos ? std::min(text.size(), kLongestLine) : lineFeed + 1;
        lines.push_back(fieldsOf(text.substr(0, length)));
        text.remove_prefix(length);
    }
    return lines;
}

std::string plainLine(const Fields& fields) {
    std::string line;
    for (const std::string& field : fields) {
        line += (line.empty() ? "" : std::string(1, kSeparator)) + field;
    }
    return line + '\n';
}

PlainTable::PlainTable(std::string_view text) {
    std::vector<Fields> lines = plainLines(text);
    std::size_t next = 0;
    for (Fields* const part : {&names, &flags, &key}) {
        if (next < lines.size()) {
            *part = std::move(lines[next++]);
        }
    }
    records.assign(lines.begin() + static_cast<std::ptrdiff_t>(next), lines.end());
    if (key.size() == 1) {
        const auto column =
            static_cast<std::size_t>(std::find(names.begin(), names.end(), key.front()) - names.begin());
        isUsable = column < names.size() && column < flags.size();
        hasAlias = isUsable && (flagOf(column) & kInteger) != 0;
    }
}

std::size_t PlainTable::width() const {
    return names.size() - (hasAlias || names.empty() ? 0 : 1);
}

long PlainTable::flagOf(std::size_t column) const {
    return std::strtol(flags[column].c_str(), nullptr, 10);
}

std::string PlainTable::text() const {
    std::string result = plainLine(names) + plainLine(flags) + plainLine(key);
    for (const Fields& record : records) {
        result += plainLine(record);
    }
    return result;
}

std::string plainCell(const std::string& field) {
    if (field == "NULL") {
        return {};
    }
    const bool isQuoted = field.front() == '\'' && field.back() == '\'';
    if (!isQuoted) {
        return field;
    }
    return field.size() < 2 ? std::string() : field.substr(1, field.size() - 2);
}

}  // namespace Kalt::Vemo::Fuzz
