#include <algorithm>
#include <set>
#include <thread>

#include "StoreTest.h"

namespace Kalt::Vemo::Test {
namespace {

class Concurrency : public StoreTest {
protected:
    static constexpr int kThreads = 4;
    static constexpr int kRounds = 20;
    static constexpr std::size_t kSaves = 80;  // of all threads
    static_assert(kSaves == std::size_t{kThreads} * kRounds);

    /// Runs `work` with the numbers 0 to kThreads - 1, each in a thread of its own.
    template <typename Work>
    static void inThreads(Work work) {
        std::vector<std::thread> threads;
        threads.reserve(kThreads);
        for (int number = 0; number < kThreads; ++number) {
            threads.emplace_back(work, number);
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
};

TEST_F(Concurrency, ThreadsThatSaveAtOnceLoseNothingAndShareNoIdentifier) {
    openProvisioned(60);
    std::vector<std::vector<std::int64_t>> identifiers(kThreads);
    inThreads([&](int number) {
        for (int round = 0; round < kRounds; ++round) {
            SubscriptionRecord saved =
                record("d" + std::to_string(number), "/r" + std::to_string(round), "/s", "/n");
            EXPECT_TRUE(store->saveSubscription(saved));
            identifiers[static_cast<std::size_t>(number)].push_back(saved.subscriptionId);
        }
    });

    std::set<std::int64_t> distinct;
    for (const auto& each : identifiers) {
        distinct.insert(each.begin(), each.end());
        EXPECT_TRUE(std::is_sorted(each.begin(), each.end()));
    }
    EXPECT_EQ(distinct.size(), kSaves);
    EXPECT_EQ(*distinct.begin(), 1);
    EXPECT_EQ(*distinct.rbegin(), kThreads * kRounds);

    reopen(60);
    const Records all = allSubscriptions();
    EXPECT_EQ(all.size(), kSaves);
    for (const SubscriptionRecord& each : all) {
        const auto number = static_cast<std::size_t>(each.deviceId.at(1) - '0');
        const auto round = static_cast<std::size_t>(std::stoi(each.subscribedResource.substr(2)));
        EXPECT_EQ(identifiers.at(number).at(round), each.subscriptionId);
    }
    EXPECT_EQ(journal(), "0\n");
}

TEST_F(Concurrency, ReadersSeeWholeSavesOnly) {
    openProvisioned();
    inThreads([&](int number) {
        std::string device = "d" + std::to_string(number);
        for (int round = 0; round < kRounds; ++round) {
            EXPECT_TRUE(savePending(number, record(device, "/r", "/s", "/n")));
            Records found;
            EXPECT_TRUE(store->getMySubscriptionByDeviceId(device, found));
            EXPECT_EQ(found.size(), 1U);
            EXPECT_TRUE(answer(number, "/answered"));
            std::string uri = "/answered";
            EXPECT_TRUE(store->deleteMySubscriptionBySubscriptionUri(device, uri));
        }
    });
    EXPECT_EQ(mySubscriptions(), kMySubscriptions);
}

TEST_F(Concurrency, RefusedSavesDoNotHoldUpOtherThreads) {
    openProvisioned();
    // Just too long with the ROWID that it would get: refused in the middle of its transaction.
    const std::string tooLong(1023 - std::string("''~'/r'~'/s'~'/n'~NULL~1\n").size() + 1, 'x');
    inThreads([&](int number) {
        for (int round = 0; round < kRounds; ++round) {
            if (number % 2 == 0) {
                EXPECT_FALSE(save(record(tooLong, "/r", "/s", "/n")));
            } else {
                EXPECT_TRUE(save(record("d", "/r", "/s", "/n")));
            }
        }
    });
    EXPECT_EQ(allSubscriptions().size(), kSaves / 2);
}

TEST_F(Concurrency, EachUpdateIsToldOfItsOwnRefusal) {
    openProvisioned();
    ASSERT_TRUE(save(record("d", "/r", "/s", "/n")));
    const std::string longest(1023 - std::string("''~'/r'~'/s'~'/n'~NULL~1\n").size(), 'x');
    inThreads([&](int number) {
        SubscriptionRecord change = record(number % 2 == 0 ? longest + "x" : longest, "/r", "", "/n", 1);
        for (int round = 0; round < kRounds; ++round) {
            EXPECT_EQ(store->updateSubscription(change), number % 2 != 0);
        }
    });
    EXPECT_EQ(allSubscriptions(), Records({record(longest, "/r", "/s", "/n", 1)}));
}

}  // namespace
}  // namespace Kalt::Vemo::Test
