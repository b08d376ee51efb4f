#include "requests/Runner.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "SubscriptionRecord.h"
#include "requests/OtherClient.h"

namespace Kalt::Vemo::Requests {

using Notification::ISubscriptionDB;
using Notification::SubscriptionRecord;
using Tool::Escapes;
using Tool::printable;
using Records = std::list<SubscriptionRecord>;

namespace {

constexpr Field kRequestId{"requestId", Kind::number32};
constexpr Field kSubscriptionId{"subscriptionId", Kind::number64};
constexpr Field kId{"id"};
constexpr Field kDeviceId{"deviceId"};
constexpr Field kSubscribedResource{"subscribedResource"};
constexpr Field kSubscriptionUri{"subscriptionUri"};
constexpr Field kNotificationUri{"notificationUri"};
constexpr Field kResource{"resource"};
constexpr Field kResources{"resources", Kind::texts};

std::string described(const SubscriptionRecord& record) {
    return '#' + std::to_string(record.subscriptionId) + ' ' +
           printable(record.deviceId, Escapes::kReversible) + ' ' +
           printable(record.subscribedResource, Escapes::kReversible);
}

Outcome done(bool succeeded) {
    return {succeeded, ""};
}

Outcome saved(bool succeeded, const SubscriptionRecord& record) {
    return {succeeded, succeeded ? "saved as #" + std::to_string(record.subscriptionId) : ""};
}

Outcome foundOne(bool succeeded, const SubscriptionRecord& record) {
    if (!succeeded) {
        return done(false);
    }
    // Identifiers begin at 1, so an untouched record is one that was not found.
    return {true, record.subscriptionId == 0 ? "found nothing" : "found " + described(record)};
}

Outcome foundAll(bool succeeded, const Records& records) {
    if (!succeeded) {
        return done(false);
    }
    std::string text = records.empty() ? "found nothing" : "found " + std::to_string(records.size()) + ": ";
    for (const SubscriptionRecord& record : records) {
        text += (&record == &records.front() ? "" : ", ") + described(record);
    }
    return {true, text};
}

/// The fields of a request that make up a record.
SubscriptionRecord recordOf(const Request& request) {
    const auto text = [&](const Field& field) {
        return request.has(field.name) ? request.text(field.name) : std::string();
    };
    SubscriptionRecord record;
    record.deviceId = text(kDeviceId);
    record.subscribedResource = text(kSubscribedResource);
    record.subscriptionUri = text(kSubscriptionUri);
    record.notificationUri = text(kNotificationUri);
    return record;
}

}  // namespace

/// One function for each kind of request.
struct Runner::Handlers {
    static Outcome init(Runner& runner, const Request& request) {
        if (request.has("path")) {
            runner.path_ = request.text("path");
        }
        runner.expirySeconds_ = request.number32("expiryTimeVal");
        return done(runner.open());
    }

    static Outcome deinit(Runner& runner, const Request& /*request*/) {
        runner.open_ = false;
        return done(runner.store_->deinit());
    }

    /// Lets the other client work on the database while the store is closed.
    template <typename Work>
    static Outcome asOtherClient(Runner& runner, Work work) {
        runner.store_->deinit();
        const bool succeeded = work(OtherClient(runner.path_));
        return done((!runner.open_ || runner.open()) && succeeded);
    }

    static Outcome provision(Runner& runner, const Request& /*request*/) {
        return asOtherClient(runner, [](const OtherClient& client) { return client.provision(); });
    }

    static Outcome setExpireTime(Runner& runner, const Request& request) {
        return asOtherClient(runner, [&](const OtherClient& client) {
            const std::string rowid = std::to_string(request.number64(kSubscriptionId.name));
            const bool expires = request.has("expireTime");
            return client.setExpireTime(
                rowid, expires ? std::optional<std::string>(request.text("expireTime")) : std::nullopt);
        });
    }

    static Outcome savePendingMySubscription(Runner& runner, const Request& request) {
        SubscriptionRecord record = recordOf(request);
        return saved(runner.store_->savePendingMySubscription(request.number32(kRequestId.name), record),
                     record);
    }

    static Outcome deletePendingMySubscription(Runner& runner, const Request& request) {
        return done(runner.store_->deletePendingMySubscription(request.number32(kRequestId.name)));
    }

    static Outcome updateMySubscription(Runner& runner, const Request& request) {
        std::string uri = request.text(kSubscriptionUri.name);
        return done(runner.store_->updateMySubscription(request.number32(kRequestId.name), uri));
    }

