#pragma once

#include <cstdint>
#include <string>

namespace Kalt::Vemo::Notification {

// Laid out differently from the host edition's, and with a member that the library does not know.
struct SubscriptionRecord {
    std::int64_t subscriptionId = 0;
    std::string subscriptionUri;
    std::string notificationUri;
    bool confirmed = false;
    std::string deviceId;
    std::string subscribedResource;
};

}  // namespace Kalt::Vemo::Notification
