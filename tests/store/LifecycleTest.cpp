#include <filesystem>
#include <locale>
#include <type_traits>

#include "FileDatabase.h"
#include "IDatabase.h"
#include "StoreAccess.h"
#include "StoreTest.h"
#include "VEMOFileSubscriptionDB.h"

namespace Kalt::Vemo::Test {
namespace {

using Notification::FileSubscriptionDatabase;
using Notification::ISubscriptionDB;
using Notification::VEMOFileSubscriptionDB;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class StoreLifecycle : public StoreTest {};

TEST_F(StoreLifecycle, TheLevelDecidesWhetherATableIsReplaced) {
    using Core::Database::Filedb::Synchronous;
    for (const Synchronous level : {Synchronous::off, Synchronous::normal, Synchronous::full}) {
        const TemporaryDirectory place;
        std::string where = place.file("db");
        const auto made = Notification::StoreAccess::make(level);
        ASSERT_TRUE(made->init(where, 60));
        const std::string table = where + "_filedb/MySubscriptions.table";
        const std::string other = place.file("other");
        std::filesystem::create_hard_link(table, other);
        Notification::SubscriptionRecord record;
        record.deviceId = "lamp";
        ASSERT_TRUE(made->savePendingMySubscription(1, record));
        EXPECT_EQ(readFile(table) == readFile(other), level == Synchronous::off);
    }
}

TEST_F(StoreLifecycle, FactoryMakesAStoreThatTheCallerOwns) {
    const std::unique_ptr<ISubscriptionDB> made(VEMOFileSubscriptionDB::createInstance());
    auto* const fileStore = dynamic_cast<FileSubscriptionDatabase*>(made.get());
    ASSERT_NE(fileStore, nullptr);
    EXPECT_EQ(fileStore->getSubExprTimeVal(), -1);

    std::string where = path();
    EXPECT_TRUE(made->init(where, 60));
    EXPECT_TRUE(made->deinit());
}

TEST_F(StoreLifecycle, FactoryMakesAnotherStoreEachTime) {
    const std::unique_ptr<ISubscriptionDB> first(VEMOFileSubscriptionDB::createInstance());
    const std::unique_ptr<ISubscriptionDB> second(VEMOFileSubscriptionDB::createInstance());
    EXPECT_NE(first.get(), second.get());
}

TEST_F(StoreLifecycle, EmptyPathIsRefusedAndNothingIsCreated) {
    std::string empty;
    EXPECT_FALSE(store->init(empty, 60));
    EXPECT_THAT(storeErrors(), ElementsAre("failed!.. DB path is empty"));
    EXPECT_EQ(store->getSubExprTimeVal(), -1);
    EXPECT_THAT(listDirectory(temporary.path()), IsEmpty());
    EXPECT_FALSE(fileExists("_filedb"));
}

TEST_F(StoreLifecycle, RefusedPathLeavesTheStoreAsItWas) {
    for (const std::string& text : {std::string(), std::string("a\0b", 3)}) {
        std::string refused = text;
        EXPECT_FALSE(store->init(refused, 60));
        EXPECT_FALSE(savePending(1, record("lamp", "/on", "", "/notify")));
        EXPECT_THAT(storeErrors(),
                    Contains("savePendingMySubscription: the store is not open; call init first"));

        open();
        EXPECT_FALSE(store->init(refused, 60));
        EXPECT_TRUE(savePending(1, record("lamp", "/on", "", "/notify")));
        EXPECT_EQ(allOfDevice("lamp").size(), 1U);
        EXPECT_TRUE(store->deletePendingMySubscription(1));
        store->deinit();
        log.clear();
    }
}

TEST_F(StoreLifecycle, FreshDirectoryGetsMySubscriptionsOnly) {
    open();
    EXPECT_THAT(listDirectory(directory()), ElementsAre("MySubscriptions.table", "master_rollback"));
    EXPECT_EQ(mySubscriptions(), kMySubscriptions);
    EXPECT_EQ(journal(), "0\n");
    EXPECT_THAT(storeErrors(), IsEmpty());
    EXPECT_EQ(log.count("Syntax Error: No ; found at end of Statement"), 1);
}

TEST_F(StoreLifecycle, SecondInitLeavesTheTablesAsTheyWere) {
    openProvisioned();
    ASSERT_TRUE(savePending(1, record("lamp", "/on", "", "/notify")));
    ASSERT_TRUE(save(record("phone", "/door", "/s/1", "/n/1")));
    const std::string mine = mySubscriptions();
    const std::string others = subscriptions();

    open();
    EXPECT_EQ(mySubscriptions(), mine);
    EXPECT_EQ(subscriptions(), others);
    EXPECT_EQ(allSubscriptions().size(), 1U);
}

TEST_F(StoreLifecycle, SecondInitClosesTheEarlierDatabaseBeforeItOpensItsOwn) {
    open();
    log.clear();
    open();
    std::vector<std::string> openings;
    for (const std::string& text : log.texts(0)) {
        if (text == "init" || text == "deinit") {
            openings.push_back(text);
        }
    }
    EXPECT_THAT(openings, ElementsAre("deinit", "init"));
}

TEST_F(StoreLifecycle, SecondInitCanMoveToAnotherPath) {
    open();
    ASSERT_TRUE(savePending(1, record("lamp", "/on", "", "/notify")));
    std::string elsewhere = temporary.file("elsewhere");
    ASSERT_TRUE(store->init(elsewhere, 0));
    EXPECT_THAT(allOfDevice("lamp"), IsEmpty());
    EXPECT_EQ(readFile(elsewhere + "_filedb/MySubscriptions.table"), kMySubscriptions);
    EXPECT_EQ(mySubscriptions(), kMySubscriptions + "1~'lamp'~'/on'~''~'/notify'~1\n");
}

TEST_F(StoreLifecycle, InitSetsTheExpiry) {
    EXPECT_EQ(store->getSubExprTimeVal(), -1);
    for (const int seconds : {3600, 0, -7}) {
        open(seconds);
        EXPECT_EQ(store->getSubExprTimeVal(), seconds);
    }
    store->setSubExprTimeVal(5);
    EXPECT_EQ(store->getSubExprTimeVal(), 5);
}

TEST_F(StoreLifecycle, DatabaseThatCannotBeOpenedIsReported) {
    std::string where = temporary.file("no/such/parent/home");
    EXPECT_FALSE(store->init(where, 60));
    EXPECT_THAT(storeErrors(), ElementsAre("File DB initialization failed!"));
    EXPECT_EQ(store->getSubExprTimeVal(), 60);
    EXPECT_TRUE(store->deinit());
}

TEST_F(StoreLifecycle, FileInPlaceOfTheDirectoryIsReported) {
    writeFile(directory(), "not a directory\n");
    std::string where = path();
    EXPECT_FALSE(store->init(where, 60));
    EXPECT_THAT(storeErrors(), ElementsAre("File DB initialization failed!"));
    EXPECT_EQ(readFile(directory()), "not a directory\n");
}

TEST_F(StoreLifecycle, OperationsAfterAFailedInitAnswerWhatTheDatabaseAnswers) {
    open();
    ASSERT_TRUE(savePending(1, record("lamp", "/on", "", "/notify")));
    const std::string mine = mySubscriptions();
    std::string where = temporary.file("no/such/parent/home");
    ASSERT_FALSE(store->init(where, 0));
    Core::Database::Filedb::FileDatabase same;
    ASSERT_FALSE(same.init(where));

    Records records;
    log.clear();
    EXPECT_EQ(same.executeQuery("SELECT ROWID FROM Subscriptions;"), nullptr);
    EXPECT_FALSE(store->getSubscriptions(records));
    EXPECT_THAT(records, IsEmpty());
    EXPECT_EQ(store->deletePendingMySubscription(1),
              same.executeUpdate("DELETE FROM MySubscriptions WHERE requestId = 1;") == 0);
    EXPECT_EQ(log.count("the store is not open"), 0);
    EXPECT_EQ(mySubscriptions(), mine);

    store->deinit();
    EXPECT_FALSE(store->deletePendingMySubscription(1));
    EXPECT_EQ(log.count("the store is not open"), 1);
    open();
    EXPECT_EQ(allOfDevice("lamp").size(), 1U);
}

TEST_F(StoreLifecycle, DeinitOfAStoreThatWasNeverOpenedIsTrue) {
    EXPECT_TRUE(store->deinit());
    EXPECT_TRUE(store->deinit());
}

TEST_F(StoreLifecycle, DeinitKeepsTheExpiryAndTheFiles) {
    open(60);
    ASSERT_TRUE(savePending(1, record("lamp", "/on", "", "/notify")));
    EXPECT_TRUE(store->deinit());
    EXPECT_EQ(store->getSubExprTimeVal(), 60);
    EXPECT_EQ(mySubscriptions(), kMySubscriptions + "1~'lamp'~'/on'~''~'/notify'~1\n");
}

TEST_F(StoreLifecycle, DestructorClosesTheDatabase) {
    open();
    log.clear();
    store.reset();
    EXPECT_EQ(log.count("deinit"), 1);
}

TEST_F(StoreLifecycle, TableOfAnEarlierLayoutIsLeftAsItIs) {
    makeEarlierLayout();
    open();
    EXPECT_EQ(subscriptions(), kEarlierSubscriptions);
}

TEST_F(StoreLifecycle, NumbersAreWrittenInDecimal) {
    EXPECT_EQ(store->toString<int>(0), "0");
    EXPECT_EQ(store->toString<int>(-2147483647 - 1), "-2147483648");
    EXPECT_EQ(store->toString<int>(2147483647), "2147483647");
    EXPECT_EQ(store->toString<long long>(9223372036854775807LL), "9223372036854775807");
    EXPECT_EQ(store->toString<long long>(-1), "-1");
}

/// Digits in groups and a comma for the decimal point.
class GroupedDigits : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST_F(StoreLifecycle, LocaleOfTheProcessDoesNotReachTheFiles) {
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new GroupedDigits));
    EXPECT_EQ(store->toString<int>(1234567), "1234567");
    openProvisioned(60);
    EXPECT_TRUE(savePending(1234567, record("lamp", "/on", "", "/n")));
    EXPECT_TRUE(save(record("phone", "/door", "/s", "/n")));
    EXPECT_TRUE(store->deletePendingMySubscription(7654321));
    std::locale::global(before);
    EXPECT_EQ(mySubscriptions(), kMySubscriptions + "1234567~'lamp'~'/on'~''~'/n'~1\n");
    EXPECT_EQ(subscriptions(), kSubscriptions + "'phone'~'/door'~'/s'~'/n'~'1700000060'~1\n");
}

