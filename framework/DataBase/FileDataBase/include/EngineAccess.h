#pragma once

#include <cstddef>

namespace Kalt::Vemo::Core::Database {

class IDatabase;

namespace Filedb {

enum class Synchronous;

/// What a database offers the subscription store beyond `IDatabase`.
class EngineAccess {
public:
    EngineAccess() = delete;

    /// Ends the transaction of the calling thread: discards its changes and releases every count of the lock
    /// that the thread has acquired since its `beginTransaction`. What the system refuses is tried again
    /// before the next statement. Without a transaction it does nothing.
    ///
    /// Requires: `database` is a FileDatabase.
    static void endTransaction(IDatabase& database);

    /// How many bytes of memory the texts of tables may take between statements, instead of the number that
    /// the library is built with; 0: none is kept. To be called before `init`.
    ///
    /// Requires: `database` is a FileDatabase.
    static void keepBytes(IDatabase& database, std::size_t bytes);

    /// The level of a database that is made without one.
    static Synchronous defaultSynchronous();
};

}  // namespace Filedb

}  // namespace Kalt::Vemo::Core::Database
