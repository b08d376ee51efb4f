#include "StoreTest.h"

namespace Kalt::Vemo::Test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kAnswered = "18446744073709551615";  // requestId -1, as an INTEGER column stores it

class MySubscriptions : public StoreTest {
protected:
    void SetUp() override { open(); }
};

TEST_F(MySubscriptions, SavingARequestStoresARowAndSetsTheIdentifier) {
    SubscriptionRecord first = record("lamp", "/on", "", "/n/1");
    SubscriptionRecord second = record("heater", "/mode /level", "/s", "/n/2", 99);
    EXPECT_TRUE(store->savePendingMySubscription(7, first));
    EXPECT_TRUE(store->savePendingMySubscription(8, second));
    EXPECT_EQ(first, record("lamp", "/on", "", "/n/1", 1));
    EXPECT_EQ(second, record("heater", "/mode /level", "/s", "/n/2", 2));
    EXPECT_EQ(mySubscriptions(), kMySubscriptions +
                                     "7~'lamp'~'/on'~''~'/n/1'~1\n"
                                     "8~'heater'~'/mode /level'~'/s'~'/n/2'~2\n");
    EXPECT_EQ(journal(), "0\n");
    EXPECT_THAT(storeErrors(), IsEmpty());
}

TEST_F(MySubscriptions, IdentifiersGoOnAfterTheLastRow) {
    for (const int request : {1, 2, 3}) {
        ASSERT_TRUE(savePending(request, record("lamp", "/on", "", "/n")));
    }
    ASSERT_TRUE(store->deletePendingMySubscription(2));
    SubscriptionRecord next = record("lamp", "/on", "", "/n");
    ASSERT_TRUE(store->savePendingMySubscription(4, next));
    EXPECT_EQ(next.subscriptionId, 4);
    ASSERT_TRUE(store->deletePendingMySubscription(4));
    ASSERT_TRUE(store->savePendingMySubscription(5, next));
    EXPECT_EQ(next.subscriptionId, 4);
}

TEST_F(MySubscriptions, RequestIdsAreStoredAsUnsignedNumbers) {
    const struct {
        int requestId;
        const char* stored;
    } rows[] = {{0, "0"},
                {2147483647, "2147483647"},
                {-1, "18446744073709551615"},
                {-2147483647 - 1, "18446744071562067968"}};
    std::string expected = kMySubscriptions;
    int rowid = 0;
    for (const auto& row : rows) {
        ASSERT_TRUE(savePending(row.requestId, record("d", "/r", "/s", "/n")));
        expected += std::string(row.stored) + "~'d'~'/r'~'/s'~'/n'~" + std::to_string(++rowid) + "\n";
        EXPECT_EQ(mySubscriptions(), expected);
    }
}

TEST_F(MySubscriptions, DeletingARequestDropsTheRowsThatWaitUnderIt) {
    ASSERT_TRUE(savePending(7, record("a", "/r", "", "/n")));
    ASSERT_TRUE(savePending(8, record("b", "/r", "", "/n")));
    ASSERT_TRUE(savePending(7, record("c", "/r", "", "/n")));
    EXPECT_TRUE(store->deletePendingMySubscription(7));
    EXPECT_EQ(mySubscriptions(), kMySubscriptions + "8~'b'~'/r'~''~'/n'~2\n");
    EXPECT_TRUE(store->deletePendingMySubscription(7));
    EXPECT_EQ(mySubscriptions(), kMySubscriptions + "8~'b'~'/r'~''~'/n'~2\n");
}

/// A row with a negative request id is stored under an unsigned number and not found by the negative one.
TEST_F(MySubscriptions, NegativeRequestIdsMatchNoRow) {
    ASSERT_TRUE(savePending(-1, record("a", "/r", "/s", "/n")));
    const std::string before = mySubscriptions();
    EXPECT_TRUE(store->deletePendingMySubscription(-1));
    EXPECT_TRUE(answer(-1, "/other"));
    EXPECT_EQ(mySubscriptions(), before);
}

TEST_F(MySubscriptions, AnsweringARequestSetsTheUriAndEndsTheWaiting) {
    ASSERT_TRUE(savePending(7, record("lamp", "/on", "", "/n/1")));
    ASSERT_TRUE(savePending(8, record("heater", "/mode", "", "/n/2")));
    EXPECT_TRUE(answer(7, "/subscriptions/7"));
    EXPECT_EQ(mySubscriptions(), kMySubscriptions + kAnswered +
                                     "~'lamp'~'/on'~'/subscriptions/7'~'/n/1'~1\n"
                                     "8~'heater'~'/mode'~''~'/n/2'~2\n");
    EXPECT_TRUE(store->deletePendingMySubscription(7));
    EXPECT_EQ(allOfDevice("lamp"), Records({record("lamp", "/on", "/subscriptions/7", "/n/1", 1)}));
}

