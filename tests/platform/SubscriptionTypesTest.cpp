#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <list>
#include <memory>
#include <string>
#include <type_traits>

#include "ISubscriptionDB.h"
#include "SubscriptionRecord.h"

namespace Kalt::Vemo::Notification {
namespace {

TEST(SubscriptionRecordTest, StartsEmpty) {
    const SubscriptionRecord record;
    EXPECT_EQ(record.deviceId, "");
    EXPECT_EQ(record.subscribedResource, "");
    EXPECT_EQ(record.subscriptionUri, "");
    EXPECT_EQ(record.notificationUri, "");
    EXPECT_EQ(record.subscriptionId, 0);
}

TEST(SubscriptionRecordTest, CopiesAreIndependent) {
    SubscriptionRecord first;
    first.deviceId = "device";
    first.subscribedResource = "/resource";
    first.subscriptionUri = "/subscription";
    first.notificationUri = "/notification";
    first.subscriptionId = INT64_MIN;
    SubscriptionRecord second;
    second = first;
    first = SubscriptionRecord();
    EXPECT_EQ(second.deviceId, "device");
    EXPECT_EQ(second.subscribedResource, "/resource");
    EXPECT_EQ(second.subscriptionUri, "/subscription");
    EXPECT_EQ(second.notificationUri, "/notification");
    EXPECT_EQ(second.subscriptionId, INT64_MIN);
}

/// The least that implements the interface; tells when it goes.
class TellsItsEnd : public ISubscriptionDB {
public:
    explicit TellsItsEnd(bool& destroyed) : destroyed_(destroyed) {}
    ~TellsItsEnd() override { destroyed_ = true; }
    TellsItsEnd(const TellsItsEnd&) = delete;
    TellsItsEnd& operator=(const TellsItsEnd&) = delete;

    bool init(std::string&, int) override { return true; }
    bool deinit() override { return true; }
    bool savePendingMySubscription(int, SubscriptionRecord&) override { return true; }
    bool deletePendingMySubscription(int) override { return true; }
    bool updateMySubscription(int, std::string&) override { return true; }
    bool updateMySubscriptionBySubscriptionUri(std::string&, std::string&) override { return true; }
    bool deleteMySubscriptionBySubscriptionUri(std::string&, std::string&) override { return true; }
    bool getMySubscriptionBySubscriptionUri(std::string&, SubscriptionRecord&) override { return true; }
    bool getMySubscriptionByDeviceId(std::string&, std::list<SubscriptionRecord>&) override { return true; }
    bool getMySubscriptionByResourcePaths(std::string&, std::string&,
                                          std::list<SubscriptionRecord>&) override {
        return true;
    }
    bool getMySubscriptionContainingResourceList(std::string, std::list<std::string>,
                                                 std::list<SubscriptionRecord>&) override {
        return true;
    }
    bool saveSubscription(SubscriptionRecord&) override { return true; }
    bool getSubscriptionContainingResource(std::string&, std::list<SubscriptionRecord>&) override {
        return true;
    }
    bool getSubscriptionContainingResourceList(std::list<std::string>,
                                               std::list<SubscriptionRecord>&) override {
        return true;
    }
    bool getSubscriptionBySubscriptionID(std::string&, SubscriptionRecord&) override { return true; }
    bool updateSubscription(SubscriptionRecord&) override { return true; }
    bool deleteSubscriptionBySubscriptionID(std::string&) override { return true; }
    bool getSubscriptions(std::list<SubscriptionRecord>&) override { return true; }
    bool deleteExpiredSubscriptions() override { return true; }

private:
    bool& destroyed_;
};

TEST(SubscriptionInterfaceTest, IsAbstractAndOpensWithItsDestructor) {
    EXPECT_TRUE(std::is_abstract_v<ISubscriptionDB>);
    EXPECT_TRUE(std::has_virtual_destructor_v<ISubscriptionDB>);
    bool destroyed = false;
    std::unique_ptr<ISubscriptionDB> store = std::make_unique<TellsItsEnd>(destroyed);
    store.reset();
    EXPECT_TRUE(destroyed);
}

// A pointer to a virtual member function holds 1 plus the function's byte offset in the table of virtual
// functions (Itanium C++ ABI, as on x86), whose first two slots belong to the destructor.
#if defined(__x86_64__) || defined(__i386__)
template <typename Member>
std::size_t slotOf(Member member) {
    std::size_t word = 0;
    static_assert(sizeof(member) >= sizeof(word), "a member pointer holds an address");
    std::memcpy(&word, &member, sizeof(word));
    return (word - 1) / sizeof(void*) - 2 + 1;
}

TEST(SubscriptionInterfaceTest, KeepsTheOrderOfItsOperations) {
    using I = ISubscriptionDB;
    EXPECT_EQ(slotOf(&I::init), 1U);
    EXPECT_EQ(slotOf(&I::deinit), 2U);
    EXPECT_EQ(slotOf(&I::savePendingMySubscription), 3U);
    EXPECT_EQ(slotOf(&I::deletePendingMySubscription), 4U);
    EXPECT_EQ(slotOf(&I::updateMySubscription), 5U);
    EXPECT_EQ(slotOf(&I::updateMySubscriptionBySubscriptionUri), 6U);
    EXPECT_EQ(slotOf(&I::deleteMySubscriptionBySubscriptionUri), 7U);
    EXPECT_EQ(slotOf(&I::getMySubscriptionBySubscriptionUri), 8U);
    EXPECT_EQ(slotOf(&I::getMySubscriptionByDeviceId), 9U);
    EXPECT_EQ(slotOf(&I::getMySubscriptionByResourcePaths), 10U);
    EXPECT_EQ(slotOf(&I::getMySubscriptionContainingResourceList), 11U);
    EXPECT_EQ(slotOf(&I::saveSubscription), 12U);
    EXPECT_EQ(slotOf(&I::getSubscriptionContainingResource), 13U);
    EXPECT_EQ(slotOf(&I::getSubscriptionContainingResourceList), 14U);
    EXPECT_EQ(slotOf(&I::getSubscriptionBySubscriptionID), 15U);
    EXPECT_EQ(slotOf(&I::updateSubscription), 16U);
    EXPECT_EQ(slotOf(&I::deleteSubscriptionBySubscriptionID), 17U);
    EXPECT_EQ(slotOf(&I::getSubscriptions), 18U);
    EXPECT_EQ(slotOf(&I::deleteExpiredSubscriptions), 19U);
}
#endif

}  // namespace
}  // namespace Kalt::Vemo::Notification
