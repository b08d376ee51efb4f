#include <filesystem>
#include <stdexcept>
#include <thread>

#include "LogSink.h"
#include "StoreTest.h"

namespace Kalt::Vemo::Test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kRow = "'phone'~'/door'~'/s'~'/n'~NULL~";

/// Failures in the middle of an operation. A log sink acts at a known point inside a statement.
class Failure : public StoreTest {
protected:
    void SetUp() override { openProvisioned(); }

    /// The store logs its closing, when this object's own members are gone.
    void TearDown() override { Log::setLogSink({}, 0); }

    /// Runs `action` once, at the first message that begins with the text. The capture of the log ends.
    template <typename Action>
    void at(const std::string& text, Action action) {
        done_ = false;
        Log::setLogSink(
            [this, text, action](const Log::LogMessage& message) {
                if (std::string(message.tag) == "FileSubscriptionDatabase") {
                    errors.emplace_back(message.text);
                }
                if (!done_ && std::string(message.text).compare(0, text.size(), text) == 0) {
                    done_ = true;
                    action();
                }
            },
            1);
    }

    bool exists(const std::string& name) const { return fileExists(file(name)); }

    std::vector<std::string> errors;

private:
    bool done_ = false;
};

/// Memory that runs out while a statement is read, for example.
[[noreturn]] void fail() {
    throw std::runtime_error("no more memory");
}

TEST_F(Failure, InsertThatIsRefusedLeavesTheTransactionOpen) {
    at("Statement After Removing trailing Semicolon", fail);
    SubscriptionRecord refused = record("phone", "/door", "/s", "/n", 42);
    EXPECT_FALSE(store->saveSubscription(refused));
    EXPECT_THAT(errors, ElementsAre("Database INSERT failed!"));
    EXPECT_EQ(refused.subscriptionId, 42);

    // What the thread does now waits in working copies, until the next save commits.
    EXPECT_TRUE(store->deletePendingMySubscription(1));
    EXPECT_TRUE(exists("MySubscriptions.backup"));
    EXPECT_EQ(journal(), "0\n\x02~MySubscriptions\n");
    EXPECT_TRUE(save(record("phone", "/door", "/s", "/n")));
    EXPECT_FALSE(exists("MySubscriptions.backup"));
    EXPECT_EQ(journal(), "0\n");
    EXPECT_EQ(subscriptions(), kSubscriptions + kRow + "1\n");
}

TEST_F(Failure, PendingInsertThatIsRefusedLeavesTheTransactionOpen) {
    at("Statement After Removing trailing Semicolon", fail);
    EXPECT_FALSE(savePending(1, record("lamp", "/on", "", "/n")));
    EXPECT_THAT(errors, ElementsAre("Database INSERT failed!"));
    EXPECT_TRUE(store->deleteExpiredSubscriptions());
    EXPECT_TRUE(exists("Subscriptions.backup"));
}

TEST_F(Failure, OpenTransactionIsDroppedByTheNextOpening) {
    at("Statement After Removing trailing Semicolon", fail);
    EXPECT_FALSE(save(record("phone", "/door", "/s", "/n")));
    EXPECT_TRUE(store->deleteExpiredSubscriptions());
    EXPECT_TRUE(exists("Subscriptions.backup"));
    reopen();
    EXPECT_FALSE(exists("Subscriptions.backup"));
    EXPECT_EQ(subscriptions(), kSubscriptions);
    EXPECT_EQ(journal(), "0\n");
}

TEST_F(Failure, RefusedDeletionOfTheExpiredIsReported) {
    at("Statement After Removing trailing Semicolon", fail);
    EXPECT_FALSE(store->deleteExpiredSubscriptions());
    EXPECT_THAT(errors, ElementsAre("Deletion of expired subscriptions failed!"));
}

TEST_F(Failure, RefusedTableCreationFailsTheOpening) {
    at("Statement After Removing trailing Semicolon", fail);
    std::string where = temporary.file("elsewhere");
    EXPECT_FALSE(store->init(where, 0));
    EXPECT_THAT(errors, ElementsAre("MySubscriptions Table Creation failed!"));
}

TEST_F(Failure, DatabaseOfAnOpeningThatFailedLateIsKept) {
    at("Statement After Removing trailing Semicolon", fail);
    std::string where = path();
    EXPECT_FALSE(store->init(where, 0));
    EXPECT_TRUE(save(record("phone", "/door", "/s", "/n")));
    EXPECT_EQ(subscriptions(), kSubscriptions + kRow + "1\n");
    EXPECT_EQ(allSubscriptions().size(), 1U);
}

/// The table's file cannot be opened when the commit wants to copy the new rows over it.
TEST_F(Failure, SaveWhoseCommitFailsIsFalseAndLeavesNoTransaction) {
    const std::string table = file("Subscriptions.table");
    at("commitTransaction", [table] {
        std::filesystem::remove(table);
        std::filesystem::create_directory(table);
    });
    SubscriptionRecord saved = record("phone", "/door", "/s", "/n", 42);
    EXPECT_FALSE(store->saveSubscription(saved));
    EXPECT_EQ(saved.subscriptionId, 1);
    EXPECT_FALSE(exists("Subscriptions.backup"));
    EXPECT_EQ(journal(), "0\n");

    // No other thread is kept waiting.
    std::thread([this] { EXPECT_TRUE(savePending(1, record("lamp", "/on", "", "/n"))); }).join();

    std::filesystem::remove(table);
    writeFile(table, kSubscriptions);
    EXPECT_TRUE(save(record("phone", "/door", "/s", "/n")));
    EXPECT_EQ(subscriptions(), kSubscriptions + kRow + "1\n");
    EXPECT_EQ(journal(), "0\n");
}

TEST_F(Failure, DamagedTableFailsQueriesAndKeepsTheFile) {
    const std::string damaged = kSubscriptions + kRow + "1\n'phone'~'/door'\n";
    writeFile(file("Subscriptions.table"), damaged);
    Records found = {record("as", "it", "was", "before")};
    EXPECT_FALSE(store->getSubscriptions(found));
    EXPECT_EQ(found, Records({record("as", "it", "was", "before")}));
    EXPECT_TRUE(store->deleteExpiredSubscriptions());
    EXPECT_EQ(subscriptions(), damaged);
}

TEST_F(Failure, TableThatIsADirectoryFailsWithoutACrash) {
    store->deinit();
    std::filesystem::remove(file("Subscriptions.table"));
    std::filesystem::create_directory(file("Subscriptions.table"));
    open();
    Records found;
    EXPECT_FALSE(store->getSubscriptions(found));
    EXPECT_THAT(found, IsEmpty());
    EXPECT_TRUE(savePending(1, record("lamp", "/on", "", "/n")));
}

}  // namespace
}  // namespace Kalt::Vemo::Test
