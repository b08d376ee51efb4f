#pragma once

#include <string>
#include <string_view>

namespace Kalt::Vemo::Tool {

/// Where a repair keeps what it takes out of a database directory: a new directory beside it, named by the
/// first free number.
///
///     subscriptions_filedb             the database
///     subscriptions_filedb.repair-1    what the first repair kept
///
/// It is made when the first thing goes into it. Throws, every call that writes: std::system_error.
class AsideDirectory {
public:
    explicit AsideDirectory(const std::string& database);

    /// The directory's path; that of the one to be made as long as it is empty.
    const std::string& path() const { return path_; }
    bool isMade() const { return isMade_; }

    void keepCopy(const std::string& name);
    void moveIn(const std::string& name);
    void write(const std::string& name, std::string_view text);

private:
    void make();
    std::string nextPath();

    const std::string database_;
    std::string base_;
    int number_ = 0;
    std::string path_;
    bool isMade_ = false;
};

}  // namespace Kalt::Vemo::Tool
