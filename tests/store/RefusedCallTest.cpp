#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "FaultLayer.h"
#include "LogSink.h"
#include "RefusedCalls.h"
#include "StoreTest.h"

// Every operation of the store that writes, with every call on a file refused in turn, in every way. True
// means that the change is stored; false means that it is not confirmed. Whatever happens, nobody is held
// up, and when the system obliges again the next call works.
namespace Kalt::Vemo::Test {
namespace {

using Notification::FileSubscriptionDatabase;
using ::testing::AnyOf;

/// All that a store holds.
struct Holdings {
    Records subscriptions;
    Records lamp;   ///< what it holds on the device "lamp"
    Records other;  ///< what it holds on the device "other", which belongs to the other thread
};

bool operator==(const Holdings& left, const Holdings& right) {
    return left.subscriptions == right.subscriptions && left.lamp == right.lamp && left.other == right.other;
}

void PrintTo(const Holdings& holdings, std::ostream* out) {
    *out << "subscriptions " << ::testing::PrintToString(holdings.subscriptions) << ", lamp "
         << ::testing::PrintToString(holdings.lamp) << ", other " << ::testing::PrintToString(holdings.other);
}

/// A call that writes; sets the record's identifier when it saves one.
struct Operation {
    std::string name;
    std::function<bool(FileSubscriptionDatabase&, SubscriptionRecord& saved)> call;
};

const std::vector<Operation> kOperations = {
    {"savePendingMySubscription",
     [](auto& store, auto& saved) {
         saved = record("lamp", "/new", "", "/n");
         return store.savePendingMySubscription(9, saved);
     }},
    {"deletePendingMySubscription",
     [](auto& store, auto& /*saved*/) { return store.deletePendingMySubscription(7); }},
    {"updateMySubscription",
     [](auto& store, auto& /*saved*/) {
         std::string uri = "/subscription/with/a/longer/name";
         return store.updateMySubscription(7, uri);
     }},
    {"updateMySubscriptionBySubscriptionUri",
     [](auto& store, auto& /*saved*/) {
         std::string uri = "/s/2";
         std::string resource = "31";  // it is checked as a value of the first column
         return store.updateMySubscriptionBySubscriptionUri(uri, resource);
     }},
    {"deleteMySubscriptionBySubscriptionUri",
     [](auto& store, auto& /*saved*/) {
         std::string device = "lamp";
         std::string uri = "/s/2";
         return store.deleteMySubscriptionBySubscriptionUri(device, uri);
     }},
    {"saveSubscription",
     [](auto& store, auto& saved) {
         saved = record("phone", "/door", "/s/9", "/n");
         return store.saveSubscription(saved);
     }},
    {"updateSubscription",
     [](auto& store, auto& /*saved*/) {
         SubscriptionRecord changed = record("tablet", "/window", "/s/2", "/elsewhere", 2);
         return store.updateSubscription(changed);
     }},
    {"deleteSubscriptionBySubscriptionID",
     [](auto& store, auto& /*saved*/) {
         std::string id = "2";
         return store.deleteSubscriptionBySubscriptionID(id);
     }},
    {"deleteExpiredSubscriptions",
     [](auto& store, auto& /*saved*/) { return store.deleteExpiredSubscriptions(); }},
};

Operation operation(const std::string& name) {
    for (const Operation& candidate : kOperations) {
        if (candidate.name == name) {
            return candidate;
        }
    }
    ADD_FAILURE() << "no operation " << name;
    return {};
}

Files smallStore() {
    return {{"MySubscriptions.table", kMySubscriptions + "7~'lamp'~'/on'~''~'/n'~1\n" +
                                          "18446744073709551615~'lamp'~'/off'~'/s/2'~'/n'~2\n" +
                                          "8~'fan'~'/on'~''~'/n'~3\n"},
            {"Subscriptions.table", kSubscriptions + "'phone'~'/door'~'/s/1'~'/n'~'1600000000'~1\n" +
                                        "'phone'~'/gate'~'/s/2'~'/n'~'1900000000'~2\n" +
                                        "'watch'~'/door'~'/s/3'~'/n'~NULL~3\n"},
            {"master_rollback", "0\n"}};
}

// More than two times 64 KiB of rows: such a file is read and written in several blocks. The rows are few and
// long, because most of the time of the tests goes into single rows.
Files largeStore() {
    Files files = smallStore();
    for (int row = 4; row <= 160; ++row) {
        const std::string number = std::to_string(row);
        files["Subscriptions.table"] += "'phone'~'/door/" + number + "/" + std::string(900, 'x') + "'~'/s/" +
                                        number + "'~'/n'~NULL~" + number + "\n";
    }
    return files;
}

class RefusedCall : public StoreTest {
protected:
    void SetUp() override {
        Log::setLogSink([](const Log::LogMessage&) {}, -2);
    }

