#pragma once

#include <algorithm>
#include <string>
#include <vector>

namespace Kalt::Vemo::Test {

using Lines = std::vector<std::vector<std::string>>;

/// The fields of each line of a file, by the rules of the format alone: a line takes at most 1023 bytes, ends
/// before its first NUL, loses its last character, and knows no empty fields.
inline Lines linesOf(const std::string& text) {
    constexpr std::size_t kLongestLine = 1023;
    Lines lines;
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t end = std::min({text.find('\n', at), text.size() - 1, at + kLongestLine - 1});
        std::string line = text.substr(at, end - at + 1);
        at = end + 1;
        line = line.substr(0, line.find('\0'));
        if (!line.empty()) {
            line.pop_back();
        }
        std::vector<std::string> fields(1);
        for (const char c : line) {
            if (c == '~') {
                fields.emplace_back();
            } else {
                fields.back() += c;
            }
        }
        fields.erase(std::remove(fields.begin(), fields.end(), ""), fields.end());
        lines.push_back(fields);
    }
    return lines;
}

inline std::string textOf(const Lines& lines) {
    std::string text;
    for (const std::vector<std::string>& fields : lines) {
        for (std::size_t i = 0; i < fields.size(); ++i) {
            text += (i == 0 ? "" : "~") + fields[i];
        }
        text += '\n';
    }
    return text;
}

}  // namespace Kalt::Vemo::Test
