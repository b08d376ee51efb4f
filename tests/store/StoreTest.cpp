#include "StoreTest.h"

#include <ostream>

#include "Clock.h"

namespace Kalt::Vemo::Notification {

bool operator==(const SubscriptionRecord& left, const SubscriptionRecord& right) {
    return left.deviceId == right.deviceId && left.subscribedResource == right.subscribedResource &&
           left.subscriptionUri == right.subscriptionUri && left.notificationUri == right.notificationUri &&
           left.subscriptionId == right.subscriptionId;
}

void PrintTo(const SubscriptionRecord& record, std::ostream* out) {
    *out << record.subscriptionId << ":{" << record.deviceId << ", " << record.subscribedResource << ", "
         << record.subscriptionUri << ", " << record.notificationUri << "}";
}

}  // namespace Kalt::Vemo::Notification

namespace Kalt::Vemo::Test {

SubscriptionRecord record(const std::string& deviceId, const std::string& subscribedResource,
                          const std::string& subscriptionUri, const std::string& notificationUri,
                          std::int64_t subscriptionId) {
    SubscriptionRecord result;
    result.deviceId = deviceId;
    result.subscribedResource = subscribedResource;
    result.subscriptionUri = subscriptionUri;
    result.notificationUri = notificationUri;
    result.subscriptionId = subscriptionId;
    return result;
}

SubscriptionRecord last(const Records& records) {
    return records.empty() ? SubscriptionRecord() : records.back();
}

StoreTest::StoreTest() {
    setClock(kNow);
}

void StoreTest::open(int expirySeconds) {
    std::string where = path();
    ASSERT_TRUE(store->init(where, expirySeconds)) << log.dump();
}

void StoreTest::openProvisioned(int expirySeconds) {
    asOtherClient(
        "CREATE TABLE Subscriptions (deviceId TEXT, subscribedResource TEXT, subscriptionUri TEXT, "
        "notificationUri TEXT, expireTime TEXT);");
    open(expirySeconds);
    ASSERT_EQ(subscriptions(), kSubscriptions);
    log.clear();
}

void StoreTest::reopen(int expirySeconds) {
    store->deinit();
    open(expirySeconds);
}

void StoreTest::makeEarlierLayout() {
    asOtherClient(
        "CREATE TABLE Subscriptions (deviceId TEXT, subscribedResource TEXT, subscriptionUri TEXT, "
        "notificationUri TEXT);");
    ASSERT_EQ(subscriptions(), kEarlierSubscriptions);
}

bool StoreTest::savePending(int requestId, SubscriptionRecord record) {
    return store->savePendingMySubscription(requestId, record);
}

bool StoreTest::save(SubscriptionRecord record) {
    return store->saveSubscription(record);
}

bool StoreTest::answer(int requestId, std::string uri) {
    return store->updateMySubscription(requestId, uri);
}

Records StoreTest::allSubscriptions() {
    Records records;
    EXPECT_TRUE(store->getSubscriptions(records));
    return records;
}

Records StoreTest::allOfDevice(std::string deviceId) {
    Records records;
    EXPECT_TRUE(store->getMySubscriptionByDeviceId(deviceId, records));
    return records;
}

std::vector<std::string> StoreTest::storeErrors() const {
    std::vector<std::string> result;
    for (const LoggedMessage& message : log.messages()) {
        if (message.tag == "FileSubscriptionDatabase") {
            EXPECT_EQ(message.module, 16);
            EXPECT_EQ(message.level, -2);
            result.push_back(message.text);
        }
    }
    return result;
}

}  // namespace Kalt::Vemo::Test
