#pragma once

#include "DatabaseExport.h"
#include "ISubscriptionDB.h"

namespace Kalt::Vemo::Notification {

/// The way in for the notification framework: makes a subscription store that keeps its data in text files.
///
///     std::unique_ptr<ISubscriptionDB> store(VEMOFileSubscriptionDB::createInstance());
///     std::string path = "/var/lib/device/subscriptions";
///     store->init(path, 3600);
class VEMO_DATABASE_EXPORT VEMOFileSubscriptionDB {
public:
    /// @return a new store, not yet opened, that the caller deletes
    static ISubscriptionDB* createInstance();
};

}  // namespace Kalt::Vemo::Notification
