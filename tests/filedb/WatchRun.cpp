#include "WatchRun.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <thread>

namespace Kalt::Vemo::Test {

namespace {

// The limit only ends a test that hangs.
constexpr auto kLongestWait = std::chrono::seconds(20);
constexpr auto kPause = std::chrono::milliseconds(2);

void redirect(int descriptor, const std::string& file) {
    const int opened = open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (opened < 0 || dup2(opened, descriptor) < 0) {
        _exit(126);
    }
}

}  // namespace

WatchRun::WatchRun(const std::vector<std::string>& arguments) {
    writeFile(files_.file("out"), "");
    writeFile(files_.file("err"), "");
    child_ = fork();
    if (child_ == 0) {
        redirect(STDOUT_FILENO, files_.file("out"));
        redirect(STDERR_FILENO, files_.file("err"));
        static_cast<void>(setenv("LC_ALL", "C.UTF-8", 1));
        std::vector<char*> words{strdup(FILEDB_PROGRAM), strdup("watch")};
        for (const std::string& argument : arguments) {
            words.push_back(strdup(argument.c_str()));
        }
        words.push_back(nullptr);
        execv(words[0], words.data());
        _exit(126);
    }
}

WatchRun::~WatchRun() {
    if (child_ > 0) {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
}

void WatchRun::waitForOut(const std::string& text) const {
    waitFor(files_.file("out"), text);
}

void WatchRun::waitForErr(const std::string& text) const {
    waitFor(files_.file("err"), text);
}

void WatchRun::waitFor(const std::string& file, const std::string& text) const {
    const auto end = std::chrono::steady_clock::now() + kLongestWait;
    while (readFile(file).find(text) == std::string::npos) {
        ASSERT_LT(std::chrono::steady_clock::now(), end) << "waiting for \"" << text << "\"\n--- out\n"
                                                         << out() << "--- err\n"
                                                         << err();
        std::this_thread::sleep_for(kPause);
    }
}

void WatchRun::send(int signal) const {
    ASSERT_EQ(kill(child_, signal), 0);
}

int WatchRun::end() {
    send(SIGINT);
    return wait();
}

int WatchRun::wait() {
    int status = 0;
    EXPECT_EQ(wait4(child_, &status, 0, &usage_), child_);
    child_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace Kalt::Vemo::Test
