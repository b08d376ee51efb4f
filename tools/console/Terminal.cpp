#include "console/Terminal.h"

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utf8proc.h>

#include <algorithm>
#include <cstdlib>

namespace Kalt::Vemo::Tool {

namespace {

struct ShownCharacter {
    std::size_t bytes;
    std::size_t columns;
};

// A byte that is no UTF-8 counts as a character.
ShownCharacter firstOf(std::string_view text) {
    utf8proc_int32_t codePoint = 0;
    const utf8proc_ssize_t length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                                     static_cast<utf8proc_ssize_t>(text.size()), &codePoint);
    if (length <= 0) {
        return {1, 1};
    }
    return {static_cast<std::size_t>(length), static_cast<std::size_t>(utf8proc_charwidth(codePoint))};
}

}  // namespace

bool isTerminal(int descriptor) {
    return isatty(descriptor) == 1;
}

bool understandsEscapes(int descriptor) {
    const char* const kind = std::getenv("TERM");
    return isTerminal(descriptor) && kind != nullptr && *kind != '\0' && std::string_view(kind) != "dumb";
}

std::optional<TerminalSize> terminalSize(int descriptor) {
    struct winsize size {};
    if (ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        return std::nullopt;
    }
    return TerminalSize{size.ws_col, size.ws_row};
}

bool isUtf8Locale() {
    return std::string_view(nl_langinfo(CODESET)) == "UTF-8";
}

std::size_t displayWidth(std::string_view text) {
    std::size_t width = 0;
    while (!text.empty()) {
        const ShownCharacter first = firstOf(text);
        width += first.columns;
        text.remove_prefix(first.bytes);
    }
    return width;
}

std::string fittedTo(std::string_view text, std::size_t columns, std::string_view mark) {
    if (displayWidth(text) <= columns) {
        return std::string(text);
    }
    const std::size_t room = columns - displayWidth(mark);
    std::size_t taken = 0;
    std::size_t bytes = 0;
    for (;;) {
        const ShownCharacter next = firstOf(text.substr(bytes));
        if (taken + next.columns > room) {
            return std::string(text.substr(0, bytes)) + std::string(mark);
        }
        taken += next.columns;
        bytes += next.bytes;
    }
}

std::size_t characterCount(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
    }));
}

Colours::Colours(int descriptor) {
    const char* const refused = std::getenv("NO_COLOR");
    enabled_ = understandsEscapes(descriptor) && (refused == nullptr || *refused == '\0');
}

std::string Colours::paint(const char* code, const std::string& text) const {
    return enabled_ ? "\x1b[" + std::string(code) + "m" + text + "\x1b[0m" : text;
}

}  // namespace Kalt::Vemo::Tool
