#include "transfer/TableReplacement.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "DatabaseException.h"
#include "File.h"
#include "Replacement.h"
#include "TableFormat.h"
#include "console/ExitStatus.h"
#include "console/LogListener.h"

namespace Kalt::Vemo::Tool {

using namespace Core::Database::Filedb;
using Core::Database::DatabaseException;

namespace {

// Does what the engine's own code does, and turns what the system refuses into Trouble.
template <typename Action>
void writing(const std::string& file, Action action) {
    errno = 0;
    try {
        action();
    } catch (const DatabaseException& error) {
        const std::string cause = errno == 0 ? std::string() : std::generic_category().message(errno);
        std::string text = readableError(error.what());
        if (text.find(cause) == std::string::npos) {
            text += ": " + cause;
        }
        throw Trouble(file + ": cannot be written: " + text);
    }
}

}  // namespace

TableReplacement::~TableReplacement() {
    for (const Prepared& prepared : prepared_) {
        static_cast<void>(unlink(prepared.file.c_str()));
    }
}

void TableReplacement::prepare(const std::string& table, std::string_view text) {
    const std::string name = directory_ + "/" + table;
    Prepared prepared{name + kTableSuffix + kNewSuffix, Replacement::target(name + kTableSuffix),
                      name + kBackupSuffix};
    writing(prepared.target, [&] { Replacement::requireWritable(prepared.target); });
    writing(prepared.file, [&] {
        File file = File::makeAnew(prepared.file);
        prepared_.push_back(prepared);
        file.writeAt(0, text);
        Replacement::giveAttributes(file, prepared.target);
        file.sync();
        file.close();
    });
}

void TableReplacement::finish() {
    while (!prepared_.empty()) {
        const Prepared prepared = prepared_.front();
        writing(prepared.target, [&] { finish(prepared); });
        prepared_.erase(prepared_.begin());
    }
}

void TableReplacement::finish(const Prepared& prepared) const {
    Replacement::replace(prepared.file, prepared.target);
    // The engine would take it for a later state of the table.
    static_cast<void>(unlink(prepared.copy.c_str()));
    Replacement::syncDirectory(directory_);
    const std::string other = Replacement::directoryOf(prepared.target);
    if (other != directory_) {
        Replacement::syncDirectory(other);
    }
}

}  // namespace Kalt::Vemo::Tool
