#pragma once

#include <string>

/// Where a benchmark keeps its files.
enum class Medium { memory, disk };

/// A new, empty directory on the medium: below /dev/shm, or below VEMO_BENCH_DISK (the current directory when
/// unset). Removed with all it holds at the end.
class BenchDirectory {
public:
    explicit BenchDirectory(Medium medium);
    ~BenchDirectory();
    BenchDirectory(const BenchDirectory&) = delete;
    BenchDirectory& operator=(const BenchDirectory&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};