    void TearDown() override {
        store.reset();
        Log::setLogSink({}, 0);
    }

    void start(const Files& base) {
        base_ = base;
        restoreFiles(directory(), base_);
        open();
        before_ = holdings(*store);
        ASSERT_FALSE(before_.lamp.empty());
        ASSERT_FALSE(before_.subscriptions.empty());
        afterwards_.clear();
    }

    void openFresh() {
        restoreFiles(directory(), base_);
        store = std::make_unique<FileSubscriptionDatabase>();
        open();
    }

    static Holdings holdings(FileSubscriptionDatabase& target) {
        Holdings result;
        std::string lamp = "lamp";
        std::string other = "other";
        EXPECT_TRUE(target.getSubscriptions(result.subscriptions));
        EXPECT_TRUE(target.getMySubscriptionByDeviceId(lamp, result.lamp));
        EXPECT_TRUE(target.getMySubscriptionByDeviceId(other, result.other));
        return result;
    }

    /// What the store holds after the operation, and its files, when nothing goes wrong.
    struct Outcome {
        Holdings holdings;
        Files files;
    };

    const Outcome& afterwards(const Operation& operation) {
        const auto known = afterwards_.find(operation.name);
        if (known != afterwards_.end()) {
            return known->second;
        }
        openFresh();
        SubscriptionRecord saved;
        EXPECT_TRUE(operation.call(*store, saved));
        Outcome outcome{holdings(*store), readFiles(directory())};
        EXPECT_FALSE(outcome.holdings == before_) << operation.name << " changes nothing";
        return afterwards_[operation.name] = std::move(outcome);
    }

    static int failures() {
        return ::testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
    }

    /// Does `run` with the steps 1, 2, 3, ... until it tells that it ended before its step.
    template <typename Run>
    static void forSteps(Run run) {
        constexpr int kMostSteps = 400;
        const int failuresBefore = failures();
        bool reached = true;
        for (int n = 1; reached; ++n) {
            SCOPED_TRACE("step " + std::to_string(n));
            ASSERT_LT(n, kMostSteps) << "no end in sight";
            reached = run(n);
            if (failures() > failuresBefore) {
                return;  // the steps after it would only say the same
            }
        }
    }

    bool saveOfOther(int requestId) {
        SubscriptionRecord saved = record("other", "/r" + std::to_string(requestId), "", "/n");
        return store->savePendingMySubscription(requestId, saved);
    }

    void refuse(const std::vector<Operation>& operations, const std::vector<Trouble>& troubles) {
        for (const Operation& operation : operations) {
            int refusals = 0;
            for (const Trouble& trouble : troubles) {
                SCOPED_TRACE(operation.name + ": " + trouble.name);
                forSteps([&](int n) {
                    ++refusals;
                    return refuse(operation, trouble, n);
                });
            }
            EXPECT_GT(refusals, static_cast<int>(troubles.size()))
                << "no call was touched: " << operation.name;
        }
    }

