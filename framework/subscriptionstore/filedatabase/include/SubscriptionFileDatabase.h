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
namespace Filedb {
enum class Synchronous;
}
}  // namespace Kalt::Vemo::Core::Database

namespace Kalt::Vemo::Notification {

/// The subscription store, kept in two tables of a text-file database.
///
/// - `MySubscriptions`: what this device holds, or has requested, on other devices. A row that waits for its
///   answer carries the request's id, an answered one 18446744073709551615 (-1, as the table stores it).
/// - `Subscriptions`: what others hold on this device's resources, each with the instant at which it expires,
///   in seconds since the epoch, or NULL for one that does not. `init` does not make this table: on a fresh
///   directory another client of the database has to, with the statement that README.md gives.
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
///   not confirmed. It holds up no other call: when the system obliges again, the next one works.
/// - What a table cannot give back as written is refused before anything is changed: a "~", a line feed or a
///   NUL byte in a text to be stored, a NUL byte in any argument, a row whose line in the file would be
///   longer than 1023 bytes.
/// - On failure, records and lists handed in are unchanged, except that a save whose commit failed has set
///   the record's identifier.
///
/// Quotes inside a text are stored as they are; the text "NULL" is stored as NULL and reads back empty.
///
/// Ownership: the caller owns the store; the store owns its database and keeps no argument. One process, and
/// one store of it, for each directory at a time, as IDatabase tells.
///
/// Threads: `init`, `deinit` and the setter belong to the owner, before and after all other traffic; every
/// other call may come from any thread. A save whose statement the database refuses to take keeps the
/// database's lock for its thread, until that thread's next save.
///
/// What an operation does is told by ISubscriptionDB; here stands what this store adds to it.
///
///     FileSubscriptionDatabase store;
///     std::string path = "/var/lib/device/subscriptions";
///     if (!store.init(path, 3600)) { ... }
///     SubscriptionRecord record;
///     record.deviceId = "lamp";
///     if (store.saveSubscription(record)) { ... }    // record.subscriptionId is its identifier now
class VEMO_DATABASE_EXPORT FileSubscriptionDatabase : public ISubscriptionDB {
public:
    /// Makes a store that is not open.
    FileSubscriptionDatabase();

    /// Closes the store, as `deinit` does.
    ~FileSubscriptionDatabase() override;
    FileSubscriptionDatabase(const FileSubscriptionDatabase&) = delete;
    FileSubscriptionDatabase& operator=(const FileSubscriptionDatabase&) = delete;

    /// Opens the store in the directory `path` followed by "_filedb". An earlier opening ends first, unless
    /// the path is refused.
    ///
    /// @param path          not empty, without a NUL byte; the directory that is to hold the store's own must
    ///                      exist
    /// @param expiryTimeVal seconds that a saved subscription lives; below 1 it does not expire
    /// @return false for a path that is refused, when another process has the directory open, and when the
    ///         system keeps the database or the table MySubscriptions from being made
    bool init(std::string& path, int expiryTimeVal) override;

    bool deinit() override;
    bool savePendingMySubscription(int requestId, SubscriptionRecord& record) override;
    bool deletePendingMySubscription(int requestId) override;
    bool updateMySubscription(int requestId, std::string& subscriptionUri) override;

    /// @copydoc ISubscriptionDB::updateMySubscriptionBySubscriptionUri
    ///
    /// The database checks the resource as it checks the table's first column, a number: any other text is
    /// logged as a type mismatch, the rows stay as they are, and the result is true.
    bool updateMySubscriptionBySubscriptionUri(std::string& subscriptionUri,
                                               std::string& subscribedResource) override;

    bool deleteMySubscriptionBySubscriptionUri(std::string& deviceId, std::string& subscriptionUri) override;

    bool getMySubscriptionBySubscriptionUri(std::string& subscriptionUri,
                                            SubscriptionRecord& record) override;
    bool getMySubscriptionByDeviceId(std::string& deviceId, std::list<SubscriptionRecord>& records) override;
    bool getMySubscriptionByResourcePaths(std::string& deviceId, std::string& resource,
                                          std::list<SubscriptionRecord>& records) override;

    /// @copydoc ISubscriptionDB::getMySubscriptionContainingResourceList
    ///
    /// The database cannot evaluate this condition for a row: the result is false unless the table is empty.
    /// False as well for a text with a "?", which a statement takes for a placeholder.
    bool getMySubscriptionContainingResourceList(std::string deviceId, std::list<std::string> resources,
                                                 std::list<SubscriptionRecord>& records) override;

    bool saveSubscription(SubscriptionRecord& record) override;
    bool getSubscriptionContainingResource(std::string& resource,
                                           std::list<SubscriptionRecord>& records) override;

    /// @copydoc ISubscriptionDB::getSubscriptionContainingResourceList
    ///
    /// The texts become part of the statement: a quote or a blank changes it. False for a text with a "?".
    bool getSubscriptionContainingResourceList(std::list<std::string> resources,
                                               std::list<SubscriptionRecord>& records) override;

    bool getSubscriptionBySubscriptionID(std::string& id, SubscriptionRecord& record) override;

    /// @copydoc ISubscriptionDB::updateSubscription
    ///
    /// With expiry enabled the statement names a column that the table lacks: the database logs it, the row
    /// stays as it is, and the result is true.
    bool updateSubscription(SubscriptionRecord& record) override;

    bool deleteSubscriptionBySubscriptionID(std::string& id) override;
    bool getSubscriptions(std::list<SubscriptionRecord>& records) override;

    /// @copydoc ISubscriptionDB::deleteExpiredSubscriptions
    ///
    /// A life is over when its expiry instant is not after the present second.
    bool deleteExpiredSubscriptions() override;

    /// Sets how long subscriptions live that are saved from now on.
    /// @param seconds the time from saving to expiry; below 1 they do not expire
    void setSubExprTimeVal(int seconds);

    /// Tells how long subscriptions live that are saved now.
    /// @return the seconds that `init` or the setter has set; -1 before
    int getSubExprTimeVal() const;

    /// Writes a number in decimal, the same in every locale.
    /// @param number an integer
    /// @return its digits, after a minus sign for a negative one
    template <typename Number>
    static std::string toString(Number number) {
        return std::to_string(number);
    }

private:
    friend class StoreAccess;

    explicit FileSubscriptionDatabase(Core::Database::Filedb::Synchronous synchronous);

    const Core::Database::Filedb::Synchronous synchronous_;
    std::unique_ptr<Core::Database::IDatabase> database_;
    int subExprTimeVal_ = -1;
};

}  // namespace Kalt::Vemo::Notification
