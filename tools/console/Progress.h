#pragma once

#include <chrono>
#include <cstddef>

namespace Kalt::Vemo::Tool {

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
    using Clock = std::chrono::steady_clock;

    void draw(std::size_t bytes, std::size_t rows, double seconds) const;

    std::size_t totalBytes_;
    bool isShown_;
    bool isDrawn_ = false;
    Clock::time_point start_ = Clock::now();
    Clock::time_point nextDrawing_ = start_;
};

}  // namespace Kalt::Vemo::Tool