    /// Runs the operation with the trouble from its n-th call on; false when it ended before.
    bool refuse(const Operation& operation, const Trouble& trouble, int n) {
        const Holdings& after = afterwards(operation).holdings;
        openFresh();
        SubscriptionRecord saved;
        Records ofOther;
        FaultLayer faults(trouble.fault, n, trouble.lasting);
        const bool result = operation.call(*store, saved);
        if (FaultLayer::steps() < n) {
            EXPECT_TRUE(result);
            return false;
        }
        bool othersResult = false;
        if (trouble.lasting) {
            mustEnd("a query of another thread, while the fault lasts", [&] {
                Records found;
                store->getSubscriptions(found);
            });
            mustEnd("a save of another thread, while the fault lasts",
                    [&] { othersResult = saveOfOther(20); });
        }
        faults.lift();
        if (trouble.fault == Fault::kShort) {
            EXPECT_TRUE(result) << "though every byte could be had";
        }
        expectHoldingsThatFit(result, othersResult, after, saved);
        expectWorksOn();
        return true;
    }

    void expectHoldingsThatFit(bool result, bool othersResult, const Holdings& after,
                               const SubscriptionRecord& saved) {
        mustEnd("a query of another thread", [&] { holdings(*store); });
        const Holdings now = holdings(*store);
        Holdings mine = now;
        mine.other.clear();
        EXPECT_THAT(mine, AnyOf(before_, after));
        if (result) {
            EXPECT_EQ(mine, after) << "though it was reported as done";
            if (!saved.deviceId.empty()) {
                EXPECT_EQ(saved, saved.deviceId == "lamp" ? last(now.lamp) : last(now.subscriptions));
            }
        }
        if (othersResult) {
            EXPECT_EQ(now.other.size(), 1U) << "though it was reported as done";
        }
        expectFreshLook(now);
    }

    /// A process that opens a copy of the directory now finds the same.
    void expectFreshLook(const Holdings& wanted) {
        std::string aside = temporary.file("aside");
        restoreFiles(aside + "_filedb", readFiles(directory()));
        FileSubscriptionDatabase fresh;
        EXPECT_TRUE(fresh.init(aside, 0));
        EXPECT_EQ(holdings(fresh), wanted) << "for a fresh process";
    }

    /// Saves and deletes of this thread and another one are done, and seen.
    void expectWorksOn() {
        Holdings wanted = holdings(*store);
        SubscriptionRecord mine = record("phone", "/later", "/s/10", "/n");
        EXPECT_TRUE(store->saveSubscription(mine)) << "later";
        wanted.subscriptions.push_back(mine);
        mustEnd("a save of another thread", [&] { EXPECT_TRUE(saveOfOther(21)) << "later"; });
        Holdings now = holdings(*store);
        ASSERT_FALSE(now.other.empty());
        EXPECT_EQ(last(now.other).subscribedResource, "/r21");
        wanted.other = now.other;
        EXPECT_EQ(now, wanted);
        EXPECT_TRUE(store->deletePendingMySubscription(21)) << "later";
        wanted.other.pop_back();
        EXPECT_EQ(holdings(*store), wanted);
        EXPECT_EQ(journal(), "0\n");
        for (const std::string& name : listDirectory(directory())) {
            EXPECT_THAT(name, ::testing::Not(::testing::EndsWith(".backup")));
        }
        expectFreshLook(wanted);
    }

    /// The process ends at each call of the operation in turn; what it leaves is whole.
    void endAtEachCall(const Operation& operation) {
        const Outcome& after = afterwards(operation);
        for (const Fault fault : {Fault::kDeath, Fault::kTornDeath}) {
            SCOPED_TRACE(operation.name + (fault == Fault::kDeath ? ": killed" : ": killed half way"));
            forSteps([&](int n) {
                store->deinit();  // it would keep the other process out
                restoreFiles(directory(), base_);
                const bool died = endsEarly([&] {
                    FileSubscriptionDatabase victim;
                    std::string where = path();
                    if (!victim.init(where, 0)) {
                        return false;
                    }
                    SubscriptionRecord saved;
                    const FaultLayer faults(fault, n);
                    return operation.call(victim, saved);
                });
                const bool whole = expectWhole(after.files);
                store = std::make_unique<FileSubscriptionDatabase>();
                open();
                if (whole) {
                    EXPECT_THAT(holdings(*store), AnyOf(before_, after.holdings));
                    expectWorksOn();
                }
                return died;
            });
        }
    }

