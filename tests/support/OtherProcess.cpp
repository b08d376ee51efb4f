#include "OtherProcess.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>

#include "TestSupport.h"

namespace Kalt::Vemo::Test {

namespace {

constexpr long long kNanoseconds = 1000000000;

Status statusOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    const auto instant = [](const struct timespec& time) {
        return time.tv_sec * kNanoseconds + time.tv_nsec;
    };
    return {status.st_ino,           status.st_mode,
            status.st_uid,           status.st_gid,
            status.st_size,          instant(status.st_mtim),
            instant(status.st_ctim), S_ISREG(status.st_mode) ? readFile(path) : ""};
}

}  // namespace

OtherProcess::OtherProcess(const std::function<bool()>& open, const std::function<bool()>& close) {
    std::array<int, 2> answer{};
    std::array<int, 2> order{};
    EXPECT_EQ(pipe(answer.data()), 0);
    EXPECT_EQ(pipe(order.data()), 0);
    child_ = fork();
    EXPECT_GE(child_, 0);
    if (child_ == 0) {
        ::close(order[1]);
        const char isOpen = open() ? 1 : 0;
        char told = 0;
        if (write(answer[1], &isOpen, 1) != 1 || read(order[0], &told, 1) != 1) {
            _exit(2);
        }
        _exit(close && close() ? 0 : 1);
    }
    ::close(answer[1]);
    ::close(order[0]);
    order_ = order[1];
    char isOpen = 0;
    EXPECT_EQ(read(answer[0], &isOpen, 1), 1) << "the other process has ended early";
    ::close(answer[0]);
    hasOpened_ = isOpen != 0;
}

OtherProcess::~OtherProcess() {
    if (child_ > 0) {
        kill();
    }
}

void OtherProcess::goOn() {
    const char order = 1;
    EXPECT_EQ(write(order_, &order, 1), 1);
    close(order_);
    order_ = -1;
}

bool OtherProcess::leave() {
    if (order_ >= 0) {
        goOn();
    }
    return wait() == 0;
}

void OtherProcess::kill() {
    EXPECT_EQ(::kill(child_, SIGKILL), 0);
    static_cast<void>(wait());
}

int OtherProcess::wait() {
    if (order_ >= 0) {
        close(order_);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child_, &status, 0), child_);
    child_ = -1;
    return status;
}

bool inOtherProcess(const std::function<bool()>& work) {
    return OtherProcess(work).hasOpened();
}

std::map<std::string, Status> wholeDirectory(const std::string& path) {
    std::map<std::string, Status> result;
    result["."] = statusOf(path);
    for (const std::string& name : listDirectory(path)) {
        result[name] = statusOf(path + "/" + name);
    }
    return result;
}

}  // namespace Kalt::Vemo::Test