    static Outcome updateMySubscriptionBySubscriptionUri(Runner& runner, const Request& request) {
        std::string uri = request.text(kSubscriptionUri.name);
        std::string resource = request.text(kSubscribedResource.name);
        return done(runner.store_->updateMySubscriptionBySubscriptionUri(uri, resource));
    }

    static Outcome deleteMySubscriptionBySubscriptionUri(Runner& runner, const Request& request) {
        std::string device = request.text(kDeviceId.name);
        std::string uri = request.text(kSubscriptionUri.name);
        return done(runner.store_->deleteMySubscriptionBySubscriptionUri(device, uri));
    }

    static Outcome getMySubscriptionBySubscriptionUri(Runner& runner, const Request& request) {
        std::string uri = request.text(kSubscriptionUri.name);
        SubscriptionRecord record;
        return foundOne(runner.store_->getMySubscriptionBySubscriptionUri(uri, record), record);
    }

    static Outcome getMySubscriptionByDeviceId(Runner& runner, const Request& request) {
        std::string device = request.text(kDeviceId.name);
        Records records;
        return foundAll(runner.store_->getMySubscriptionByDeviceId(device, records), records);
    }

    static Outcome getMySubscriptionByResourcePaths(Runner& runner, const Request& request) {
        std::string device = request.text(kDeviceId.name);
        std::string resource = request.text(kResource.name);
        Records records;
        return foundAll(runner.store_->getMySubscriptionByResourcePaths(device, resource, records), records);
    }

    static Outcome getMySubscriptionContainingResourceList(Runner& runner, const Request& request) {
        Records records;
        return foundAll(runner.store_->getMySubscriptionContainingResourceList(
                            request.text(kDeviceId.name), request.texts(kResources.name), records),
                        records);
    }

    static Outcome saveSubscription(Runner& runner, const Request& request) {
        SubscriptionRecord record = recordOf(request);
        return saved(runner.store_->saveSubscription(record), record);
    }

    static Outcome getSubscriptionContainingResource(Runner& runner, const Request& request) {
        std::string resource = request.text(kResource.name);
        Records records;
        return foundAll(runner.store_->getSubscriptionContainingResource(resource, records), records);
    }

    static Outcome getSubscriptionContainingResourceList(Runner& runner, const Request& request) {
        Records records;
        return foundAll(
            runner.store_->getSubscriptionContainingResourceList(request.texts(kResources.name), records),
            records);
    }

    static Outcome getSubscriptionBySubscriptionID(Runner& runner, const Request& request) {
        std::string id = request.text(kId.name);
        SubscriptionRecord record;
        return foundOne(runner.store_->getSubscriptionBySubscriptionID(id, record), record);
    }

    static Outcome updateSubscription(Runner& runner, const Request& request) {
        SubscriptionRecord record = recordOf(request);
        record.subscriptionId = request.number64(kSubscriptionId.name);
        return done(runner.store_->updateSubscription(record));
    }

    static Outcome deleteSubscriptionBySubscriptionID(Runner& runner, const Request& request) {
        std::string id = request.text(kId.name);
        return done(runner.store_->deleteSubscriptionBySubscriptionID(id));
    }

    static Outcome getSubscriptions(Runner& runner, const Request& /*request*/) {
        Records records;
        return foundAll(runner.store_->getSubscriptions(records), records);
    }

    static Outcome deleteExpiredSubscriptions(Runner& runner, const Request& /*request*/) {
        return done(runner.store_->deleteExpiredSubscriptions());
    }
};

/// Every kind of request, a list for each subject.
struct Runner::Catalogue {
    /// Opening and closing the store.
    static std::vector<Operation> opening() {
        return {{"init",
                 {{"expiryTimeVal", Kind::number32}, {"path", Kind::text, true}},
                 "opens the store anew, with another expiry or at another path",
                 Handlers::init},
                {"deinit",
                 {},
                 "closes the store; until the next init every request on it fails",
                 Handlers::deinit}};
    }

