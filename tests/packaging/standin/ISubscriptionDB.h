#pragma once

#include <list>
#include <string>

#include "SubscriptionRecord.h"

namespace Kalt::Vemo::Notification {

class ISubscriptionDB {
public:
    virtual ~ISubscriptionDB();
    virtual bool init(std::string& path, int expiryTimeVal) = 0;
    virtual bool deinit() = 0;
    virtual bool savePendingMySubscription(int requestId, SubscriptionRecord& record) = 0;
    virtual bool deletePendingMySubscription(int requestId) = 0;
    virtual bool updateMySubscription(int requestId, std::string& subscriptionUri) = 0;
    virtual bool updateMySubscriptionBySubscriptionUri(std::string& subscriptionUri,
                                                       std::string& subscribedResource) = 0;
    virtual bool deleteMySubscriptionBySubscriptionUri(std::string& deviceId,
                                                       std::string& subscriptionUri) = 0;
    virtual bool getMySubscriptionBySubscriptionUri(std::string& subscriptionUri,
                                                    SubscriptionRecord& record) = 0;
    virtual bool getMySubscriptionByDeviceId(std::string& deviceId,
                                             std::list<SubscriptionRecord>& records) = 0;
    virtual bool getMySubscriptionByResourcePaths(std::string& deviceId, std::string& resource,
                                                  std::list<SubscriptionRecord>& records) = 0;
    virtual bool getMySubscriptionContainingResourceList(std::string deviceId,
                                                         std::list<std::string> resources,
                                                         std::list<SubscriptionRecord>& records) = 0;
    virtual bool saveSubscription(SubscriptionRecord& record) = 0;
    virtual bool getSubscriptionContainingResource(std::string& resource,
                                                   std::list<SubscriptionRecord>& records) = 0;
    virtual bool getSubscriptionContainingResourceList(std::list<std::string> resources,
                                                       std::list<SubscriptionRecord>& records) = 0;
    virtual bool getSubscriptionBySubscriptionID(std::string& id, SubscriptionRecord& record) = 0;
    virtual bool updateSubscription(SubscriptionRecord& record) = 0;
    virtual bool deleteSubscriptionBySubscriptionID(std::string& id) = 0;
    virtual bool getSubscriptions(std::list<SubscriptionRecord>& records) = 0;
    virtual bool deleteExpiredSubscriptions() = 0;
};

}  // namespace Kalt::Vemo::Notification
