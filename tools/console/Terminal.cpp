#include "console/Terminal.h"

#include <langinfo.h>
#include <unistd.h>
#include <utf8proc.h>

#include <algorithm>
#include <cstdlib>

namespace Kalt::Vemo::Tool {

bool isTerminal(int descriptor) {
    return isatty(descriptor) == 1;
}

bool isUtf8Locale() {
    return std::string_view(nl_langinfo(CODESET)) == "UTF-8";
}

std::size_t displayWidth(std::string_view text) {
    std::size_t width = 0;
    while (!text.empty()) {
        utf8proc_int32_t codePoint = 0;
        const utf8proc_ssize_t length =
            utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                             static_cast<utf8proc_ssize_t>(text.size()), &codePoint);
        if (length <= 0) {
            ++width;
            text.remove_prefix(1);
            continue;
        }
        width += static_cast<std::size_t>(utf8proc_charwidth(codePoint));
        text.remove_prefix(static_cast<std::size_t>(length));
    }
    return width;
}

std::size_t characterCount(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
    }));
}

Colours::Colours(int descriptor) {
    const char* const refused = std::getenv("NO_COLOR");
    enabled_ = isTerminal(descriptor) && (refused == nullptr || *refused == '\0');
}

std::string Colours::paint(const char* code, const std::string& text) const {
    return enabled_ ? "\x1b[" + std::string(code) + "m" + text + "\x1b[0m" : text;
}

}  // namespace Kalt::Vemo::Tool
