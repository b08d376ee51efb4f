#pragma once

#include <optional>
#include <string>
#include <vector>

namespace Kalt::Vemo::Requests {

/// A client of the store's database beside the store itself. It opens the database for each call, so the
/// store must be closed meanwhile: two clients at once would tidy up each other's working copies.
///
/// A real home has such a client: opening a store on a fresh directory makes the table MySubscriptions only,
/// and the table Subscriptions must come from somebody else.
class OtherClient {
public:
    /// @param path what the store was opened with
    explicit OtherClient(std::string path);

    /// Makes the table Subscriptions unless it is there.
    bool provision() const;

    /// Sets the instant at which a subscription expires; without one it does not expire.
    /// @return false when there is no such subscription
    bool setExpireTime(const std::string& rowid, const std::optional<std::string>& instant) const;

    /// A table as it is stored.
    struct Table {
        std::string file;
        std::vector<std::string> columns;
        std::vector<std::vector<std::string>> rows;
        bool readable = false;
    };
    Table read(const std::string& name, const std::vector<std::string>& columns) const;

private:
    std::string path_;
};

}  // namespace Kalt::Vemo::Requests
