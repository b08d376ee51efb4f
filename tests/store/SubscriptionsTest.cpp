#include "StoreTest.h"

namespace Kalt::Vemo::Test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Subscriptions : public StoreTest {
protected:
    void SetUp() override { openProvisioned(); }

    /// Identifiers of what a query for one resource finds.
    std::vector<std::int64_t> containing(std::string resource) {
        Records found;
        EXPECT_TRUE(store->getSubscriptionContainingResource(resource, found));
        return identifiers(found);
    }
    std::vector<std::int64_t> containingAny(const Texts& resources) {
        Records found;
        EXPECT_TRUE(store->getSubscriptionContainingResourceList(resources, found));
        return identifiers(found);
    }
    void saveResources(std::initializer_list<const char*> resources) {
        for (const char* const resource : resources) {
            ASSERT_TRUE(save(record("d", resource, "/s", "/n")));
        }
    }

private:
    static std::vector<std::int64_t> identifiers(const Records& records) {
        std::vector<std::int64_t> result;
        for (const SubscriptionRecord& each : records) {
            result.push_back(each.subscriptionId);
        }
        return result;
    }
};

TEST_F(Subscriptions, SavingWithoutExpiryStoresNull) {
    SubscriptionRecord saved = record("phone", "/door", "/s/1", "/n/1", 99);
    EXPECT_TRUE(store->saveSubscription(saved));
    EXPECT_EQ(saved, record("phone", "/door", "/s/1", "/n/1", 1));
    EXPECT_TRUE(store->saveSubscription(saved));
    EXPECT_EQ(saved.subscriptionId, 2);
    EXPECT_EQ(subscriptions(), kSubscriptions +
                                   "'phone'~'/door'~'/s/1'~'/n/1'~NULL~1\n"
                                   "'phone'~'/door'~'/s/1'~'/n/1'~NULL~2\n");
    EXPECT_EQ(journal(), "0\n");
    EXPECT_THAT(storeErrors(), IsEmpty());
}

TEST_F(Subscriptions, EveryTextIsFoundWhateverTheOrderOfTheColumns) {
    store->deinit();
    asOtherClient("DROP TABLE Subscriptions;");
    asOtherClient(
        "CREATE TABLE Subscriptions (notificationUri TEXT, expireTime TEXT, subscriptionUri TEXT, deviceId "
        "TEXT, subscribedResource TEXT);");
    open();
    ASSERT_TRUE(save(record("phone", "/door", "/s/1", "/n/1")));
    EXPECT_EQ(subscriptions(),
              "notificationUri~expireTime~subscriptionUri~deviceId~subscribedResource~ROWID\n"
              "4~4~4~4~4~1\n"
              "\n"
              "'/n/1'~NULL~'/s/1'~'phone'~'/door'~1\n");
    const SubscriptionRecord expected = record("phone", "/door", "/s/1", "/n/1", 1);
    std::string resource = "/door";
    std::string id = "1";
    Records found;
    SubscriptionRecord byId;
    EXPECT_TRUE(store->getSubscriptions(found));
    EXPECT_TRUE(store->getSubscriptionContainingResource(resource, found));
    EXPECT_TRUE(store->getSubscriptionContainingResourceList({resource}, found));
    EXPECT_TRUE(store->getSubscriptionBySubscriptionID(id, byId));
    EXPECT_THAT(found, ElementsAre(expected, expected, expected));
    EXPECT_EQ(byId, expected);
}

TEST_F(Subscriptions, AllAreReadBackInOrder) {
    EXPECT_THAT(allSubscriptions(), IsEmpty());
    ASSERT_TRUE(save(record("phone", "/door", "/s/1", "/n/1")));
    ASSERT_TRUE(save(record("panel", "/lamp /heater", "", "")));
    Records found = {record("as", "it", "was", "before")};
    EXPECT_TRUE(store->getSubscriptions(found));
    EXPECT_THAT(found,
                ElementsAre(record("as", "it", "was", "before"), record("phone", "/door", "/s/1", "/n/1", 1),
                            record("panel", "/lamp /heater", "", "", 2)));
}

TEST_F(Subscriptions, SixAndMoreRowsComeBackWhole) {
    std::string expected = kSubscriptions;
    for (int row = 1; row <= 23; ++row) {
        const std::string number = std::to_string(row);
        ASSERT_TRUE(save(record("d", "/r" + number, "/s", "/n")));
        expected += "'d'~'/r";
        expected += number;
        expected += "'~'/s'~'/n'~NULL~";
        expected += number;
        expected += "\n";
        ASSERT_EQ(allSubscriptions().size(), static_cast<std::size_t>(row));
    }
    EXPECT_EQ(subscriptions(), expected);
}

TEST_F(Subscriptions, FoundByIdentifier) {
    saveResources({"/a", "/b"});
    SubscriptionRecord found;
    std::string id = "2";
    EXPECT_TRUE(store->getSubscriptionBySubscriptionID(id, found));
    EXPECT_EQ(found, record("d", "/b", "/s", "/n", 2));
}

TEST_F(Subscriptions, FindingAnUnknownIdentifierIsTrueAndLeavesTheRecord) {
    saveResources({"/a", "/b"});
    SubscriptionRecord found = record("as", "it", "was", "before", 77);
    for (std::string id : {"3", "0", "-1", "02", "", "2 ", "two"}) {
        SCOPED_TRACE(id);
        EXPECT_TRUE(store->getSubscriptionBySubscriptionID(id, found));
        EXPECT_EQ(found, record("as", "it", "was", "before", 77));
    }
}

