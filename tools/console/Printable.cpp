#include "console/Printable.h"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

namespace Kalt::Vemo::Tool {

namespace {

constexpr std::size_t kLongestQuote = 60;

// What a shell takes as it stands, anywhere in a word.
constexpr const char* kPlainInShell =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_./-+,:@";

bool isWrittenOut(utf8proc_int32_t codePoint, Escapes escapes) {
    switch (utf8proc_category(codePoint)) {
        case UTF8PROC_CATEGORY_CC:
            return true;
        case UTF8PROC_CATEGORY_CF:
        case UTF8PROC_CATEGORY_ZL:
        case UTF8PROC_CATEGORY_ZP:
            return escapes == Escapes::kHexadecimal;
        default:
            return false;
    }
}

// Number of bytes of the character at the start of `bytes`, 0 when it is to be escaped.
std::size_t printableLength(std::string_view bytes, Escapes escapes) {
    utf8proc_int32_t codePoint = 0;
    const auto limit = static_cast<utf8proc_ssize_t>(std::min<std::size_t>(bytes.size(), 4));
    const utf8proc_ssize_t length =
        utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(bytes.data()), limit, &codePoint);
    return length <= 0 || isWrittenOut(codePoint, escapes) ? 0 : static_cast<std::size_t>(length);
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
        const std::size_t length = printableLength(bytes, escapes);
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
