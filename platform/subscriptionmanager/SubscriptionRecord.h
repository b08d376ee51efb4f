#pragma once

#include <cstdint>
#include <string>

namespace Kalt::Vemo::Notification {

/// One subscription, as the notification framework and the store hand it to each other. A plain value: copies
/// are independent, and one thread at a time may use an object.
///
///     SubscriptionRecord record;
///     record.deviceId = "sensor-7";
///     record.subscribedResource = "/temperature";
///     store->saveSubscription(record);         // sets record.subscriptionId
struct SubscriptionRecord {
    std::string deviceId;             ///< device at the other end
    std::string subscribedResource;   ///< path of the resource; several are set apart by blanks
    std::string subscriptionUri;      ///< where the subscription itself is addressed
    std::string notificationUri;      ///< where notifications are sent
    std::int64_t subscriptionId = 0;  ///< the store's identifier; 0 before the record was saved
};

}  // namespace Kalt::Vemo::Notification
