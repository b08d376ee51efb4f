#include "StoreTest.h"

namespace Kalt::Vemo::Test {
namespace {

using ::testing::ElementsAre;

const std::string kColumns = "deviceId, subscribedResource, subscriptionUri, notificationUri, ROWID FROM ";

/// The database logs each statement text that it is given; clients and traces know the store by these texts.
class StatementText : public StoreTest {
protected:
    /// The texts of the changing statements and of the queries that were sent since the last call.
    std::vector<std::string> sent() {
        const std::string mark = "passed SQL:";
        std::vector<std::string> result;
        for (const std::string& text : log.texts(1)) {
            if (text.compare(0, mark.size(), mark) == 0) {
                result.push_back(text.substr(mark.size()));
            }
        }
        log.clear();
        return result;
    }

    SubscriptionRecord some = record("lamp", "/on", "/s", "/n", 3);
    std::string device = "lamp";
    std::string resource = "/on";
    std::string uri = "/s";
    std::string id = "3";
    Records found;
};

TEST_F(StatementText, OfOpening) {
    open();
    EXPECT_THAT(sent(),
                ElementsAre("'CREATE TABLE IF NOT EXISTS MySubscriptions (requestId INTEGER, deviceId TEXT, "
                            "subscribedResource TEXT, subscriptionUri TEXT, notificationUri TEXT);'",
                            "'ALTER TABLE Subscriptions ADD COLUMN expireTime TEXT'"));
}

TEST_F(StatementText, OfChangesToMySubscriptions) {
    openProvisioned();
    store->savePendingMySubscription(7, some);
    EXPECT_THAT(sent(), ElementsAre("'INSERT INTO MySubscriptions (requestId, deviceId, subscribedResource, "
                                    "subscriptionUri, notificationUri ) VALUES (?, '?', '?', '?', '?');'"));
    store->deletePendingMySubscription(7);
    EXPECT_THAT(sent(), ElementsAre("'DELETE FROM MySubscriptions WHERE requestId = ?;'"));
    store->updateMySubscription(7, uri);
    EXPECT_THAT(
        sent(),
        ElementsAre("'UPDATE MySubscriptions SET requestId=?, subscriptionUri='?' WHERE requestId = ?;'"));
    store->updateMySubscriptionBySubscriptionUri(uri, resource);
    EXPECT_THAT(
        sent(),
        ElementsAre("'UPDATE MySubscriptions SET subscribedResource = '?' WHERE subscriptionUri = '?';'"));
    store->deleteMySubscriptionBySubscriptionUri(device, uri);
    EXPECT_THAT(sent(),
                ElementsAre("'DELETE FROM MySubscriptions WHERE deviceId = '?' AND subscriptionUri = '?';'"));
}

TEST_F(StatementText, OfQueriesOnMySubscriptions) {
    openProvisioned();
    store->getMySubscriptionBySubscriptionUri(uri, some);
    EXPECT_THAT(sent(), ElementsAre("SELECT " + kColumns + "MySubscriptions WHERE subscriptionUri = '?';"));
    store->getMySubscriptionByDeviceId(device, found);
    EXPECT_THAT(sent(), ElementsAre("SELECT " + kColumns + "MySubscriptions WHERE deviceId = '?';"));
    store->getMySubscriptionByResourcePaths(device, resource, found);
    EXPECT_THAT(sent(), ElementsAre("SELECT " + kColumns +
                                    "MySubscriptions WHERE deviceId = '?' AND subscribedResource = '?';"));
    store->getMySubscriptionContainingResourceList("lamp", {"/a", "/b"}, found);
    EXPECT_THAT(
        sent(),
        ElementsAre(
            "SELECT " + kColumns +
            "MySubscriptions WHERE deviceId = 'lamp' AND( "
            "( subscribedResource = '/a'  OR subscribedResource LIKE '% /a' OR subscribedResource LIKE "
            "'/a %' OR subscribedResource LIKE '% /a %' ) "
            " OR "
            "( subscribedResource = '/b'  OR subscribedResource LIKE '% /b' OR subscribedResource LIKE "
            "'/b %' OR subscribedResource LIKE '% /b %' ) "
            ");"));
}

TEST_F(StatementText, OfChangesToSubscriptions) {
    openProvisioned();
    store->saveSubscription(some);
    EXPECT_THAT(sent(),
                ElementsAre("'INSERT INTO Subscriptions (deviceId, subscribedResource, subscriptionUri, "
                            "notificationUri ) VALUES ('?', '?', '?', '?');'"));
    store->updateSubscription(some);
    EXPECT_THAT(
        sent(),
        ElementsAre(
            "'UPDATE Subscriptions SET deviceId='?', subscribedResource='?', notificationUri='?' WHERE "
            "ROWID = '?';'"));
    store->deleteSubscriptionBySubscriptionID(id);
    EXPECT_THAT(sent(), ElementsAre("'DELETE FROM Subscriptions WHERE ROWID = ?;'"));
    store->deleteExpiredSubscriptions();
    EXPECT_THAT(sent(), ElementsAre("'DELETE FROM Subscriptions WHERE expireTime <= '1700000000' ;'"));
}

TEST_F(StatementText, OfChangesToSubscriptionsThatExpire) {
    for (const int seconds : {1, 60}) {
        store->deinit();
        openProvisioned(seconds);
        store->saveSubscription(some);
        EXPECT_THAT(sent(),
                    ElementsAre("'INSERT INTO Subscriptions (deviceId, subscribedResource, subscriptionUri, "
                                "notificationUri, expireTime ) VALUES ('?', '?', '?', '?', '?');'"));
        store->updateSubscription(some);
        EXPECT_THAT(
            sent(),
            ElementsAre(
                "'UPDATE Subscriptions SET deviceId='?', subscribedResource='?', notificationUri='?', "
                "expireTimer='?' WHERE ROWID = '?';'"));
        store->deinit();
        asOtherClient("DROP TABLE Subscriptions;");
    }
}

TEST_F(StatementText, OfQueriesOnSubscriptions) {
    openProvisioned();
    store->getSubscriptionContainingResource(resource, found);
    EXPECT_THAT(sent(), ElementsAre("SELECT *, ROWID FROM Subscriptions WHERE subscribedResource = '?' OR "
                                    "subscribedResource LIKE '?' OR subscribedResource LIKE '?' OR "
                                    "subscribedResource LIKE '?';"));
    store->getSubscriptionContainingResourceList({"/a", "/b"}, found);
    EXPECT_THAT(
        sent(),
        ElementsAre("SELECT " + kColumns +
                    "Subscriptions WHERE "
                    " subscribedResource = '/a' OR subscribedResource LIKE '%/a' OR subscribedResource LIKE "
                    "'/a%' OR subscribedResource LIKE '%/a%'  "
                    " OR "
                    " subscribedResource = '/b' OR subscribedResource LIKE '%/b' OR subscribedResource LIKE "
                    "'/b%' OR subscribedResource LIKE '%/b%'  "
                    ";"));
    store->getSubscriptionBySubscriptionID(id, some);
    EXPECT_THAT(sent(), ElementsAre("SELECT " + kColumns + "Subscriptions WHERE ROWID = '?';"));
    store->getSubscriptions(found);
    EXPECT_THAT(sent(),
                ElementsAre("SELECT deviceId, subscribedResource, subscriptionUri, notificationUri, ROWID "
                            "FROM Subscriptions;"));
}

}  // namespace
}  // namespace Kalt::Vemo::Test
