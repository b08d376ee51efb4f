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
/// single quote in it can change what an operation means. Identifiers count from 1; instants and lifetimes
/// are in seconds.
///
/// Results: a query without a match succeeds. Lists are appended to, one record for each match; what they
/// held before stays, and a failed query may leave the matches that it had read by then. A single record gets
/// the first match; it is unchanged when there is no match and when the query fails.
///
/// Ownership: whoever made the object deletes the object through this class; that does what `deinit` does.
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
    /// Closes the store, as `deinit` does.
    virtual ~ISubscriptionDB();

    /// Opens the store; needed before anything else.
    ///
    /// @param path          prefix of the store's files, not empty
    /// @param expiryTimeVal seconds that subscriptions of others live after their saving; below 1: for ever
    /// @return whether the store is open
    virtual bool init(std::string& path, int expiryTimeVal) = 0;

    /// Closes the store; its content stays.
    /// @return true, also for a store that was not open
    virtual bool deinit() = 0;

    /// Saves a subscription of this device that has been requested under the number `requestId`.
    ///
    /// @param requestId number of the request, by which the subscription is known until it is answered
    /// @param record    what to save. On success its `subscriptionId` is the new identifier. On failure it is
    ///                  unchanged, except when only making the change permanent failed: then the identifier
    ///                  is set already.
    /// @return whether it is saved
    virtual bool savePendingMySubscription(int requestId, SubscriptionRecord& record) = 0;

    /// Deletes the pending subscription of a request.
    /// @param requestId number of the request
    /// @return true also when there is none
    virtual bool deletePendingMySubscription(int requestId) = 0;

    /// Notes the answer to a request: its subscription gets its URI, and has no request number any more.
    /// @param requestId       number of the request
    /// @param subscriptionUri the URI that the answer brought
    /// @return true also when no subscription waits under this number
    virtual bool updateMySubscription(int requestId, std::string& subscriptionUri) = 0;

    /// Changes the resource of the subscriptions of this device that have a URI.
    /// @param subscriptionUri    the URI
    /// @param subscribedResource the new resource text
    /// @return true also when there is none
    virtual bool updateMySubscriptionBySubscriptionUri(std::string& subscriptionUri,
                                                       std::string& subscribedResource) = 0;

    /// Deletes the subscriptions of this device that have a URI.
    /// @param deviceId        the device that they are held on
    /// @param subscriptionUri the URI
    /// @return true also when there is none
    virtual bool deleteMySubscriptionBySubscriptionUri(std::string& deviceId,
                                                       std::string& subscriptionUri) = 0;

    /// Finds the subscription of this device that has a URI.
    /// @param subscriptionUri the URI
    /// @param record          gets the first match
    /// @return whether the query succeeded, with a match or without
    virtual bool getMySubscriptionBySubscriptionUri(std::string& subscriptionUri,
                                                    SubscriptionRecord& record) = 0;

    /// Finds the subscriptions of this device on a device.
    /// @param deviceId the device that they are held on
    /// @param records  gets the matches at its end
    /// @return whether the query succeeded, with a match or without
    virtual bool getMySubscriptionByDeviceId(std::string& deviceId,
                                             std::list<SubscriptionRecord>& records) = 0;

    /// Finds the subscriptions of this device that have exactly this resource text.
    /// @param deviceId the device that they are held on
    /// @param resource the whole resource text
    /// @param records  gets the matches at its end
    /// @return whether the query succeeded, with a match or without
    virtual bool getMySubscriptionByResourcePaths(std::string& deviceId, std::string& resource,
                                                  std::list<SubscriptionRecord>& records) = 0;

    /// Finds the subscriptions of this device that have at least one of these resources as a word of their
    /// blank-separated resource text.
    /// @param deviceId  the device that they are held on
    /// @param resources the resources, at least one
    /// @param records   gets the matches at its end
    /// @return whether the query succeeded, with a match or without; false for an empty list of resources
    virtual bool getMySubscriptionContainingResourceList(std::string deviceId,
                                                         std::list<std::string> resources,
                                                         std::list<SubscriptionRecord>& records) = 0;

    /// Saves a subscription that another device holds here. With an expiry time, its life begins now.
    /// @param record what to save; afterwards as told for savePendingMySubscription
    /// @return whether it is saved
    virtual bool saveSubscription(SubscriptionRecord& record) = 0;

    /// Finds the subscriptions of others that have a resource as a word of their blank-separated resource
    /// text.
    /// @param resource the resource
    /// @param records  gets the matches at its end
    /// @return whether the query succeeded, with a match or without
    virtual bool getSubscriptionContainingResource(std::string& resource,
                                                   std::list<SubscriptionRecord>& records) = 0;

    /// Finds the subscriptions of others whose resource text contains at least one of these texts anywhere.
    /// @param resources the texts, at least one
    /// @param records   gets the matches at its end
    /// @return whether the query succeeded, with a match or without; false for an empty list of resources
    virtual bool getSubscriptionContainingResourceList(std::list<std::string> resources,
                                                       std::list<SubscriptionRecord>& records) = 0;

    /// Finds the subscription of others that has an identifier.
    /// @param id     the identifier, in decimal
    /// @param record gets the match
    /// @return whether the query succeeded, with a match or without
    virtual bool getSubscriptionBySubscriptionID(std::string& id, SubscriptionRecord& record) = 0;

    /// Changes device, resource and notification URI of the subscription of others that has the record's
    /// identifier; the subscription URI stays.
    /// @param record the identifier and what to write; unchanged afterwards
    /// @return true also when there is none
    virtual bool updateSubscription(SubscriptionRecord& record) = 0;

    /// Deletes the subscription of others that has an identifier.
    /// @param id the identifier, in decimal
    /// @return true also when there is none
    virtual bool deleteSubscriptionBySubscriptionID(std::string& id) = 0;

    /// Finds all subscriptions of others.
    /// @param records gets them at its end, in the order of their identifiers
    /// @return whether the query succeeded, with a match or without
    virtual bool getSubscriptions(std::list<SubscriptionRecord>& records) = 0;

    /// Deletes the subscriptions of others whose life is over; those saved without an expiry time stay.
    /// @return true also when there is none
    virtual bool deleteExpiredSubscriptions() = 0;

protected:
    /// @cond for implementations alone
    ISubscriptionDB() = default;
    ISubscriptionDB(const ISubscriptionDB&) = default;
    ISubscriptionDB& operator=(const ISubscriptionDB&) = default;
    /// @endcond
};

}  // namespace Kalt::Vemo::Notification