/// Every operation by name, called with arguments that would do in an open store.
class EveryOperation : public StoreTest {
protected:
    struct Operation {
        const char* name;
        bool (*call)(ISubscriptionDB& store);
    };

    static std::vector<Operation> operations() {
        return {
            {"savePendingMySubscription",
             [](ISubscriptionDB& s) {
                 SubscriptionRecord r;
                 return s.savePendingMySubscription(1, r);
             }},
            {"deletePendingMySubscription",
             [](ISubscriptionDB& s) { return s.deletePendingMySubscription(1); }},
            {"updateMySubscription",
             [](ISubscriptionDB& s) {
                 std::string uri = "/s";
                 return s.updateMySubscription(1, uri);
             }},
            {"updateMySubscriptionBySubscriptionUri",
             [](ISubscriptionDB& s) {
                 std::string uri = "/s";
                 std::string resource = "/r";
                 return s.updateMySubscriptionBySubscriptionUri(uri, resource);
             }},
            {"deleteMySubscriptionBySubscriptionUri",
             [](ISubscriptionDB& s) {
                 std::string device = "d";
                 std::string uri = "/s";
                 return s.deleteMySubscriptionBySubscriptionUri(device, uri);
             }},
            {"getMySubscriptionBySubscriptionUri",
             [](ISubscriptionDB& s) {
                 std::string uri = "/s";
                 SubscriptionRecord r;
                 return s.getMySubscriptionBySubscriptionUri(uri, r);
             }},
            {"getMySubscriptionByDeviceId",
             [](ISubscriptionDB& s) {
                 std::string device = "d";
                 Records found;
                 return s.getMySubscriptionByDeviceId(device, found);
             }},
            {"getMySubscriptionByResourcePaths",
             [](ISubscriptionDB& s) {
                 std::string device = "d";
                 std::string resource = "/r";
                 Records found;
                 return s.getMySubscriptionByResourcePaths(device, resource, found);
             }},
            {"getMySubscriptionContainingResourceList",
             [](ISubscriptionDB& s) {
                 Records found;
                 return s.getMySubscriptionContainingResourceList("d", {"/r"}, found);
             }},
            {"saveSubscription",
             [](ISubscriptionDB& s) {
                 SubscriptionRecord r;
                 return s.saveSubscription(r);
             }},
            {"getSubscriptionContainingResource",
             [](ISubscriptionDB& s) {
                 std::string resource = "/r";
                 Records found;
                 return s.getSubscriptionContainingResource(resource, found);
             }},
            {"getSubscriptionContainingResourceList",
             [](ISubscriptionDB& s) {
                 Records found;
                 return s.getSubscriptionContainingResourceList({"/r"}, found);
             }},
            {"getSubscriptionBySubscriptionID",
             [](ISubscriptionDB& s) {
                 std::string id = "1";
                 SubscriptionRecord r;
                 return s.getSubscriptionBySubscriptionID(id, r);
             }},
            {"updateSubscription",
             [](ISubscriptionDB& s) {
                 SubscriptionRecord r;
                 return s.updateSubscription(r);
             }},
            {"deleteSubscriptionBySubscriptionID",
             [](ISubscriptionDB& s) {
                 std::string id = "1";
                 return s.deleteSubscriptionBySubscriptionID(id);
             }},
            {"getSubscriptions",
             [](ISubscriptionDB& s) {
                 Records found;
                 return s.getSubscriptions(found);
             }},
            {"deleteExpiredSubscriptions", [](ISubscriptionDB& s) { return s.deleteExpiredSubscriptions(); }},
        };
    }
};

