#include <algorithm>
#include <memory>
#include <string>
#include <thread>

#include "OtherProcess.h"
#include "StoreTest.h"

namespace Kalt::Vemo::Test {
namespace {

using Notification::FileSubscriptionDatabase;

constexpr int kSaves = 1000;
constexpr std::size_t kRows = kSaves;

/// A store with both tables that is closed, and processes that open it.
class ProcessesTest : public StoreTest {
protected:
    void SetUp() override {
        openProvisioned();
        store->deinit();
        log.clear();
    }

    /// Opens the store, saves, and closes it. Whether it was let in, and every save confirmed.
    bool saveAll(const std::string& device) {
        FileSubscriptionDatabase saver;
        std::string where = path();
        if (!saver.init(where, 0)) {
            return false;
        }
        for (int i = 0; i < kSaves; ++i) {
            SubscriptionRecord saved = record(device, "/r" + std::to_string(i), "/s", "/n");
            if (!saver.saveSubscription(saved)) {
                return false;
            }
        }
        return saver.deinit();
    }

    /// A process that does so as soon as it is told.
    std::unique_ptr<OtherProcess> saverOf(const std::string& device) {
        return std::make_unique<OtherProcess>([] { return true; }, [=] { return saveAll(device); });
    }

    /// The rows of this device in the order of their saves, without one missing or twice.
    std::size_t rowsOf(const Records& all, const std::string& device) {
        std::size_t rows = 0;
        for (const SubscriptionRecord& each : all) {
            if (each.deviceId == device) {
                EXPECT_EQ(each.subscribedResource, "/r" + std::to_string(rows));
                ++rows;
            }
        }
        return rows;
    }

    Records storedRecords() {
        open();
        Records all = allSubscriptions();
        store->deinit();
        return all;
    }
};

TEST_F(ProcessesTest, OfTwoThatStartTogetherEachThatIsLetInHasAllItsRows) {
    const auto left = saverOf("left");
    const auto right = saverOf("right");
    left->goOn();
    right->goOn();
    const bool leftIn = left->leave();
    const bool rightIn = right->leave();
    EXPECT_TRUE(leftIn || rightIn);
    const Records all = storedRecords();
    EXPECT_EQ(rowsOf(all, "left"), leftIn ? kRows : 0);
    EXPECT_EQ(rowsOf(all, "right"), rightIn ? kRows : 0);
}

TEST_F(ProcessesTest, OfTwoThatOpenOneAfterTheOtherBothHaveAllTheirRows) {
    EXPECT_TRUE(saverOf("left")->leave());
    EXPECT_TRUE(saverOf("right")->leave());
    const Records all = storedRecords();
    EXPECT_EQ(rowsOf(all, "left"), kRows);
    EXPECT_EQ(rowsOf(all, "right"), kRows);
}

TEST_F(ProcessesTest, ALockedOutStoreTouchesNothingWhateverIsCalled) {
    OtherProcess other([&] {
        open();
        return save(record("theirs", "/r", "/s", "/n"));
    });
    ASSERT_TRUE(other.hasOpened());
    const auto before = wholeDirectory(directory());
    const std::string refusal =
        "process " + std::to_string(other.number()) + " has it open; stop that process";

    std::string where = path();
    EXPECT_FALSE(store->init(where, 60));
    EXPECT_TRUE(log.hasPart(refusal)) << log.dump();
    const auto callAll = [&] {
        SubscriptionRecord one = record("d", "/r", "/s", "/n", 1);
        std::string text = "/r";
        std::string id = "1";
        Records records;
        EXPECT_FALSE(store->savePendingMySubscription(1, one));
        EXPECT_FALSE(store->deletePendingMySubscription(1));
        EXPECT_FALSE(store->updateMySubscription(1, text));
        EXPECT_FALSE(store->updateMySubscriptionBySubscriptionUri(text, text));
        EXPECT_FALSE(store->deleteMySubscriptionBySubscriptionUri(text, text));
        EXPECT_FALSE(store->getMySubscriptionBySubscriptionUri(text, one));
        EXPECT_FALSE(store->getMySubscriptionByDeviceId(text, records));
        EXPECT_FALSE(store->getMySubscriptionByResourcePaths(text, text, records));
        EXPECT_FALSE(store->getMySubscriptionContainingResourceList(text, {text}, records));
        EXPECT_FALSE(store->saveSubscription(one));
        EXPECT_FALSE(store->getSubscriptionContainingResource(text, records));
        EXPECT_FALSE(store->getSubscriptionContainingResourceList({text}, records));
        EXPECT_FALSE(store->getSubscriptionBySubscriptionID(id, one));
        EXPECT_FALSE(store->updateSubscription(one));
        EXPECT_FALSE(store->deleteSubscriptionBySubscriptionID(id));
        EXPECT_FALSE(store->getSubscriptions(records));
        EXPECT_FALSE(store->deleteExpiredSubscriptions());
        EXPECT_EQ(one, record("d", "/r", "/s", "/n", 1));
        EXPECT_EQ(records, Records());
    };
    callAll();
    std::thread(callAll).join();  // no call holds up another thread
    log.clear();
    EXPECT_FALSE(save(record("d", "/r", "/s", "/n")));
    EXPECT_TRUE(log.hasPart("executeUpdate Exception: ")) << log.dump();
    EXPECT_TRUE(log.hasPart(refusal)) << log.dump();
    EXPECT_FALSE(store->init(where, 60));
    callAll();
    EXPECT_TRUE(store->deinit());
    callAll();
    EXPECT_EQ(wholeDirectory(directory()), before);

    other.leave();
    open();
    EXPECT_TRUE(save(record("ours", "/r", "/s", "/n")));
    EXPECT_EQ(allSubscriptions().size(), 2U);
}

}  // namespace
}  // namespace Kalt::Vemo::Test
