#include "PowerCutTrial.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "StoreAccess.h"
#include "StoreTest.h"

// The power is cut at any moment of a store's work.
namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::Synchronous;
using ::testing::IsEmpty;

class StorePowerCutTest : public ::testing::TestWithParam<Synchronous> {};

INSTANTIATE_TEST_SUITE_P(AtNormalAndFull, StorePowerCutTest,
                         ::testing::Values(Synchronous::normal, Synchronous::full), [](const auto& level) {
                             return level.param == Synchronous::full ? "full" : "normal";
                         });

TEST_P(StorePowerCutTest, WhatTheStoreHasConfirmedIsThere) {
    PowerCutTrial trial(GetParam());
    auto store = Notification::StoreAccess::make(GetParam());
    std::string path = trial.path();
    SubscriptionRecord lamp = record("lamp", "/3311/0/5850", "uri/1", "http://hub/lamp");
    SubscriptionRecord door = record("door", "/3347/0/5500", "uri/2", "http://hub/door");
    SubscriptionRecord moved = record("lamp", "/3311/0/5850", "uri/1", "http://elsewhere/lamp");
    std::string answer = "uri/answer";
    std::string firstId = "1";

    trial.act("init", [&] { EXPECT_TRUE(store->init(path, 0)); });
    trial.act("save", [&] { EXPECT_TRUE(store->saveSubscription(lamp)); });
    trial.act("save another", [&] { EXPECT_TRUE(store->saveSubscription(door)); });
    trial.act("save again", [&] { EXPECT_TRUE(store->saveSubscription(moved)); });
    trial.act("save pending", [&] { EXPECT_TRUE(store->savePendingMySubscription(7, door)); });
    trial.act("answer", [&] { EXPECT_TRUE(store->updateMySubscription(7, answer)); });
    trial.act("delete", [&] { EXPECT_TRUE(store->deleteSubscriptionBySubscriptionID(firstId)); });
    trial.act("deinit", [&] { EXPECT_TRUE(store->deinit()); });

    EXPECT_THAT(trial.brokenPromises(), IsEmpty());
    RecordProperty("states", static_cast<int>(PowerCutTrial::statesTried()));
}

}  // namespace
}  // namespace Kalt::Vemo::Test