TEST_F(EveryOperation, IsFalseBeforeInitAndAfterDeinit) {
    for (const char* const state : {"never opened", "closed"}) {
        for (const Operation& operation : operations()) {
            SCOPED_TRACE(std::string(operation.name) + ", " + state);
            log.clear();
            EXPECT_FALSE(operation.call(*store));
            EXPECT_THAT(storeErrors(), ElementsAre(std::string(operation.name) +
                                                   ": the store is not open; call init first"));
        }
        openProvisioned();
        store->deinit();
    }
    EXPECT_EQ(mySubscriptions(), kMySubscriptions);
    EXPECT_EQ(subscriptions(), kSubscriptions);
}

TEST_F(EveryOperation, IsTrueInAnOpenStore) {
    openProvisioned();
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.name);
        if (std::string(operation.name) != "getMySubscriptionContainingResourceList") {
            EXPECT_TRUE(operation.call(*store));
        }
        EXPECT_EQ(journal(), "0\n");
        EXPECT_THAT(listDirectory(directory()),
                    ElementsAre("MySubscriptions.table", "Subscriptions.table", "master_rollback"));
    }
}

TEST_F(EveryOperation, LeavesFilesThatReadTheSameAfterEachReopening) {
    openProvisioned();
    ASSERT_TRUE(savePending(5, record("lamp", "/on", "", "/n")));
    ASSERT_TRUE(save(record("phone", "/door", "/s", "/n")));
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.name);
        operation.call(*store);
        const Records others = allSubscriptions();
        const Records lamp = allOfDevice("lamp");
        const std::string mine = mySubscriptions();
        const std::string theirs = subscriptions();
        for (int opening = 0; opening < 2; ++opening) {
            reopen();
            EXPECT_EQ(allSubscriptions(), others);
            EXPECT_EQ(allOfDevice("lamp"), lamp);
            EXPECT_EQ(mySubscriptions(), mine);
            EXPECT_EQ(subscriptions(), theirs);
            EXPECT_EQ(journal(), "0\n");
        }
    }
}

