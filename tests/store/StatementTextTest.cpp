#include <functional>

#include "StoreTest.h"

namespace Kalt::Vemo::Test {
namespace {

using ::testing::ElementsAre;

const std::string kRecord = "deviceId, subscribedResource, subscriptionUri, notificationUri, ROWID";
const std::string kFromMySubscriptions = "SELECT " + kRecord + " FROM MySubscriptions";
const std::string kFromSubscriptions = "SELECT " + kRecord + " FROM Subscriptions";

/// The database logs each statement text that it is given; clients and traces know the store by these texts.
class StatementText : public StoreTest {
protected:
    /// The texts of the statements that were sent since the last call, changing ones in quotes.
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

    /// An operation and the one text that it sends.
    struct Row {
        const char* operation;
        std::function<void()> call;
        std::string text;
        std::string textWithExpiry = {};  // where it differs
    };

    std::vector<Row> rows() {
        return {
            {"savePendingMySubscription", [this] { store->savePendingMySubscription(7, some); },
             "'INSERT INTO MySubscriptions (requestId, deviceId, subscribedResource, subscriptionUri, "
             "notificationUri ) VALUES (?, '?', '?', '?', '?');'"},
            {"deletePendingMySubscription", [this] { store->deletePendingMySubscription(7); },
             "'DELETE FROM MySubscriptions WHERE requestId = ?;'"},
            {"updateMySubscription", [this] { store->updateMySubscription(7, uri); },
             "'UPDATE MySubscriptions SET requestId=?, subscriptionUri='?' WHERE requestId = ?;'"},
            {"updateMySubscriptionBySubscriptionUri",
             [this] { store->updateMySubscriptionBySubscriptionUri(uri, resource); },
             "'UPDATE MySubscriptions SET subscribedResource = '?' WHERE subscriptionUri = '?';'"},
            {"deleteMySubscriptionBySubscriptionUri",
             [this] { store->deleteMySubscriptionBySubscriptionUri(device, uri); },
             "'DELETE FROM MySubscriptions WHERE deviceId = '?' AND subscriptionUri = '?';'"},
            {"getMySubscriptionBySubscriptionUri",
             [this] { store->getMySubscriptionBySubscriptionUri(uri, some); },
             kFromMySubscriptions + " WHERE subscriptionUri = '?';"},
            {"getMySubscriptionByDeviceId", [this] { store->getMySubscriptionByDeviceId(device, found); },
             kFromMySubscriptions + " WHERE deviceId = '?';"},
            {"getMySubscriptionByResourcePaths",
             [this] { store->getMySubscriptionByResourcePaths(device, resource, found); },
             kFromMySubscriptions + " WHERE deviceId = '?' AND subscribedResource = '?';"},
            {"getMySubscriptionContainingResourceList",
             [this] {
                 store->getMySubscriptionContainingResourceList("lamp", {"/a", "/b"}, found);
             },
             kFromMySubscriptions + " WHERE deviceId = 'lamp' AND( "
                                    "( subscribedResource = '/a'  OR subscribedResource LIKE '% /a'  OR "
                                    "subscribedResource LIKE '/a %' OR subscribedResource LIKE '% /a %' ) "
                                    " OR "
                                    "( subscribedResource = '/b'  OR subscribedResource LIKE '% /b'  OR "
                                    "subscribedResource LIKE '/b %' OR subscribedResource LIKE '% /b %' ) "
                                    ");"},
            {"saveSubscription", [this] { store->saveSubscription(some); },
             "'INSERT INTO Subscriptions (deviceId, subscribedResource, subscriptionUri, notificationUri ) "
             "VALUES ('?', '?', '?', '?');'",
             "'INSERT INTO Subscriptions (deviceId, subscribedResource, subscriptionUri, notificationUri, "
             "expireTime ) VALUES ('?', '?', '?', '?', '?');'"},
            {"getSubscriptionContainingResource",
             [this] { store->getSubscriptionContainingResource(resource, found); },
             "SELECT *, ROWID FROM Subscriptions WHERE subscribedResource = '?' OR subscribedResource LIKE "
             "'?' OR subscribedResource LIKE '?' OR subscribedResource LIKE '?';"},
            {"getSubscriptionContainingResourceList",
             [this] {
                 store->getSubscriptionContainingResourceList({"/a", "/b"}, found);
             },
             kFromSubscriptions +
                 " WHERE "
                 " subscribedResource = '/a' OR subscribedResource LIKE '%/a' OR subscribedResource LIKE "
                 "'/a%' OR subscribedResource LIKE '%/a%'  "
                 " OR "
                 " subscribedResource = '/b' OR subscribedResource LIKE '%/b' OR subscribedResource LIKE "
                 "'/b%' OR subscribedResource LIKE '%/b%'  "
                 ";"},
            {"getSubscriptionBySubscriptionID", [this] { store->getSubscriptionBySubscriptionID(id, some); },
             kFromSubscriptions + " WHERE ROWID = '?';"},
            {"updateSubscription", [this] { store->updateSubscription(some); },
             "'UPDATE Subscriptions SET deviceId='?', subscribedResource='?', notificationUri='?' WHERE "
             "ROWID = '?';'",
             "'UPDATE Subscriptions SET deviceId='?', subscribedResource='?', notificationUri='?', "
             "expireTimer='?' WHERE ROWID = '?';'"},
            {"deleteSubscriptionBySubscriptionID", [this] { store->deleteSubscriptionBySubscriptionID(id); },
             "'DELETE FROM Subscriptions WHERE ROWID = ?;'"},
            {"getSubscriptions", [this] { store->getSubscriptions(found); }, kFromSubscriptions + ";"},
            {"deleteExpiredSubscriptions", [this] { store->deleteExpiredSubscriptions(); },
             "'DELETE FROM Subscriptions WHERE expireTime <= '1700000000' ;'"},
        };
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

TEST_F(StatementText, OfEachOperationWithoutExpiry) {
    openProvisioned();
    for (const int seconds : {0, -1}) {
        store->setSubExprTimeVal(seconds);
        for (const Row& row : rows()) {
            SCOPED_TRACE(std::string(row.operation) + ", expiry " + std::to_string(seconds));
            row.call();
            EXPECT_THAT(sent(), ElementsAre(row.text));
        }
    }
}

TEST_F(StatementText, OfEachOperationWithExpiry) {
    openProvisioned();
    for (const int seconds : {1, 60}) {
        store->setSubExprTimeVal(seconds);
        for (const Row& row : rows()) {
            SCOPED_TRACE(std::string(row.operation) + ", expiry " + std::to_string(seconds));
            row.call();
            EXPECT_THAT(sent(), ElementsAre(row.textWithExpiry.empty() ? row.text : row.textWithExpiry));
        }
    }
}

}  // namespace
}  // namespace Kalt::Vemo::Test
