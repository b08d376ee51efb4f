#include <unistd.h>

#include <array>
#include <cerrno>
#include <iostream>

#include "shell/InterruptKey.h"
#include "shell/LineInput.h"

namespace Kalt::Vemo::Tool {

namespace {

class PlainLines : public LineInput {
public:
    Line read(const char* prompt) override {
        const InterruptKey key(InterruptKey::Ends::kLine);
        std::cout << prompt << std::flush;
        // The terminal gives a line at a time; one that is longer than the block comes in pieces.
        std::string text;
        for (;;) {
            std::array<char, 4096> block{};
            const ssize_t got = ::read(STDIN_FILENO, block.data(), block.size());
            if (got < 0 && errno == EINTR) {
                continue;
            }
            if (got <= 0) {
                return text.empty() ? Line{End::kEndOfInput, ""} : Line{End::kLine, text};
            }
            text.append(block.data(), static_cast<std::size_t>(got));
            const char last = text.back();
            if (last != '\n' && last != InterruptKey::kCharacter) {
                continue;
            }
            text.pop_back();
            if (last == '\n') {
                return {End::kLine, text};
            }
            std::cout << '\n';
            return {End::kInterrupted, text};
        }
    }
};

}  // namespace

std::unique_ptr<LineInput> makePlainLines() {
    return std::make_unique<PlainLines>();
}

}  // namespace Kalt::Vemo::Tool
