#pragma once

#include <list>
#include <string>

#include "SubscriptionExport.h"
#include "SubscriptionRecord.h"

namespace Kalt::Vemo::Notification {

/// Where the notification framework keeps its subscriptions: those that this device holds, or has requested,
/// on other devices ("my subscriptions"), and those that others hold on this device's resources.
///
/// A subscription of this device is pending from the request until the answer: it is then known by the number
/// of the request. The answer brings its URI, and from then on it is known by that URI. Subscriptions of
/// others are known by their identifier.
///
/// Errors: no operation throws. Every one returns true on success and false on failure, the reason is in the
/// log. Before `init` and after `deinit` all but these two return false. After an `init` that returned false
/// the store may be open in part, and the operations answer what that part can: true is then no promise.
///
/// Arguments: none is kept; text arguments are read only. Nothing quotes them, so that text with a "?" or a
/// single quote in it can change what an operation means.
///
/// Results: a query without a match succeeds. Lists are appended to, one record for each match; what they
/// held before stays, and a failed query may leave the matches that it had read by then. A single record gets
/// the first match; it is unchanged when there is no match and when the query fails.
///
/// Lifetime: the owner deletes the object through this class; that does what `deinit` does.
///
/// Threads: `init`, `deinit` and deletion belong to the owner, before and after all other traffic. All other
/// operations may be called from any thread.
///
///     std::unique_ptr<ISubscriptionDB> store(VEMOFileSubscriptionDB::createInstance());
///     std::string path = "/var/lib/app/subscriptions";
///     if (!store->init(path, 3600)) { ... }
///     std::list<SubscriptionRecord> records;
///     if (store->getSubscriptions(records)) { ... }
class VEMO_SUBSCRIPTION_EXPORT ISubscriptionDB {
public:
    virtual ~ISubscriptionDB();

    /// Opens the store; needed before anything else.
    ///
    /// @param path          prefix of the store's files, not empty
    /// @param expiryTimeVal seconds that subscriptions of others live after their saving; below 1: for ever
    virtual bool init(std::string& path, int expiryTimeVal) = 0;

    /// Closes the store; its content stays. Always true, also for a store that is not open.
    virtual bool deinit() = 0;

    /// Saves a subscription of this device that has been requested under the number `requestId`.
    ///
    /// On success: `record.subscriptionId` is the new identifier. On failure: the record is unchanged, except
    /// when only making the change permanent failed: then the identifier is set already.
    virtual bool savePendingMySubscription(int requestId, SubscriptionRecord& record) = 0;

    /// Deletes the pending subscription of this request; true also when there is none.
    virtual bool deletePendingMySubscription(int requestId) = 0;

    /// Ends the pending state: gives the subscription of this request its URI, and no request number any
    /// more. True also when there is none.
    virtual bool updateMySubscription(int requestId, std::string& subscriptionUri) = 0;

    /// Changes the resource of the subscriptions of this device that have this URI; true also when there is
    /// none.
    virtual bool updateMySubscriptionBySubscriptionUri(std::string& subscriptionUri,
                                                       std::string& subscribedResource) = 0;

    /// Deletes the subscriptions of this device on `deviceId` that have this URI; true also when there is
    /// none.
    virtual bool deleteMySubscriptionBySubscriptionUri(std::string& deviceId,
                                                       std::string& subscriptionUri) = 0;

    /// Finds the subscription of this device that has this URI.
    virtual bool getMySubscriptionBySubscriptionUri(std::string& subscriptionUri,
                                                    SubscriptionRecord& record) = 0;

    /// Finds the subscriptions of this device on the device `deviceId`.
    virtual bool getMySubscriptionByDeviceId(std::string& deviceId,
                                             std::list<SubscriptionRecord>& records) = 0;

    /// Finds the subscriptions of this device on `deviceId` whose resource text is `resource` as a whole.
    virtual bool getMySubscriptionByResourcePaths(std::string& deviceId, std::string& resource,
                                                  std::list<SubscriptionRecord>& records) = 0;

    /// Finds the subscriptions of this device on `deviceId` that have at least one of these resources as a
    /// word of their blank-separated resource text. False for an empty list of resources.
    virtual bool getMySubscriptionContainingResourceList(std::string deviceId,
                                                         std::list<std::string> resources,
                                                         std::list<SubscriptionRecord>& records) = 0;

    /// Saves a subscription that another device holds here. With an expiry time, its life begins now.
    ///
    /// `record.subscriptionId` afterwards is as told for savePendingMySubscription.
    virtual bool saveSubscription(SubscriptionRecord& record) = 0;

    /// Finds the subscriptions of others that have `resource` as a word of their blank-separated resource
    /// text.
    virtual bool getSubscriptionContainingResource(std::string& resource,
                                                   std::list<SubscriptionRecord>& records) = 0;

    /// Finds the subscriptions of others whose resource text contains at least one of these texts anywhere.
    /// False for an empty list of resources.
    virtual bool getSubscriptionContainingResourceList(std::list<std::string> resources,
                                                       std::list<SubscriptionRecord>& records) = 0;

    /// Finds the subscription of others with this identifier, in decimal.
    virtual bool getSubscriptionBySubscriptionID(std::string& id, SubscriptionRecord& record) = 0;

    /// Changes device, resource and notification URI of the subscription of others that has the record's
    /// identifier; the subscription URI stays. True also when there is none. The record is unchanged.
    virtual bool updateSubscription(SubscriptionRecord& record) = 0;

    /// Deletes the subscription of others with this identifier, in decimal; true also when there is none.
    virtual bool deleteSubscriptionBySubscriptionID(std::string& id) = 0;

    /// Finds all subscriptions of others.
    virtual bool getSubscriptions(std::list<SubscriptionRecord>& records) = 0;

    /// Deletes the subscriptions of others whose life is over; those saved without an expiry time stay.
    virtual bool deleteExpiredSubscriptions() = 0;

protected:
    ISubscriptionDB() = default;
    ISubscriptionDB(const ISubscriptionDB&) = default;
    ISubscriptionDB& operator=(const ISubscriptionDB&) = default;
};

}  // namespace Kalt::Vemo::Notification