/// On a fresh directory the table of the others' subscriptions is missing. Statements that change it fail in
/// the log alone; queries have no result.
TEST_F(EveryOperation, OnAMissingTableOnlyQueriesFail) {
    open();
    SubscriptionRecord saved = record("phone", "/door", "/s", "/n", 42);
    std::string id = "1";
    std::string resource = "/door";
    Records found;

    EXPECT_TRUE(store->saveSubscription(saved));
    EXPECT_EQ(saved.subscriptionId, 0);
    EXPECT_TRUE(log.hasPart("DB Error: No such Table...(Subscriptions)"));
    EXPECT_TRUE(store->updateSubscription(saved));
    EXPECT_TRUE(store->deleteSubscriptionBySubscriptionID(id));
    EXPECT_TRUE(store->deleteExpiredSubscriptions());
    EXPECT_THAT(storeErrors(), IsEmpty());

    EXPECT_FALSE(store->getSubscriptions(found));
    EXPECT_FALSE(store->getSubscriptionBySubscriptionID(id, saved));
    EXPECT_FALSE(store->getSubscriptionContainingResource(resource, found));
    EXPECT_FALSE(store->getSubscriptionContainingResourceList({"/door"}, found));
    const std::string failed = "Failed to execute SQL Select Statement";
    EXPECT_THAT(storeErrors(), ElementsAre(failed, failed, failed, failed));
    EXPECT_TRUE(log.hasPart("DB Error: Table does not exists..."));

    EXPECT_THAT(found, IsEmpty());
    EXPECT_EQ(saved, record("phone", "/door", "/s", "/n", 0));
    EXPECT_THAT(listDirectory(directory()), ElementsAre("MySubscriptions.table", "master_rollback"));
    EXPECT_EQ(journal(), "0\n");
}

TEST(StoreClass, CannotBeCopiedAndHasTheInterfacesOperationsVirtual) {
    EXPECT_FALSE(std::is_copy_constructible_v<FileSubscriptionDatabase>);
    EXPECT_TRUE((std::is_base_of_v<ISubscriptionDB, FileSubscriptionDatabase>));
    EXPECT_TRUE(std::has_virtual_destructor_v<ISubscriptionDB>);
}

}  // namespace
}  // namespace Kalt::Vemo::Test
