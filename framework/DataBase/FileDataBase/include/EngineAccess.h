#pragma once

namespace Kalt::Vemo::Core::Database {

class IDatabase;

namespace Filedb {

/// What the subscription store alone may do with a database, beyond `IDatabase`.
class EngineAccess {
public:
    EngineAccess() = delete;

    /// Ends the transaction of the calling thread: discards its changes and gives back every count of the
    /// lock that the thread has taken since its `beginTransaction`. What the system refuses is tried again
    /// before the next statement. Does nothing without a transaction.
    ///
    /// Requires: `database` is a FileDatabase.
    static void endTransaction(IDatabase& database);
};

}  // namespace Filedb

}  // namespace Kalt::Vemo::Core::Database