TEST_F(Subscriptions, DeletedByIdentifier) {
    saveResources({"/a", "/b", "/c"});
    std::string id = "2";
    EXPECT_TRUE(store->deleteSubscriptionBySubscriptionID(id));
    EXPECT_EQ(subscriptions(), kSubscriptions +
                                   "'d'~'/a'~'/s'~'/n'~NULL~1\n"
                                   "'d'~'/c'~'/s'~'/n'~NULL~3\n");
    EXPECT_TRUE(store->deleteSubscriptionBySubscriptionID(id));
    EXPECT_EQ(allSubscriptions().size(), 2U);
}

/// The identifier stands bare in the statement's condition: a word is taken for a column's name.
TEST_F(Subscriptions, DeletingByATextThatIsNoNumberFailsInTheLogAlone) {
    saveResources({"/a"});
    const std::string before = subscriptions();
    for (std::string id : {"two", "1x", "NULL"}) {
        log.clear();
        EXPECT_TRUE(store->deleteSubscriptionBySubscriptionID(id));
        EXPECT_TRUE(log.hasPart("Column " + id + " not found in Table Definition"));
        EXPECT_EQ(subscriptions(), before);
    }
}

TEST_F(Subscriptions, DeletingByANameOfTheColumnItselfDeletesEveryRow) {
    saveResources({"/a", "/b"});
    std::string id = "ROWID";
    EXPECT_TRUE(store->deleteSubscriptionBySubscriptionID(id));
    EXPECT_EQ(subscriptions(), kSubscriptions);
}

TEST_F(Subscriptions, UpdatingChangesAllButTheUri) {
    saveResources({"/a", "/b"});
    SubscriptionRecord changed = record("panel", "/c", "/ignored", "/m", 2);
    EXPECT_TRUE(store->updateSubscription(changed));
    EXPECT_EQ(subscriptions(), kSubscriptions +
                                   "'d'~'/a'~'/s'~'/n'~NULL~1\n"
                                   "'panel'~'/c'~'/s'~'/m'~NULL~2\n");
    EXPECT_EQ(changed, record("panel", "/c", "/ignored", "/m", 2));
}

TEST_F(Subscriptions, UpdatingAnUnknownIdentifierChangesNothing) {
    saveResources({"/a"});
    const std::string before = subscriptions();
    for (const std::int64_t id : {std::int64_t{0}, std::int64_t{2}, std::int64_t{-1}}) {
        SubscriptionRecord changed = record("panel", "/c", "/s", "/m", id);
        EXPECT_TRUE(store->updateSubscription(changed));
        EXPECT_EQ(subscriptions(), before);
    }
}

TEST_F(Subscriptions, OneResourceIsFoundAsAWholeWord) {
    saveResources({"/a", "/x /a", "/a /y", "/ab", "/x /a /y", "/x/a", "/A", "/x  /a", "/a/y", ""});
    EXPECT_THAT(containing("/a"), ElementsAre(1, 2, 3, 5, 8));
    EXPECT_THAT(containing("/y"), ElementsAre(3, 5));
    EXPECT_THAT(containing("/none"), IsEmpty());
}

TEST_F(Subscriptions, OneResourceMayHoldAnyCharacter) {
    saveResources({"/it's", "/a?b", "/p%", "/x /it's", "/a b"});
    EXPECT_THAT(containing("/a?b"), ElementsAre(2));
    EXPECT_THAT(containing("/p%"), ElementsAre(3));
    EXPECT_THAT(containing("/a b"), ElementsAre(5));
    EXPECT_THAT(containing("/it's"), ElementsAre(1, 4));
}

TEST_F(Subscriptions, ResourceListFindsEachTextAnywhere) {
    saveResources({"/a", "/ab", "/x/a", "/b", "/x /a /y", "/c", "/A"});
    EXPECT_THAT(containingAny({"/a"}), ElementsAre(1, 2, 3, 5));
    EXPECT_THAT(containingAny({"/b", "/c"}), ElementsAre(4, 6));
    EXPECT_THAT(containingAny({"/c", "/a", "/b"}), ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_THAT(containingAny({"/none"}), IsEmpty());
    EXPECT_THAT(containingAny({""}), ElementsAre(1, 2, 3, 4, 5, 6, 7));
}

TEST_F(Subscriptions, EmptyResourceListIsFalseWithoutAQuery) {
    saveResources({"/a"});
    log.clear();
    Records found;
    EXPECT_FALSE(store->getSubscriptionContainingResourceList({}, found));
    EXPECT_THAT(found, IsEmpty());
    EXPECT_THAT(log.messages(), IsEmpty());
}

/// The texts become part of the statement: blanks and quotes change its words.
TEST_F(Subscriptions, ResourceListWithBlanksCannotBeEvaluated) {
    saveResources({"/a b"});
    Records found;
    EXPECT_FALSE(store->getSubscriptionContainingResourceList({"/a b"}, found));
    EXPECT_THAT(found, IsEmpty());
}

TEST_F(Subscriptions, ResourceListTextCanWidenTheCondition) {
    saveResources({"/a", "/b"});
    EXPECT_THAT(containingAny({"/none' OR deviceId = 'd' OR subscribedResource = '/none"}),
                ElementsAre(1, 2));
    EXPECT_EQ(allSubscriptions().size(), 2U);
}

}  // namespace
}  // namespace Kalt::Vemo::Test
