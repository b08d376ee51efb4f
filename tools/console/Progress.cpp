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

// Long enough to be read, short enough to be true of now.
constexpr auto kRatePeriod = std::chrono::seconds(3);
constexpr auto kShortestPeriod = std::chrono::milliseconds(50);  // a rate of less is chance

std::string minutesAndSeconds(double seconds) {
    const auto whole = static_cast<long>(seconds);
    std::ostringstream text;
    text << whole / 60 << ':' << std::setw(2) << std::setfill('0') << whole % 60;
    return text.str();
}

}  // namespace

void RecentRate::note(Clock::time_point now, double done) {
    samples_.push_back({now, done});
    while (samples_.size() > 2 && samples_[1].time <= now - kRatePeriod) {
        samples_.pop_front();
    }
}

std::optional<double> RecentRate::perSecond() const {
    const std::chrono::duration<double> time =
        samples_.empty() ? Clock::duration::zero() : samples_.back().time - samples_.front().time;
    if (time < kShortestPeriod) {
        return std::nullopt;
    }
    return (samples_.back().done - samples_.front().done) / time.count();
}

Progress::Progress(std::size_t totalBytes)
    : totalBytes_(totalBytes), isShown_(understandsEscapes(STDERR_FILENO)), nextDrawing_(Clock::now()) {
    byteRate_.note(nextDrawing_, 0);
    rowRate_.note(nextDrawing_, 0);
}

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
    byteRate_.note(now, static_cast<double>(bytes));
    rowRate_.note(now, static_cast<double>(rows));
    draw(bytes, rows);
}

void Progress::draw(std::size_t bytes, std::size_t rows) const {
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
    if (const std::optional<double> rate = rowRate_.perSecond()) {
        text << "  " << static_cast<std::size_t>(*rate) << " rows/s";
    }
    const double bytesPerSecond = byteRate_.perSecond().value_or(0);
    if (totalBytes_ > bytes && bytesPerSecond > 0) {
        text << "  " << minutesAndSeconds(static_cast<double>(totalBytes_ - bytes) / bytesPerSecond)
             << " left";
    }
    std::cerr << text.str() << std::flush;
}

}  // namespace Kalt::Vemo::Tool
