#pragma once

#include <exception>

namespace Kalt::Vemo::Core::Database::Filedb {

/// Why a statement stored nothing of what it was to store.
enum class Refusal {
    none,    ///< it stored it, or failed for a reason that is its own business and in the log
    system,  ///< the operating system refused a call: not stored, or not known to be
    content  ///< what it was to store has no place in the file format
};

/// About the last statement that the calling thread sent to any database.
[[nodiscard]] Refusal lastRefusal();

/// A statement of the calling thread begins.
void forgetRefusal();

/// A statement of the calling thread has failed with this error.
void noteRefusal(const std::exception& error);

}  // namespace Kalt::Vemo::Core::Database::Filedb
