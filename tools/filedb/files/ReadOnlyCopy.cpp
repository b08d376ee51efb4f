#include "files/ReadOnlyCopy.h"

#include <exception>

#include "File.h"
#include "TableFormat.h"
#include "console/ExitStatus.h"

namespace Kalt::Vemo::Tool {

namespace {

using Core::Database::Filedb::File;
using Core::Database::Filedb::kDirectorySuffix;
using Core::Database::Filedb::kJournalName;
using Core::Database::Filedb::kNewSuffix;

Snapshot snapshotOf(const PathArgument& original) {
    original.requireDirectory();
    Snapshot snapshot = Snapshot::ofLive(original.directory());
    for (const auto& [name, file] : snapshot.files()) {
        if (file.kind == RawFile::Kind::kUnreadable) {
            throw Trouble(original.directory() + "/" + name + ": " + file.problem);
        }
    }
    return snapshot;
}

// What is copied, and what the engine makes by itself.
std::vector<std::string> namesOf(const Snapshot& snapshot) {
    std::vector<std::string> names = {kJournalName, std::string(kJournalName) + kNewSuffix};
    for (const auto& [name, file] : snapshot.files()) {
        names.push_back(name);
    }
    return names;
}

void writeFile(const std::string& fileName, const std::string& content) {
    File file = File::open(fileName, "w+");
    file.writeAt(0, content);
    file.close();
}

}  // namespace

ReadOnlyCopy::ReadOnlyCopy(const PathArgument& original) : ReadOnlyCopy(original, snapshotOf(original)) {}

ReadOnlyCopy::ReadOnlyCopy(const PathArgument& original, const Snapshot& snapshot)
    : place_(kDirectorySuffix, namesOf(snapshot)), path_(place_.path()) {
    try {
        for (const auto& [name, file] : snapshot.files()) {
            if (file.isRegular()) {
                writeFile(path_.directory() + "/" + name, file.text);
            }
        }
    } catch (const std::exception& error) {
        throw Trouble("copying " + original.directory() + " to " + place_.path() +
                      " failed: " + error.what() + "; set TMPDIR to a directory with room for it");
    }
}

}  // namespace Kalt::Vemo::Tool
