#include "Printable.h"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace Kalt::Vemo::Tool {

namespace {

constexpr std::size_t kLongestQuote = 60;

bool isControl(utf8proc_int32_t codePoint) {
    const utf8proc_category_t category = utf8proc_category(codePoint);
    return category == UTF8PROC_CATEGORY_CC || category == UTF8PROC_CATEGORY_CF ||
           category == UTF8PROC_CATEGORY_ZL || category == UTF8PROC_CATEGORY_ZP;
}

// Number of bytes of the character at the start of `bytes`, 0 when it is to be escaped.
std::size_t printableLength(std::string_view bytes) {
    utf8proc_int32_t codePoint = 0;
    const auto limit = static_cast<utf8proc_ssize_t>(std::min<std::size_t>(bytes.size(), 4));
    const utf8proc_ssize_t length =
        utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(bytes.data()), limit, &codePoint);
    return length <= 0 || isControl(codePoint) ? 0 : static_cast<std::size_t>(length);
}

}  // namespace

std::string printable(std::string_view bytes) {
    std::string text;
    while (!bytes.empty()) {
        const std::size_t length = printableLength(bytes);
        if (length > 0) {
            text += bytes.substr(0, length);
            bytes.remove_prefix(length);
            continue;
        }
        std::array<char, 5> escape{};
        static_cast<void>(
            std::snprintf(escape.data(), escape.size(), "\\x%02x",
                          static_cast<unsigned int>(static_cast<unsigned char>(bytes.front()))));
        text += escape.data();
        bytes.remove_prefix(1);
    }
    return text;
}

std::string quoted(std::string_view bytes) {
    const bool isCut = bytes.size() > kLongestQuote;
    if (isCut) {
        bytes = bytes.substr(0, kLongestQuote);
    }
    return "\"" + printable(bytes) + (isCut ? "\"..." : "\"");
}

std::string counted(std::size_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

}  // namespace Kalt::Vemo::Tool
