#pragma once

#include <exception>

namespace Kalt::Vemo::Core::Database::Filedb {

/// Why a statement stored nothing of what it was to store.
enum class Refusal {
    none,    ///< it was stored, or failed for another reason, which is in the log
    system,  ///< the operating system refused a call: not stored, or not known to be
    content  ///< the file format cannot hold it
};

/// That of the calling thread's last `executeUpdate`, on any database. Queries and calls with a null text
/// change nothing about it.
[[nodiscard]] Refusal lastRefusal();

/// To be called when an `executeUpdate` of the calling thread begins.
void forgetRefusal();

/// To be called when an `executeUpdate` of the calling thread has failed with this error.
void noteRefusal(const std::exception& error);

}  // namespace Kalt::Vemo::Core::Database::Filedb
