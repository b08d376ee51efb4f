#include "subs/SubscriptionStore.h"

#include "VEMOFileSubscriptionDB.h"
#include "check/UnfinishedCommit.h"
#include "console/ExitStatus.h"
#include "requests/OtherClient.h"

namespace Kalt::Vemo::Tool {

using Notification::ISubscriptionDB;
using Notification::VEMOFileSubscriptionDB;

namespace {

std::unique_ptr<ISubscriptionDB> opened(const std::string& base, const std::string& named, int expirySeconds,
                                        LogListener& log) {
    std::unique_ptr<ISubscriptionDB> store(VEMOFileSubscriptionDB::createInstance());
    std::string path = base;
    const bool isOpen = store->init(path, expirySeconds);
    // Also after a success the log tells of one statement that is meant to be refused.
    const std::vector<std::string> errors = log.takeErrors();
    if (!isOpen) {
        throw Trouble(named + ": the store cannot be opened" + (errors.empty() ? "" : ": " + errors.front()));
    }
    return store;
}

}  // namespace

SubscriptionStore::SubscriptionStore(const PathArgument& path, Access access, int expirySeconds) {
    path.requireDirectory();
    if (access == Access::kLook) {
        copy_.emplace(path);
    } else {
        use_.emplace(path.directory());
        UnfinishedCommit(path.directory()).requireNone(path.directory());
        use_->announce();  // the journal was read
    }
    store_ = opened(copy_ ? copy_->path().base() : path.base(), path.directory(), expirySeconds, log_);
}

void SubscriptionStore::run(const Operation& operation) {
    const bool succeeded = operation(*store_);
    std::string errors;
    for (const std::string& error : log_.takeErrors()) {
        errors += (errors.empty() ? "" : "; ") + error;
    }
    if (!succeeded || !errors.empty()) {
        throw Failure(errors.empty() ? "the store refused the operation" : errors);
    }
}

void SubscriptionStore::provision(const PathArgument& path) {
    DirectoryUse use(path.directory());
    LogListener log;
    {
        const auto store = opened(path.base(), path.directory(), 0, log);
        use.lock();  // the store has made the journal by now
    }
    if (!Requests::OtherClient(path.base()).provision()) {
        throw Trouble(path.directory() + ": the table Subscriptions cannot be made");
    }
}

}  // namespace Kalt::Vemo::Tool
