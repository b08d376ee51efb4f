#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ISubscriptionDB.h"

/// The subscription store on SQLite, for comparison: the same tables and the same questions, each statement
/// prepared once, LIKE case-sensitive, rollback journal deleted at each commit, no index but the rowid.
class SqliteStore : public Kalt::Vemo::Notification::ISubscriptionDB {
    using Record = Kalt::Vemo::Notification::SubscriptionRecord;

public:
    /// @param synchronous OFF, NORMAL or FULL
    explicit SqliteStore(std::string synchronous);
    ~SqliteStore() override;

    bool init(std::string& path, int expiryTimeVal) override;
    bool deinit() override;
    bool savePendingMySubscription(int requestId, Record& record) override;
    bool deletePendingMySubscription(int requestId) override;
    bool updateMySubscription(int requestId, std::string& subscriptionUri) override;
    bool updateMySubscriptionBySubscriptionUri(std::string& subscriptionUri,
                                               std::string& subscribedResource) override;
    bool deleteMySubscriptionBySubscriptionUri(std::string& deviceId, std::string& subscriptionUri) override;
    bool getMySubscriptionBySubscriptionUri(std::string& subscriptionUri, Record& record) override;
    bool getMySubscriptionByDeviceId(std::string& deviceId, std::list<Record>& records) override;
    bool getMySubscriptionByResourcePaths(std::string& deviceId, std::string& resource,
                                          std::list<Record>& records) override;
    bool getMySubscriptionContainingResourceList(std::string deviceId, std::list<std::string> resources,
                                                 std::list<Record>& records) override;
    bool saveSubscription(Record& record) override;
    bool getSubscriptionContainingResource(std::string& resource, std::list<Record>& records) override;
    bool getSubscriptionContainingResourceList(std::list<std::string> resources,
                                               std::list<Record>& records) override;
    bool getSubscriptionBySubscriptionID(std::string& id, Record& record) override;
    bool updateSubscription(Record& record) override;
    bool deleteSubscriptionBySubscriptionID(std::string& id) override;
    bool getSubscriptions(std::list<Record>& records) override;
    bool deleteExpiredSubscriptions() override;

    /// Runs a statement, prepared at its first use. A statement that fails ends the program: a benchmark that
    /// measures errors is worse than none.
    bool run(const std::string& sql, const std::vector<std::string>& values = {});
    bool select(const std::string& sql, const std::vector<std::string>& values, std::list<Record>& records);

private:
    sqlite3_stmt* prepared(const std::string& sql, const std::vector<std::string>& values);

    std::string synchronous_;
    sqlite3* database_ = nullptr;
    std::map<std::string, std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)>> statements_;
    int expiry_ = -1;
};
