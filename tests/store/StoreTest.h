#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "FileDatabase.h"
#include "SubscriptionFileDatabase.h"
#include "TestSupport.h"

namespace Kalt::Vemo::Notification {

// Found by GoogleTest through the type's own namespace.
bool operator==(const SubscriptionRecord& left, const SubscriptionRecord& right);
void PrintTo(const SubscriptionRecord& record, std::ostream* out);

}  // namespace Kalt::Vemo::Notification

namespace Kalt::Vemo::Test {

using Notification::SubscriptionRecord;
using Records = std::list<SubscriptionRecord>;
using Texts = std::list<std::string>;

constexpr std::time_t kNow = 1700000000;

/// What each table's file begins with: names, flags, and an empty line where a primary key would stand.
inline const std::string kMySubscriptions =
    "requestId~deviceId~subscribedResource~subscriptionUri~notificationUri~ROWID\n"
    "1~4~4~4~4~1\n"
    "\n";
inline const std::string kSubscriptions =
    "deviceId~subscribedResource~subscriptionUri~notificationUri~expireTime~ROWID\n"
    "4~4~4~4~4~1\n"
    "\n";

/// The same of a table that was made before subscriptions could expire.
inline const std::string kEarlierSubscriptions =
    "deviceId~subscribedResource~subscriptionUri~notificationUri~ROWID\n"
    "4~4~4~4~1\n"
    "\n";

/// A record with these texts.
SubscriptionRecord record(const std::string& deviceId, const std::string& subscribedResource,
                          const std::string& subscriptionUri, const std::string& notificationUri,
                          std::int64_t subscriptionId = 0);

/// The last of the records; an empty one when there is none.
SubscriptionRecord last(const Records& records);

/// A store in a directory of its own, at a fixed time, with the log captured.
class StoreTest : public ::testing::Test {
protected:
    StoreTest();

    /// Opens the store; below 1 the subscriptions do not expire.
    void open(int expirySeconds = 0);

    /// Makes the table Subscriptions as another client of the database would, then opens the store.
    void openProvisioned(int expirySeconds = 0);

    /// Closes the store and opens it again.
    void reopen(int expirySeconds = 0);

    /// Runs one statement as another client of the database, while the store is closed.
    template <typename... Values>
    void asOtherClient(const char* statement, Values... values) {
        Core::Database::Filedb::FileDatabase other;
        ASSERT_TRUE(other.init(path()));
        ASSERT_EQ(other.executeUpdate(statement, values...), 0);
    }

    /// Makes the table Subscriptions as it was before subscriptions could expire.
    void makeEarlierLayout();

    std::string path() const { return temporary.file("home"); }
    std::string directory() const { return path() + "_filedb"; }
    std::string file(const std::string& name) const { return directory() + "/" + name; }
    std::string mySubscriptions() const { return readFile(file("MySubscriptions.table")); }
    std::string subscriptions() const { return readFile(file("Subscriptions.table")); }
    std::string journal() const { return readFile(file("master_rollback")); }

    // Calls of the store with plain values for its reference arguments.
    bool savePending(int requestId, SubscriptionRecord record);
    bool save(SubscriptionRecord record);
    bool answer(int requestId, std::string uri);

    /// Everything the store holds of others.
    Records allSubscriptions();

    /// Everything the store holds on a device.
    Records allOfDevice(std::string deviceId);

    /// Error lines of the store itself.
    std::vector<std::string> storeErrors() const;

    TemporaryDirectory temporary;
    LogCapture log;
    std::unique_ptr<Notification::FileSubscriptionDatabase> store =
        std::make_unique<Notification::FileSubscriptionDatabase>();
};

}  // namespace Kalt::Vemo::Test
