// store PATH: keeps a subscription in a new store, and finds it again after the store was closed.
#include <list>
#include <memory>
#include <string>

#include "ISubscriptionDB.h"
#include "SubscriptionRecord.h"
#include "VEMOFileSubscriptionDB.h"
#include "check.h"

using Kalt::Vemo::Notification::ISubscriptionDB;
using Kalt::Vemo::Notification::SubscriptionRecord;
using Kalt::Vemo::Notification::VEMOFileSubscriptionDB;

static_assert(__cplusplus >= 201703L, "linking the library brings the standard that its headers need");

int main(int, char* arguments[]) {
    std::string path = arguments[1];
    std::string device = "sensor-7";
    {
        const std::unique_ptr<ISubscriptionDB> store(VEMOFileSubscriptionDB::createInstance());
        check(store->init(path, 0), "the store opens");
        SubscriptionRecord record;
        record.deviceId = device;
        record.subscribedResource = "/temperature";
        record.notificationUri = "/notify";
        check(store->savePendingMySubscription(7, record), "a subscription is saved");
        check(record.subscriptionId == 1, "the first subscription is number 1");
        std::string uri = "/subscription/12";
        check(store->updateMySubscription(7, uri), "the answer is noted");
    }
    const std::unique_ptr<ISubscriptionDB> store(VEMOFileSubscriptionDB::createInstance());
    check(store->init(path, 0), "the store opens again");
    std::list<SubscriptionRecord> found;
    check(store->getMySubscriptionByDeviceId(device, found), "the query succeeds");
    check(found.size() == 1, "one subscription is found");
    check(found.front().deviceId == "sensor-7", "deviceId reads back");
    check(found.front().subscribedResource == "/temperature", "subscribedResource reads back");
    check(found.front().subscriptionUri == "/subscription/12", "subscriptionUri reads back");
    check(found.front().notificationUri == "/notify", "notificationUri reads back");
    check(found.front().subscriptionId == 1, "subscriptionId reads back");
    return 0;
}
