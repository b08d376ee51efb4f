#include "check/AsideDirectory.h"

#include <algorithm>
#include <climits>
#include <exception>
#include <filesystem>
#include <system_error>

#include "TableFormat.h"
#include "console/ExitStatus.h"
#include "files/DurableFiles.h"

namespace Kalt::Vemo::Tool {

namespace {

using Core::Database::Filedb::kTableSuffix;

constexpr std::string_view kRejectsSuffix = ".rejects";
constexpr std::string_view kShortRejectsSuffix = ".lines";
static_assert(kShortRejectsSuffix.size() <= std::string_view(kTableSuffix).size(),
              "every table's name has room for it");

// Behind the name of an entry that is not to be taken for the rejected lines of this repair.
constexpr const char* kForeignSuffix = ".set-aside";

constexpr std::size_t kRoomForNumber = 16;

// Beside the directory itself, not beside a link to it.
std::string beside(const std::string& database) {
    return std::filesystem::is_symlink(database) ? std::filesystem::canonical(database).string() : database;
}

std::string baseOf(const std::string& database, const std::string& kind, const std::string& parent) {
    const std::filesystem::path original = beside(database);
    std::string name = original.filename().string();
    name.resize(std::min<std::size_t>(name.size(), NAME_MAX - kRoomForNumber));
    const std::filesystem::path directory =
        parent.empty() ? original.parent_path() : std::filesystem::path(parent);
    return (directory / (name + kind)).string();
}

// What stands in the database the next repair would set aside.
void requireOutside(const std::string& parent, const std::string& database) {
    std::error_code ignored;
    const std::filesystem::path directory = std::filesystem::weakly_canonical(database, ignored);
    const std::filesystem::path named = std::filesystem::weakly_canonical(parent, ignored);
    const auto differ = std::mismatch(directory.begin(), directory.end(), named.begin(), named.end());
    if (differ.first == directory.end()) {
        throw Trouble(parent + " is " +
                      (std::filesystem::equivalent(parent, database, ignored) ? "" : "in ") +
                      "the database itself; name another directory for what is set aside");
    }
}

}  // namespace

AsideDirectory::AsideDirectory(const std::string& database, const std::string& kind,
                               const std::string& parent)
    : database_(database), parent_(parent), base_(baseOf(database, kind, parent)), path_(nextPath()) {
    if (!parent.empty()) {
        requireOutside(parent, database);
    }
}

std::string AsideDirectory::nextPath() {
    std::string path;
    do {
        ++number_;
        path = base_ + std::to_string(number_);
    } while (std::filesystem::exists(std::filesystem::symlink_status(path)));
    return path;
}

void AsideDirectory::make() {
    if (!isMade_ && !parent_.empty()) {
        static_cast<void>(DurableFiles::makeDirectory(parent_));  // unless it is there
    }
    while (!isMade_) {
        isMade_ = DurableFiles::makeDirectory(path_);
        if (!isMade_) {  // somebody was faster
            path_ = nextPath();
        }
    }
}

void AsideDirectory::keep(const std::string& name) {
    make();
    DurableFiles::link(database_, path_, name);
    steps_.push_back({name, name, false});
}

void AsideDirectory::moveIn(const std::string& name) {
    make();
    const std::string newName = name + (tableOfRejects(name).empty() ? "" : kForeignSuffix);
    DurableFiles::move(database_, name, path_, newName);
    steps_.push_back({name, newName, true});
}

void AsideDirectory::write(const std::string& name, std::string_view text) {
    make();
    DurableFiles::writeNew(path_, name, text);
    steps_.push_back({name, name, false});
}

void AsideDirectory::takeBack() noexcept {
    while (!steps_.empty()) {
        const Step step = steps_.back();
        steps_.pop_back();
        try {
            if (step.isMove) {
                DurableFiles::move(path_, step.newName, database_, step.name);
            } else {
                DurableFiles::remove(path_, step.newName);
            }
        } catch (const std::exception&) {
            // It stays where it is, and nothing is lost.
            static_cast<void>(step);
        }
    }
    std::error_code ignored;
    if (isMade_ && std::filesystem::is_empty(path_, ignored) && !ignored) {
        isMade_ = !std::filesystem::remove(path_, ignored);
    }
}

std::string rejectsName(const std::string& table) {
    const bool fits = table.size() + kRejectsSuffix.size() <= NAME_MAX;
    return table + std::string(fits ? kRejectsSuffix : kShortRejectsSuffix);
}

std::string tableOfRejects(const std::string& name) {
    for (const std::string_view suffix : {kRejectsSuffix, kShortRejectsSuffix}) {
        if (name.size() <= suffix.size()) {
            continue;
        }
        std::string table = name.substr(0, name.size() - suffix.size());
        if (rejectsName(table) == name) {
            return table;
        }
    }
    return "";
}

}  // namespace Kalt::Vemo::Tool
