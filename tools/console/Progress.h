#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <optional>

namespace Kalt::Vemo::Tool {

/// How fast something goes: over the last seconds, not since its start.
class RecentRate {
public:
    using Clock = std::chrono::steady_clock;

    /// Notes how much is done at a moment. The moments of one object do not go back.
    void note(Clock::time_point now, double done);

    /// What was done in a second; nothing before two moments were noted.
    std::optional<double> perSecond() const;

private:
    struct Sample {
        Clock::time_point time;
        double done;
    };

    std::deque<Sample> samples_;
};

/// A line on standard error that shows how far an import is, how fast, and how long it will take. It is drawn
/// only on a terminal, and is gone at the end.
class Progress {
public:
    /// @param totalBytes size of the input, 0 when it is not known
    explicit Progress(std::size_t totalBytes);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void update(std::size_t bytes, std::size_t rows);

private:
    using Clock = RecentRate::Clock;

    void draw(std::size_t bytes, std::size_t rows) const;

    std::size_t totalBytes_;
    bool isShown_;
    bool isDrawn_ = false;
    RecentRate byteRate_;
    RecentRate rowRate_;
    Clock::time_point nextDrawing_;
};

}  // namespace Kalt::Vemo::Tool
