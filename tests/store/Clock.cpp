#include "Clock.h"

#include <atomic>

namespace {

std::atomic<std::time_t> clockNow{1700000000};

}  // namespace

namespace Kalt::Vemo::Test {

void setClock(std::time_t now) {
    clockNow = now;
}

}  // namespace Kalt::Vemo::Test

// Takes the place of the C library's function in this program. The header has declared it under the name that
// its callers ask for, which is __time64 where a 32-bit program has 64-bit times.
extern "C" std::time_t time(std::time_t* result) noexcept {
    const std::time_t now = clockNow;
    if (result != nullptr) {
        *result = now;
    }
    return now;
}
