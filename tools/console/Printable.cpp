#include "console/Printable.h"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <utility>

namespace Kalt::Vemo::Tool {

namespace {

constexpr std::size_t kLongestQuote = 60;

// What a shell takes as it stands, anywhere in a word.
constexpr const char* kPlainInShell =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_./-+,:@";

// The control characters (ESC and DEL among them, and those of two bytes), the format characters (which turn
// the direction of writing or take no room), the separators of lines, and what else is not seen, such as
// fillers.
bool isWrittenOut(utf8proc_int32_t codePoint) {
    switch (utf8proc_category(codePoint)) {
        case UTF8PROC_CATEGORY_CC:
        case UTF8PROC_CATEGORY_CF:
        case UTF8PROC_CATEGORY_ZL:
        case UTF8PROC_CATEGORY_ZP:
            return true;
        default:
            return utf8proc_get_property(codePoint)->ignorable;
    }
}

// The character at the start of `bytes`, and the number of its bytes, 0 when they are no UTF-8.
std::pair<utf8proc_int32_t, std::size_t> firstCharacter(std::string_view bytes) {
    utf8proc_int32_t codePoint = 0;
    const auto limit = static_cast<utf8proc_ssize_t>(std::min<std::size_t>(bytes.size(), 4));
    const utf8proc_ssize_t length =
        utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(bytes.data()), limit, &codePoint);
    return {codePoint, length <= 0 ? 0 : static_cast<std::size_t>(length)};
}

// Number of bytes of the character at the start of `bytes`, 0 when it is to be escaped.
std::size_t printableLength(std::string_view bytes) {
    const auto [codePoint, length] = firstCharacter(bytes);
    return isWrittenOut(codePoint) ? 0 : length;
}

// \uNNNN, or two of them for a character that does not fit into one.
std::string jsonEscape(utf8proc_int32_t codePoint) {
    constexpr utf8proc_int32_t kFirstOfTwo = 0x10000;
    if (codePoint >= kFirstOfTwo) {
        const utf8proc_int32_t rest = codePoint - kFirstOfTwo;
        return jsonEscape(0xD800 + (rest >> 10)) + jsonEscape(0xDC00 + (rest & 0x3FF));
    }
    std::array<char, 7> escape{};
    static_cast<void>(
        std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned int>(codePoint)));
    return escape.data();
}

std::string writtenOut(char byte, Escapes escapes) {
    if (escapes == Escapes::kReversible) {
        switch (byte) {
            case '\n':
                return "\\n";
            case '\r':
                return "\\r";
            case '\t':
                return "\\t";
            default:
                break;
        }
    }
    std::array<char, 5> escape{};
    static_cast<void>(std::snprintf(escape.data(), escape.size(), "\\x%02x",
                                    static_cast<unsigned int>(static_cast<unsigned char>(byte))));
    return escape.data();
}

// What `printf` of a shell prints as `bytes`: each that is not plain as an octal escape.
std::string octalEscaped(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        std::array<char, 5> escape = {byte};
        if (byte == '\0' || std::strchr(kPlainInShell, byte) == nullptr) {
            static_cast<void>(std::snprintf(escape.data(), escape.size(), "\\%03o",
                                            static_cast<unsigned int>(static_cast<unsigned char>(byte))));
        }
        text += escape.data();
    }
    return text;
}

}  // namespace

std::string printable(std::string_view bytes, Escapes escapes) {
    std::string text;
    while (!bytes.empty()) {
        const std::size_t length = printableLength(bytes);
        if (length == 0) {
            text += writtenOut(bytes.front(), escapes);
            bytes.remove_prefix(1);
            continue;
        }
        text += bytes.substr(0, length);
        if (bytes.front() == '\\' && escapes == Escapes::kReversible) {
            text += '\\';
        }
        bytes.remove_prefix(length);
    }
    return text;
}

bool isUtf8(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t length = firstCharacter(bytes).second;
        if (length == 0) {
            return false;
        }
        bytes.remove_prefix(length);
    }
    return true;
}

std::string hexadecimal(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        std::array<char, 3> digits{};
        static_cast<void>(std::snprintf(digits.data(), digits.size(), "%02x",
                                        static_cast<unsigned int>(static_cast<unsigned char>(byte))));
        text += digits.data();
    }
    return text;
}

std::string printableJson(std::string_view json) {
    std::string text;
    while (!json.empty()) {
        const auto [codePoint, length] = firstCharacter(json);
        const std::size_t taken = std::max<std::size_t>(length, 1);
        text += length > 0 && isWrittenOut(codePoint) ? jsonEscape(codePoint)
                                                      : std::string(json.substr(0, taken));
        json.remove_prefix(taken);
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

std::string shellPath(const std::string& path) {
    std::string word = (path.rfind('-', 0) == 0 ? "./" : "") + path;
    if (word.find_first_not_of(kPlainInShell) == std::string::npos) {
        return word;
    }
    if (printable(word) != word) {
        return "\"$(printf '" + octalEscaped(word) + "')\"";
    }
    std::string text;
    for (const char byte : word) {
        text += byte == '\'' ? "'\\''" : std::string(1, byte);
    }
    return "'" + text + "'";
}

std::string counted(std::size_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

}  // namespace Kalt::Vemo::Tool
