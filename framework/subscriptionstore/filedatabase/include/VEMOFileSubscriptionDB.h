#pragma once

#include "DatabaseExport.h"
#include "ISubscriptionDB.h"

namespace Kalt::Vemo::Notification {

/// The way in for the notification framework: makes a subscription store that keeps its data in text files.
/// Holds no state; callable from any thread. FileSubscriptionDatabase tells what the store does.
///
///     std::unique_ptr<ISubscriptionDB> store(VEMOFileSubscriptionDB::createInstance());
///     std::string path = "/var/lib/device/subscriptions";
///     if (!store->init(path, 3600)) { ... }    // a saved subscription lives for an hour
class VEMO_DATABASE_EXPORT VEMOFileSubscriptionDB {
public:
    /// Makes a store. Throws: std::bad_alloc when there is no memory.
    /// @return a new store, not yet opened, that the caller deletes
    static ISubscriptionDB* createInstance();
};

}  // namespace Kalt::Vemo::Notification
