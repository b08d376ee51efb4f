#include "transfer/DatabaseUse.h"

#include "FileDatabase.h"
#include "check/UnfinishedCommit.h"
#include "console/ExitStatus.h"

namespace Kalt::Vemo::Tool {

namespace {

const PathArgument& requireUsable(const PathArgument& path, DatabaseUse::Missing missing) {
    if (missing == DatabaseUse::Missing::kRefused) {
        path.requireDirectory();
    }
    return path;
}

}  // namespace

void recoverDatabase(const std::string& base, const std::string& named, LogListener& log) {
    Core::Database::Filedb::FileDatabase database;
    const bool isOpen = database.init(base);
    std::string cause = "its journal cannot be used";
    for (const std::string& error : log.takeErrors()) {
        cause = error;
    }
    if (!isOpen) {
        throw Trouble(named + ": the database cannot be opened: " + cause);
    }
}

DatabaseUse::DatabaseUse(const PathArgument& path, Missing missing, Unfinished unfinished)
    : directory_(requireUsable(path, missing).directory()), use_(directory_) {
    if (unfinished != Unfinished::kLost) {
        const bool canForce = unfinished == Unfinished::kRefusedUnlessForced;
        UnfinishedCommit(directory_).requireNone(directory_, canForce ? ", or give --force" : "");
    }
    recoverDatabase(path.base(), directory_, log_);
    use_.lock();      // the opening has made a journal that was missing
    use_.announce();  // and has closed it
}

}  // namespace Kalt::Vemo::Tool
