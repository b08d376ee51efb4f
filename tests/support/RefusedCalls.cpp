#include "RefusedCalls.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>

namespace Kalt::Vemo::Test {

namespace {

constexpr std::chrono::seconds kPatience(10);

std::vector<Trouble> onceAndLasting(const std::vector<Trouble>& troubles) {
    std::vector<Trouble> result;
    for (const Trouble& trouble : troubles) {
        result.push_back({trouble.name + ", once", trouble.fault, false});
        result.push_back({trouble.name + ", lasting", trouble.fault, true});
    }
    return result;
}

}  // namespace

std::vector<Trouble> allTroubles() {
    std::vector<Trouble> result = onceAndLasting({{"EIO", Fault::refusal(EIO)},
                                                  {"ENOSPC", Fault::refusal(ENOSPC)},
                                                  {"EMFILE", Fault::refusal(EMFILE)},
                                                  {"EACCES", Fault::refusal(EACCES)},
                                                  {"EINTR", Fault::refusal(EINTR)},
                                                  {"short", Fault::kShort},
                                                  {"no progress", Fault::kNoProgress}});
    result.push_back({"half a write, then no space", Fault::kHalfWrite, true});
    return result;
}

std::vector<Trouble> mainTroubles() {
    return onceAndLasting(
        {{"EIO", Fault::kIoError}, {"disk full", Fault::kNoSpace}, {"short", Fault::kShort}});
}

bool endsEarly(const std::function<bool()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(work() ? 0 : 1);
    }
    int status = 0;
    EXPECT_GT(child, 0);
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_THAT(WEXITSTATUS(status), ::testing::AnyOf(0, kDeathStatus));
    return WEXITSTATUS(status) == kDeathStatus;
}

void mustEnd(const std::string& what, const std::function<void()>& work) {
    std::future<void> done = std::async(std::launch::async, work);
    if (done.wait_for(kPatience) == std::future_status::ready) {
        done.get();
        return;
    }
    ADD_FAILURE() << what << " is held up: it has not ended after " << kPatience.count() << " seconds";
    static_cast<void>(std::fflush(stdout));
    std::abort();
}

}  // namespace Kalt::Vemo::Test
