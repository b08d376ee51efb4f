#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "ISubscriptionDB.h"
#include "console/LogListener.h"
#include "files/DirectoryUse.h"
#include "files/PathArgument.h"
#include "files/ReadOnlyCopy.h"

namespace Kalt::Vemo::Tool {

/// An open subscription store, and what the log says about each operation: most failures are told there only.
class SubscriptionStore {
public:
    enum class Access { kLook, kChange };
    using Operation = std::function<bool(Notification::ISubscriptionDB& store)>;

    /// @param expirySeconds as for ISubscriptionDB::init
    /// Throws: Trouble when the store cannot be opened.
    SubscriptionStore(const PathArgument& path, Access access, int expirySeconds);

    /// Throws: Failure when the operation fails, or the log tells of an error meanwhile.
    void run(const Operation& operation);

    /// Makes the database and both tables, where they are missing. Throws: Trouble.
    static void provision(const PathArgument& path);

private:
    LogListener log_;
    std::optional<ReadOnlyCopy> copy_;
    std::optional<DirectoryUse> use_;  // of a store that may be changed
    std::unique_ptr<Notification::ISubscriptionDB> store_;
};

}  // namespace Kalt::Vemo::Tool
