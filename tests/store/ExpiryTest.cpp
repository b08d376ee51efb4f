#include "Clock.h"
#include "LogSink.h"
#include "StoreTest.h"

namespace Kalt::Vemo::Test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Expiry : public StoreTest {};

TEST_F(Expiry, SavingStoresTheInstantAndSetsTheIdentifier) {
    openProvisioned(60);
    SubscriptionRecord saved = record("phone", "/door", "/s", "/n");
    EXPECT_TRUE(store->saveSubscription(saved));
    EXPECT_EQ(saved.subscriptionId, 1);
    EXPECT_EQ(subscriptions(), kSubscriptions + "'phone'~'/door'~'/s'~'/n'~'1700000060'~1\n");
    EXPECT_EQ(journal(), "0\n");
}

/// A save can wait long for the lock of another thread's transaction.
TEST_F(Expiry, LifeBeginsWhenTheTransactionDoes) {
    openProvisioned(60);
    Log::setLogSink(
        [](const Log::LogMessage& message) {
            if (std::string(message.text) == "beginTransaction") {
                setClock(kNow + 1000);
            }
        },
        0);
    const bool saved = save(record("phone", "/door", "/s", "/n"));
    Log::setLogSink({}, 0);
    EXPECT_TRUE(saved);
    EXPECT_EQ(subscriptions(), kSubscriptions + "'phone'~'/door'~'/s'~'/n'~'1700001060'~1\n");
}

TEST_F(Expiry, SettingOfOneOrMoreExpiresAndAnyOtherDoesNot) {
    const struct {
        int setting;
        const char* stored;
    } rows[] = {
        {-2147483647 - 1, "NULL"},   {-1, "NULL"}, {0, "NULL"}, {1, "'1700000001'"}, {86400, "'1700086400'"},
        {2147483647, "'3847483647'"}};
    openProvisioned();
    std::string expected = kSubscriptions;
    int rowid = 0;
    for (const auto& row : rows) {
        open(row.setting);
        ASSERT_TRUE(save(record("d", "/r", "/s", "/n")));
        expected += std::string("'d'~'/r'~'/s'~'/n'~") + row.stored + "~" + std::to_string(++rowid) + "\n";
        EXPECT_EQ(subscriptions(), expected);
    }
}

TEST_F(Expiry, RowsAreDeletedFromTheirInstantOn) {
    openProvisioned(60);
    ASSERT_TRUE(save(record("phone", "/door", "/s/1", "/n")));
    setClock(kNow + 10);
    ASSERT_TRUE(save(record("panel", "/lamp", "/s/2", "/n")));
    open(0);
    ASSERT_TRUE(save(record("hub", "/all", "/s/3", "/n")));
    const std::string phone = "'phone'~'/door'~'/s/1'~'/n'~'1700000060'~1\n";
    const std::string panel = "'panel'~'/lamp'~'/s/2'~'/n'~'1700000070'~2\n";
    const std::string hub = "'hub'~'/all'~'/s/3'~'/n'~NULL~3\n";

    const struct {
        std::time_t after;
        std::string left;
    } rows[] = {
        {0, phone + panel + hub}, {59, phone + panel + hub}, {60, panel + hub}, {69, panel + hub}, {71, hub},
        {1000000000, hub}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.after);
        setClock(kNow + row.after);
        EXPECT_TRUE(store->deleteExpiredSubscriptions());
        EXPECT_EQ(subscriptions(), kSubscriptions + row.left);
        EXPECT_EQ(journal(), "0\n");
    }
    EXPECT_THAT(storeErrors(), IsEmpty());
}

/// Instants are compared as texts, byte by byte.
TEST_F(Expiry, InstantsAreComparedAsTexts) {
    openProvisioned();
    store->deinit();
    for (const char* const instant : {"999999999", "1000000000", "16", "17", "18", ""}) {
        asOtherClient("INSERT INTO Subscriptions (deviceId, expireTime) VALUES ('?', '?');", "d", instant);
    }
    open();
    EXPECT_TRUE(store->deleteExpiredSubscriptions());
    EXPECT_EQ(subscriptions(), kSubscriptions +
                                   "'d'~NULL~NULL~NULL~'999999999'~1\n"
                                   "'d'~NULL~NULL~NULL~'18'~5\n");
}

TEST_F(Expiry, UpdatingWithExpiryNamesAColumnThatTheTableLacks) {
    openProvisioned(60);
    ASSERT_TRUE(save(record("phone", "/door", "/s", "/n")));
    const std::string before = subscriptions();
    SubscriptionRecord changed = record("panel", "/lamp", "/s", "/m", 1);
    EXPECT_TRUE(store->updateSubscription(changed));
    EXPECT_TRUE(log.hasPart("Column expireTimer not found in Table Definition"));
    EXPECT_THAT(storeErrors(), IsEmpty());
    EXPECT_EQ(subscriptions(), before);
    EXPECT_EQ(journal(), "0\n");
}

TEST_F(Expiry, UpdatingWithoutExpiryKeepsTheInstant) {
    openProvisioned(60);
    ASSERT_TRUE(save(record("phone", "/door", "/s", "/n")));
    open(0);
    SubscriptionRecord changed = record("panel", "/lamp", "/s", "/m", 1);
    EXPECT_TRUE(store->updateSubscription(changed));
    EXPECT_EQ(subscriptions(), kSubscriptions + "'panel'~'/lamp'~'/s'~'/m'~'1700000060'~1\n");
}

TEST_F(Expiry, TableOfAnEarlierLayoutTakesSavesWithoutExpiryOnly) {
    makeEarlierLayout();
    open(60);
    EXPECT_TRUE(save(record("phone", "/door", "/s", "/n")));
    EXPECT_TRUE(log.hasPart("Column expireTime not found in Table Definition"));
    EXPECT_EQ(subscriptions(), kEarlierSubscriptions);
    EXPECT_TRUE(store->deleteExpiredSubscriptions());

    open(0);
    EXPECT_TRUE(save(record("phone", "/door", "/s", "/n")));
    EXPECT_EQ(subscriptions(), kEarlierSubscriptions + "'phone'~'/door'~'/s'~'/n'~1\n");
    EXPECT_THAT(allSubscriptions(), ElementsAre(record("phone", "/door", "/s", "/n", 1)));
}

}  // namespace
}  // namespace Kalt::Vemo::Test
