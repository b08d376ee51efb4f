#include "console/Progress.h"

#include <unistd.h>

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <string>

#include "console/Terminal.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr auto kBetweenDrawings = std::chrono::milliseconds(100);
constexpr std::size_t kBarLength = 24;
constexpr const char* kClearLine = "\r\x1b[K";

}  // namespace

Progress::Progress(std::size_t totalBytes)
    : totalBytes_(totalBytes), isShown_(understandsEscapes(STDERR_FILENO)) {}

Progress::~Progress() {
    if (isDrawn_) {
        std::cerr << kClearLine << std::flush;
    }
}

void Progress::update(std::size_t bytes, std::size_t rows) {
    const Clock::time_point now = Clock::now();
    if (!isShown_ || now < nextDrawing_) {
        return;
    }
    nextDrawing_ = now + kBetweenDrawings;
    isDrawn_ = true;
    draw(bytes, rows, std::chrono::duration<double>(now - start_).count());
}

void Progress::draw(std::size_t bytes, std::size_t rows, double seconds) const {
    std::ostringstream text;
    text << kClearLine;
    const double share =
        totalBytes_ == 0 ? 0 : std::min(1.0, static_cast<double>(bytes) / static_cast<double>(totalBytes_));
    if (totalBytes_ > 0) {
        const auto filled = static_cast<std::size_t>(share * static_cast<double>(kBarLength));
        text << '[' << std::string(filled, '#') << std::string(kBarLength - filled, '.') << "] "
             << std::setw(3) << static_cast<int>(share * 100) << "%  ";
    }
    text << rows << (rows == 1 ? " row" : " rows");
    if (seconds > 0) {
        text << "  " << static_cast<std::size_t>(static_cast<double>(rows) / seconds) << " rows/s";
    }
    if (share > 0) {
        const auto left = static_cast<long>(seconds / share - seconds);
        text << "  " << left / 60 << ':' << std::setw(2) << std::setfill('0') << left % 60 << " left";
    }
    std::cerr << text.str() << std::flush;
}

}  // namespace Kalt::Vemo::Tool
