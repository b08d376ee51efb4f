#pragma once

#include <memory>

#include "SubscriptionFileDatabase.h"

namespace Kalt::Vemo::Notification {

/// What tests and benchmarks may do with a store beyond its interface.
class StoreAccess {
public:
    StoreAccess() = delete;

    /// Makes a store that is not open, with a level of its own.
    static std::unique_ptr<FileSubscriptionDatabase> make(Core::Database::Filedb::Synchronous synchronous) {
        return std::unique_ptr<FileSubscriptionDatabase>(new FileSubscriptionDatabase(synchronous));
    }

    /// The engine of an open store.
    static Core::Database::IDatabase& database(FileSubscriptionDatabase& store) { return *store.database_; }
};

}  // namespace Kalt::Vemo::Notification