    /// False for a table that was caught while it was copied over: then the state line says so, and the whole
    /// working copy is there.
    bool expectWhole(const Files& after) {
        const Files now = readFiles(directory());
        bool whole = true;
        for (const char* name : {"MySubscriptions", "Subscriptions"}) {
            const std::string file = std::string(name) + ".table";
            if (now.at(file) == base_.at(file) || now.at(file) == after.at(file)) {
                continue;
            }
            whole = false;
            EXPECT_EQ(now.at("master_rollback").substr(0, 2), "1\n") << name << " is torn";
            EXPECT_TRUE(now.count(std::string(name) + ".backup") > 0 &&
                        now.at(std::string(name) + ".backup") == after.at(file))
                << name << " is torn";
        }
        return whole;
    }

    Files base_;
    Holdings before_;
    std::map<std::string, Outcome> afterwards_;
};

TEST_F(RefusedCall, OperationOnSmallTablesIsTrueOnlyWhenItsChangeIsStored) {
    start(smallStore());
    refuse(kOperations, allTroubles());
}

// The size of a table matters to what reads and writes it, and to nothing else: so one operation of each
// kind, and the faults that differ in kind.
TEST_F(RefusedCall, OperationOnALargeTableIsTrueOnlyWhenItsChangeIsStored) {
    start(largeStore());
    refuse({operation("saveSubscription"), operation("updateSubscription"),
            operation("deleteSubscriptionBySubscriptionID")},
           mainTroubles());
}

TEST_F(RefusedCall, ProcessThatIsKilledInAnOperationLeavesWholeTables) {
    start(smallStore());
    for (const Operation& operation : kOperations) {
        endAtEachCall(operation);
    }
    start(largeStore());
    endAtEachCall(operation("deleteSubscriptionBySubscriptionID"));
}

TEST_F(RefusedCall, OpeningIsTrueOnlyWhenTheStoreWorks) {
    start(smallStore());
    const Files unfinished = {{"MySubscriptions.table", smallStore().at("MySubscriptions.table")},
                              {"Subscriptions.table", smallStore().at("Subscriptions.table")},
                              {"Subscriptions.backup", "never finished"},
                              {"master_rollback", "0\n\x01~Subscriptions\n"}};
    Files fresh = smallStore();
    fresh.erase("MySubscriptions.table");
    const std::pair<const char*, Files> directories[] = {
        {"full", smallStore()}, {"unfinished transaction", unfinished}, {"without MySubscriptions", fresh}};
    for (const auto& [name, files] : directories) {
        base_ = files;
        const bool full = files.count("MySubscriptions.table") > 0;
        for (const Trouble& trouble : allTroubles()) {
            SCOPED_TRACE(std::string(name) + ": " + trouble.name);
            forSteps([&](int n) {
                restoreFiles(directory(), base_);
                store = std::make_unique<FileSubscriptionDatabase>();
                std::string where = path();
                FaultLayer faults(trouble.fault, n, trouble.lasting);
                const bool opened = store->init(where, 0);
                if (FaultLayer::steps() < n) {
                    EXPECT_TRUE(opened);
                    return false;
                }
                mustEnd("an operation of another thread", [&] { store->deletePendingMySubscription(1000); });
                faults.lift();
                if (trouble.fault == Fault::kShort) {
                    EXPECT_TRUE(opened) << "though every byte could be had";
                }
                if (!opened) {
                    store->deinit();
                    EXPECT_TRUE(store->init(where, 0)) << "with the fault gone";
                }
                const Holdings now = holdings(*store);
                EXPECT_EQ(now.subscriptions, before_.subscriptions);
                EXPECT_EQ(now.lamp, full ? before_.lamp : Records());
                expectWorksOn();
                return true;
            });
        }
    }
}

bool opensFile(const FileCall& call) {
    return call.call == Call::kOpen;
}

bool writesTable(const FileCall& call) {
    return call.call == Call::kWrite && call.file == "Subscriptions.table";
}

bool writes(const FileCall& call) {
    return call.call == Call::kWrite;
}

TEST_F(RefusedCall, SaveWithoutADescriptorLeftIsFalseAndLeavesTheRecordAlone) {
    start(smallStore());
    SubscriptionRecord first = record("phone", "/first", "/s", "/n");
    ASSERT_TRUE(store->saveSubscription(first));
    ASSERT_EQ(first.subscriptionId, 4);
    const Holdings before = holdings(*store);
    SubscriptionRecord second = record("phone", "/second", "/s", "/n", 42);
    {
        const FaultLayer faults(Fault::refusal(EMFILE), opensFile);
        EXPECT_FALSE(store->saveSubscription(second));
        EXPECT_FALSE(store->savePendingMySubscription(5, second));
        EXPECT_GT(FaultLayer::hits(), 0);
    }
    EXPECT_EQ(second.subscriptionId, 42);
    EXPECT_EQ(holdings(*store), before);
    EXPECT_TRUE(store->saveSubscription(second));
    EXPECT_EQ(second.subscriptionId, 5);
}

TEST_F(RefusedCall, DeletionAndUpdateWithoutADescriptorLeftAreFalse) {
    start(smallStore());
    SubscriptionRecord unused;
    const FaultLayer faults(Fault::refusal(EMFILE), opensFile);
    for (const Operation& operation : kOperations) {
        EXPECT_FALSE(operation.call(*store, unused)) << operation.name;
    }
}

TEST_F(RefusedCall, FullDiskRefusesWritesAndHoldsUpNobody) {
    for (const CallFilter& filter : {CallFilter(writes), CallFilter(writesTable)}) {
        for (const Operation& operation : kOperations) {
            SCOPED_TRACE(operation.name);
            start(smallStore());
            SubscriptionRecord unused;
            FaultLayer faults(Fault::refusal(ENOSPC), filter);
            const bool result = operation.call(*store, unused);
            const bool touched = FaultLayer::hits() > 0;
            EXPECT_EQ(result, !touched);
            EXPECT_EQ(operation.call(*store, unused), !touched) << "again";
            mustEnd("a save of another thread", [&] { saveOfOther(20); });
            mustEnd("a query of another thread", [&] {
                Records found;
                EXPECT_TRUE(store->getSubscriptions(found));
            });
            faults.lift();
            expectWorksOn();
        }
    }
}

TEST_F(RefusedCall, SavesThatWereRefusedOneAfterTheOtherAreAllFalseAndTheNextIsTrue) {
    start(smallStore());
    SubscriptionRecord saved = record("phone", "/first", "/s", "/n");
    {
        const FaultLayer faults(Fault::kNoSpace, 1, true);
        for (int i = 0; i < 5; ++i) {
            EXPECT_FALSE(store->saveSubscription(saved));
            std::string id = "2";
            EXPECT_FALSE(store->deleteSubscriptionBySubscriptionID(id));
            EXPECT_FALSE(store->deleteExpiredSubscriptions());
        }
    }
    EXPECT_EQ(holdings(*store), before_);
    expectWorksOn();
}

TEST_F(RefusedCall, OpeningIsFalseWhenItCannotBeToldWhetherATableIsThere) {
    for (const int error : {EMFILE, EINTR, EIO, EACCES, ENOSPC}) {
        SCOPED_TRACE(error);
        start(smallStore());
        store = std::make_unique<FileSubscriptionDatabase>();
        const auto probe = [](const FileCall& call) {
            return call.call == Call::kOpen && call.file == "MySubscriptions.table";
        };
        std::string where = path();
        FaultLayer faults(Fault::refusal(error), probe);
        EXPECT_FALSE(store->init(where, 0));
        EXPECT_GT(FaultLayer::hits(), 0);
        faults.lift();
        EXPECT_EQ(readFiles(directory()), base_);
        store->deinit();
        open();
        EXPECT_EQ(holdings(*store), before_);
    }
}

}  // namespace
}  // namespace Kalt::Vemo::Test
