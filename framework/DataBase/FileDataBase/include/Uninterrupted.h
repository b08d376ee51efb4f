#pragma once

#include <cerrno>

namespace Kalt::Vemo::Core::Database::Filedb {

/// On some file systems a signal may interrupt a call. It is repeated, but not without limit: a system that
/// always interrupts must not hang the caller.
template <typename Call>
auto uninterrupted(Call call) {
    constexpr int kMostTries = 10;
    auto result = call();
    for (int tries = 1; result < 0 && errno == EINTR && tries < kMostTries; ++tries) {
        result = call();
    }
    return result;
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