    /// What this device holds on others: the table MySubscriptions.
    static std::vector<Operation> mine() {
        return {{"savePendingMySubscription",
                 {kRequestId, kDeviceId, kSubscribedResource, kSubscriptionUri, kNotificationUri},
                 "keeps a request of this device that waits for its answer",
                 Handlers::savePendingMySubscription},
                {"deletePendingMySubscription",
                 {kRequestId},
                 "drops a request that got no answer",
                 Handlers::deletePendingMySubscription},
                {"updateMySubscription",
                 {kRequestId, kSubscriptionUri},
                 "notes the answer to a request",
                 Handlers::updateMySubscription},
                {"updateMySubscriptionBySubscriptionUri",
                 {kSubscriptionUri, kSubscribedResource},
                 "changes the resource; the database takes numbers only",
                 Handlers::updateMySubscriptionBySubscriptionUri},
                {"deleteMySubscriptionBySubscriptionUri",
                 {kDeviceId, kSubscriptionUri},
                 "drops a subscription of this device",
                 Handlers::deleteMySubscriptionBySubscriptionUri},
                {"getMySubscriptionBySubscriptionUri",
                 {kSubscriptionUri},
                 "finds the first subscription of this device with the URI",
                 Handlers::getMySubscriptionBySubscriptionUri},
                {"getMySubscriptionByDeviceId",
                 {kDeviceId},
                 "finds what this device holds on another",
                 Handlers::getMySubscriptionByDeviceId},
                {"getMySubscriptionByResourcePaths",
                 {kDeviceId, kResource},
                 "finds what this device holds on a resource of another",
                 Handlers::getMySubscriptionByResourcePaths},
                {"getMySubscriptionContainingResourceList",
                 {kDeviceId, kResources},
                 "fails as soon as the table has a row",
                 Handlers::getMySubscriptionContainingResourceList}};
    }

    /// What others hold on this device: the table Subscriptions.
    static std::vector<Operation> others() {
        return {{"saveSubscription",
                 {kDeviceId, kSubscribedResource, kSubscriptionUri, kNotificationUri},
                 "keeps a subscription of another device",
                 Handlers::saveSubscription},
                {"getSubscriptionContainingResource",
                 {kResource},
                 "finds whom to notify: the resource as a whole word",
                 Handlers::getSubscriptionContainingResource},
                {"getSubscriptionContainingResourceList",
                 {kResources},
                 "finds subscriptions that hold one of the texts anywhere",
                 Handlers::getSubscriptionContainingResourceList},
                {"getSubscriptionBySubscriptionID",
                 {kId},
                 "finds one subscription",
                 Handlers::getSubscriptionBySubscriptionID},
                {"updateSubscription",
                 {kSubscriptionId, kDeviceId, kSubscribedResource, kNotificationUri},
                 "changes a subscription; without effect while subscriptions expire",
                 Handlers::updateSubscription},
                {"deleteSubscriptionBySubscriptionID",
                 {kId},
                 "drops one subscription",
                 Handlers::deleteSubscriptionBySubscriptionID},
                {"getSubscriptions", {}, "finds every subscription", Handlers::getSubscriptions},
                {"deleteExpiredSubscriptions",
                 {},
                 "drops the subscriptions whose instant has come",
                 Handlers::deleteExpiredSubscriptions}};
    }

    /// What another client of the database does.
    static std::vector<Operation> otherClient() {
        return {{"provision",
                 {},
                 "another client: makes the table Subscriptions, which opening a store does not",
                 Handlers::provision},
                {"setExpireTime",
                 {kSubscriptionId, {"expireTime", Kind::instant}},
                 "another client: sets the instant at which a subscription expires",
                 Handlers::setExpireTime}};
    }
};

const std::vector<Operation>& Runner::operations() {
    static const std::vector<Operation> all = [] {
        std::vector<Operation> operations;
        for (const auto& list :
             {Catalogue::opening(), Catalogue::mine(), Catalogue::others(), Catalogue::otherClient()}) {
            operations.insert(operations.end(), list.begin(), list.end());
        }
        return operations;
    }();
    return all;
}

const std::vector<Field>* Runner::fieldsOf(const std::string& operation) {
    const auto found = std::find_if(operations().begin(), operations().end(),
                                    [&](const Operation& each) { return each.name == operation; });
    return found == operations().end() ? nullptr : &found->fields;
}

Runner::Runner(std::unique_ptr<ISubscriptionDB> store, std::string path, int expirySeconds)
    : store_(std::move(store)), path_(std::move(path)), expirySeconds_(expirySeconds) {}

bool Runner::open() {
    open_ = store_->init(path_, expirySeconds_);
    return open_;
}

void Runner::close() {
    open_ = false;
    store_->deinit();
}

Outcome Runner::run(const Request& request) {
    const auto operation = std::find_if(operations().begin(), operations().end(), [&](const Operation& each) {
        return each.name == request.operation();
    });
    return operation->run(*this, request);
}

std::string resultLine(const Request& request, const Outcome& outcome, Escapes escapes) {
    std::string line = request.has("at") ? printable(request.text("at"), escapes) + ' ' : "";
    line += request.operation() + (outcome.succeeded ? ": ok" : ": failed");
    return line + (outcome.found.empty() ? "" : ", ") + outcome.found;
}

}  // namespace Kalt::Vemo::Requests