TEST_F(MySubscriptions, AnsweringAnUnknownRequestChangesNothing) {
    ASSERT_TRUE(savePending(7, record("lamp", "/on", "", "/n/1")));
    const std::string before = mySubscriptions();
    EXPECT_TRUE(answer(8, "/s"));
    EXPECT_EQ(mySubscriptions(), before);
}

/// The database checks an assignment against the column at its place in the list of assignments, and the
/// first column is a number.
TEST_F(MySubscriptions, ResourceCanOnlyBecomeANumber) {
    const struct {
        const char* resource;
        const char* stored;  // null: refused by the database
    } rows[] = {{"/level", nullptr}, {"on", nullptr},   {"12", "12"},     {"007", "7"},
                {"2.5", "2"},        {"", "0"},         {"NULL", "NULL"}, {"-1", "18446744073709551615"},
                {"1e3", nullptr},    {"1.2.3", nullptr}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.resource);
        ASSERT_TRUE(savePending(1, record("lamp", "/on", "/s", "/n")));
        const std::string before = mySubscriptions();
        log.clear();
        std::string uri = "/s";
        std::string resource = row.resource;
        EXPECT_TRUE(store->updateMySubscriptionBySubscriptionUri(uri, resource));
        EXPECT_EQ(log.hasPart("DB Error: data type mismatch for Integer"), row.stored == nullptr);
        if (row.stored == nullptr) {
            EXPECT_EQ(mySubscriptions(), before);
        } else {
            EXPECT_EQ(mySubscriptions(), kMySubscriptions + "1~'lamp'~" + row.stored + "~'/s'~'/n'~1\n");
        }
        ASSERT_TRUE(store->deletePendingMySubscription(1));
    }
}

TEST_F(MySubscriptions, DeletingByUriNeedsDeviceAndUri) {
    ASSERT_TRUE(savePending(1, record("lamp", "/on", "/s/1", "/n")));
    ASSERT_TRUE(savePending(2, record("lamp", "/on", "/s/2", "/n")));
    ASSERT_TRUE(savePending(3, record("heater", "/on", "/s/1", "/n")));
    std::string lamp = "lamp";
    std::string uri = "/s/1";
    std::string unknown = "/s/9";
    EXPECT_TRUE(store->deleteMySubscriptionBySubscriptionUri(lamp, unknown));
    EXPECT_TRUE(store->deleteMySubscriptionBySubscriptionUri(lamp, uri));
    EXPECT_EQ(mySubscriptions(), kMySubscriptions +
                                     "2~'lamp'~'/on'~'/s/2'~'/n'~2\n"
                                     "3~'heater'~'/on'~'/s/1'~'/n'~3\n");
}

TEST_F(MySubscriptions, FindingByUriGivesTheFirstMatch) {
    ASSERT_TRUE(savePending(1, record("lamp", "/on", "/s/1", "/n/1")));
    ASSERT_TRUE(savePending(2, record("heater", "/on", "/s/1", "/n/2")));
    SubscriptionRecord found;
    std::string uri = "/s/1";
    EXPECT_TRUE(store->getMySubscriptionBySubscriptionUri(uri, found));
    EXPECT_EQ(found, record("lamp", "/on", "/s/1", "/n/1", 1));
}

TEST_F(MySubscriptions, FindingAnUnknownUriIsTrueAndLeavesTheRecord) {
    ASSERT_TRUE(savePending(1, record("lamp", "/on", "/s/1", "/n/1")));
    SubscriptionRecord found = record("as", "it", "was", "before", 77);
    for (std::string uri : {"/s", "/s/11", "/S/1", ""}) {
        EXPECT_TRUE(store->getMySubscriptionBySubscriptionUri(uri, found));
        EXPECT_EQ(found, record("as", "it", "was", "before", 77));
    }
}

TEST_F(MySubscriptions, FindingByDeviceAppendsEveryMatch) {
    ASSERT_TRUE(savePending(1, record("lamp", "/on", "/s/1", "/n")));
    ASSERT_TRUE(savePending(2, record("heater", "/on", "/s/2", "/n")));
    ASSERT_TRUE(savePending(3, record("lamp", "/level", "/s/3", "/n")));
    Records found = {record("as", "it", "was", "before")};
    std::string device = "lamp";
    EXPECT_TRUE(store->getMySubscriptionByDeviceId(device, found));
    EXPECT_THAT(found,
                ElementsAre(record("as", "it", "was", "before"), record("lamp", "/on", "/s/1", "/n", 1),
                            record("lamp", "/level", "/s/3", "/n", 3)));
    EXPECT_THAT(allOfDevice("lam"), IsEmpty());
    EXPECT_THAT(allOfDevice("Lamp"), IsEmpty());
}

