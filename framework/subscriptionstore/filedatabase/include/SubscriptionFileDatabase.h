#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string>

#include "DatabaseExport.h"
#include "ISubscriptionDB.h"
#include "SubscriptionRecord.h"

namespace Kalt::Vemo::Core::Database {
class IDatabase;
}

namespace Kalt::Vemo::Notification {

/// The subscription store, kept in two tables of a text-file database.
///
/// - `MySubscriptions`: what this device holds, or has requested, on other devices. A row that waits for its
///   answer carries the request's id, an answered one 18446744073709551615 (-1, as the table stores it).
/// - `Subscriptions`: what others hold on this device's resources, each with the instant at which it expires,
///   in seconds since the epoch, or NULL for one that does not. `init` does not make this table: on a fresh
///   directory another client of the database has to.
///
/// A row's ROWID is the subscription's identifier towards the framework.
///
/// Errors: no call throws. A failure is a line in the platform log and the result false.
/// - Every operation before `init`, and after `deinit`: false.
/// - An `init` whose path is empty or holds a NUL byte leaves the store as it was. After any other failed
///   `init` the store keeps its new database until `deinit` or the next `init`, and operations answer what
///   that database answers: true then does not mean that something was stored.
/// - A statement that the database refuses while it runs (a missing table, for example) is logged there and
///   counts as done: the result is true.
/// - A change that the operating system refuses (a full disk, no descriptor left) is false, and then means:
/// not
///   confirmed. It holds up no other call: when the system obliges again, the next one works.
/// - What a table cannot give back as written is refused before anything is changed: a "~", a line feed or a
///   NUL byte in a text to be stored, a NUL byte in any argument, a row whose line in the file would be
///   longer than 1023 bytes.
/// - On failure, records and lists handed in are unchanged, except that a save whose commit failed has set
///   the record's identifier.
///
/// Quotes inside a text are stored as they are; the text "NULL" is stored as NULL and reads back empty.
///
/// Threads: `init` and `deinit` belong to the owner, before and after all other traffic; every other call may
/// come from any thread. A save whose statement the database refuses to take keeps the database's lock for
/// its thread, until that thread's next save.
class VEMO_DATABASE_EXPORT FileSubscriptionDatabase : public ISubscriptionDB {
public:
    FileSubscriptionDatabase();
    ~FileSubscriptionDatabase() override;
    FileSubscriptionDatabase(const FileSubscriptionDatabase&) = delete;
    FileSubscriptionDatabase& operator=(const FileSubscriptionDatabase&) = delete;

    /// Opens the store in the directory `path` followed by "_filedb". An earlier opening ends first, unless
    /// the path is refused.
    ///
    /// @param path          not empty, without a NUL byte; the directory that is to hold the store's own must
    ///                      exist
    /// @param expiryTimeVal seconds that a saved subscription lives; below 1 it does not expire
    bool init(std::string& path, int expiryTimeVal) override;

    /// Closes the store; true also when it was not open.
    bool deinit() override;

    /// Keeps a request that waits for its answer, and sets `record.subscriptionId` to the new row's
    /// identifier.
    bool savePendingMySubscription(int requestId, SubscriptionRecord& record) override;

    /// Drops the rows that wait under `requestId`.
    bool deletePendingMySubscription(int requestId) override;

    /// Notes the answer to a request: the rows that wait under `requestId` get the URI and stop waiting.
    bool updateMySubscription(int requestId, std::string& subscriptionUri) override;

    /// Gives the rows with the URI another resource. The database checks the value as it checks the table's
    /// first column, a number: any other text is logged as a type mismatch, and the rows stay as they are.
    bool updateMySubscriptionBySubscriptionUri(std::string& subscriptionUri,
                                               std::string& subscribedResource) override;

    bool deleteMySubscriptionBySubscriptionUri(std::string& deviceId, std::string& subscriptionUri) override;

    /// Copies the first match into `record`; true, with `record` unchanged, when there is none.
    bool getMySubscriptionBySubscriptionUri(std::string& subscriptionUri,
                                            SubscriptionRecord& record) override;

    /// The queries that fill a list append their matches to it, in the order of their identifiers.
    bool getMySubscriptionByDeviceId(std::string& deviceId, std::list<SubscriptionRecord>& records) override;
    bool getMySubscriptionByResourcePaths(std::string& deviceId, std::string& resource,
                                          std::list<SubscriptionRecord>& records) override;

    /// Asks for rows of the device whose blank-separated resources hold one of `resources` as a whole word.
    /// The database cannot evaluate this condition for a row: the result is false unless the table is empty.
    /// False as well for an empty list, and for a text with a "?", which a statement takes for a placeholder.
    bool getMySubscriptionContainingResourceList(std::string deviceId, std::list<std::string> resources,
                                                 std::list<SubscriptionRecord>& records) override;

    /// Keeps a subscription of another party, and sets `record.subscriptionId` to the new row's identifier.
    bool saveSubscription(SubscriptionRecord& record) override;

    /// Matches the resource as a whole word of the blank-separated resources of a row.
    bool getSubscriptionContainingResource(std::string& resource,
                                           std::list<SubscriptionRecord>& records) override;

    /// Matches each resource anywhere in the resources of a row. The texts become part of the statement: a
    /// quote or a blank changes it. False for an empty list, and for a text with a "?".
    bool getSubscriptionContainingResourceList(std::list<std::string> resources,
                                               std::list<SubscriptionRecord>& records) override;

    /// As getMySubscriptionBySubscriptionUri.
    bool getSubscriptionBySubscriptionID(std::string& id, SubscriptionRecord& record) override;

    /// Writes device, resource and notification URI to the row with the record's identifier. With expiry
    /// enabled the statement names a column that the table lacks: the database logs it and the row stays as
    /// it is.
    bool updateSubscription(SubscriptionRecord& record) override;

    bool deleteSubscriptionBySubscriptionID(std::string& id) override;
    bool getSubscriptions(std::list<SubscriptionRecord>& records) override;

    /// Deletes the subscriptions whose expiry instant is not after the present second.
    bool deleteExpiredSubscriptions() override;

    /// Seconds that a saved subscription lives; -1 until `init` or the setter says otherwise.
    void setSubExprTimeVal(int seconds);
    int getSubExprTimeVal() const;

    /// The number in decimal, the same in every locale.
    template <typename Number>
    static std::string toString(Number number) {
        return std::to_string(number);
    }

private:
    std::unique_ptr<Core::Database::IDatabase> database_;
    int subExprTimeVal_ = -1;
};

}  // namespace Kalt::Vemo::Notification
