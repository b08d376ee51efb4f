#pragma once

#include <sys/resource.h>
#include <sys/types.h>

#include <string>
#include <vector>

#include "ProgramRun.h"

namespace Kalt::Vemo::Test {

/// A run of `filedb watch` beside the test, which writes.
class WatchRun {
public:
    /// @param arguments what follows "watch"
    explicit WatchRun(const std::vector<std::string>& arguments);
    ~WatchRun();
    WatchRun(const WatchRun&) = delete;
    WatchRun& operator=(const WatchRun&) = delete;

    std::string out() const { return readFile(files_.file("out")); }
    std::string err() const { return readFile(files_.file("err")); }

    /// Waits until standard output, or standard error, holds a text.
    void waitForOut(const std::string& text) const;
    void waitForErr(const std::string& text) const;

    void send(int signal) const;

    /// Types Control-C, and gives the exit status.
    int end();

    /// The exit status of a run that ends by itself.
    int wait();

    /// What it used. Requires: it has ended.
    const rusage& usage() const { return usage_; }

private:
    void waitFor(const std::string& file, const std::string& text) const;

    TemporaryDirectory files_;
    pid_t child_ = -1;
    rusage usage_{};
};

}  // namespace Kalt::Vemo::Test
