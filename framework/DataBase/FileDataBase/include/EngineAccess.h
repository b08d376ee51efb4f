#pragma once

namespace Kalt::Vemo::Core::Database {

class IDatabase;

namespace Filedb {

/// Why a statement stored nothing of what it was to store.
enum class Refusal {
    none,    ///< it stored it, or failed for a reason that is its own business and in the log
    system,  ///< the operating system refused a call: not stored, or not known to be
    content  ///< what it was to store has no place in the file format
};

/// What the results of the database's calls cannot carry, for the subscription store alone.
class EngineAccess {
public:
    EngineAccess() = delete;

    /// About the last statement that the calling thread sent to any database.
    static Refusal lastRefusal();

    /// Ends the transaction of the calling thread: discards its changes and gives back every count of the
    /// lock that the thread has taken since its `beginTransaction`. What the system refuses is tried again
    /// before the next statement. Does nothing without a transaction.
    ///
    /// Requires: `database` is a FileDatabase.
    static void endTransaction(IDatabase& database);
};

}  // namespace Filedb

}  // namespace Kalt::Vemo::Core::Database