TEST_F(MySubscriptions, FindingByResourcePathComparesTheWholeText) {
    ASSERT_TRUE(savePending(1, record("lamp", "/on", "/s/1", "/n")));
    ASSERT_TRUE(savePending(2, record("lamp", "/on /level", "/s/2", "/n")));
    ASSERT_TRUE(savePending(3, record("heater", "/on", "/s/3", "/n")));
    std::string device = "lamp";
    const struct {
        const char* resource;
        Records expected;
    } rows[] = {{"/on", {record("lamp", "/on", "/s/1", "/n", 1)}},
                {"/on /level", {record("lamp", "/on /level", "/s/2", "/n", 2)}},
                {"/level", {}},
                {"/o%", {}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.resource);
        Records found;
        std::string resource = row.resource;
        EXPECT_TRUE(store->getMySubscriptionByResourcePaths(device, resource, found));
        EXPECT_EQ(found, row.expected);
    }
}

TEST_F(MySubscriptions, EmptyResourceListIsFalseWithoutAQuery) {
    log.clear();
    Records found;
    EXPECT_FALSE(store->getMySubscriptionContainingResourceList("lamp", {}, found));
    EXPECT_THAT(log.messages(), IsEmpty());
}

/// The assembled condition glues AND to a bracket and breaks its patterns at their blanks. The database takes
/// the pieces for column names when it meets the first row.
TEST_F(MySubscriptions, ResourceListCannotBeEvaluatedOnARow) {
    Records found;
    EXPECT_TRUE(store->getMySubscriptionContainingResourceList("lamp", {"/on"}, found));
    EXPECT_THAT(found, IsEmpty());

    ASSERT_TRUE(savePending(1, record("lamp", "/on", "/s/1", "/n")));
    for (const Texts& resources : {Texts{"/on"}, Texts{"/on", "/level"}}) {
        log.clear();
        EXPECT_FALSE(store->getMySubscriptionContainingResourceList("lamp", resources, found));
        EXPECT_THAT(found, IsEmpty());
        EXPECT_THAT(storeErrors(), ElementsAre("Failed to execute SQL Select Statement"));
    }
}

TEST_F(MySubscriptions, QuotesAreStoredAsTheyAre) {
    const std::string values[] = {"it's", "'", "''", "'quoted'", "a'b'c", "'front", "back'"};
    std::string expected = kMySubscriptions;
    int rowid = 0;
    for (const std::string& value : values) {
        SCOPED_TRACE(value);
        ++rowid;
        ASSERT_TRUE(savePending(1, record("lamp", value, value, value)));
        std::string line = "1~'lamp'~'@'~'@'~'@'~" + std::to_string(rowid) + "\n";
        for (std::size_t at = line.find('@'); at != std::string::npos; at = line.find('@')) {
            line.replace(at, 1, value);
        }
        expected += line;
        EXPECT_EQ(mySubscriptions(), expected);
        EXPECT_EQ(last(allOfDevice("lamp")), record("lamp", value, value, value, rowid));
    }
}

TEST_F(MySubscriptions, TextsOfEveryOtherKindComeBackAsWritten) {
    const std::string values[] = {"",         " ", "a b  c",  "\t",          "?",
                                  "'?'",      "%", "/a,b)",   "caf\xc3\xa9", "\r\v\f",
                                  "\x01\xff", ";", "-- DROP", "WHERE ",      "null"};
    int rowid = 0;
    for (const std::string& value : values) {
        SCOPED_TRACE(value);
        ++rowid;
        ASSERT_TRUE(savePending(1, record("lamp", value, value, value)));
        EXPECT_EQ(last(allOfDevice("lamp")), record("lamp", value, value, value, rowid));
    }
    reopen();
    EXPECT_EQ(allOfDevice("lamp").size(), std::size(values));
}

TEST_F(MySubscriptions, TheWordNullIsStoredAsNullAndReadsBackEmpty) {
    ASSERT_TRUE(savePending(1, record("lamp", "NULL", "NULL", "'NULL'")));
    EXPECT_EQ(mySubscriptions(), kMySubscriptions + "1~'lamp'~NULL~NULL~''NULL''~1\n");
    EXPECT_EQ(allOfDevice("lamp"), Records({record("lamp", "", "", "'NULL'", 1)}));
}

}  // namespace
}  // namespace Kalt::Vemo::Test
